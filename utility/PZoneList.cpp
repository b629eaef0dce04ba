#include "PZoneList.h"

#include <new>
#include <vector>

#include "algorithms/LabelBoxes.h"
#include "algorithms/LabelValues.h"
#include "support/TableOutput.h"

namespace ORVA {

void CPZoneList::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "LabelImage", "ZoneList");
    doc.Brief(
        "Lists the bounding box of every label of a label image.",
        "Every pixel value k from 1 to the largest value (IMAGE_GREY_F values truncated "
        "toward zero; values below 1, NaN among them, are background) is a label, and its "
        "zone is the smallest box holding all its pixels, widened by xoffset to the left "
        "and right and by yoffset above and below, within the image. Width, height and "
        "depth describe the zone without the margins. A label without pixels keeps an "
        "entry all the same, of width 1 minus the image width. Labels above 2147483647 "
        "are refused.\n"
        "With output_mode VALUEVECTOR the output is a vector of one map per label (\"label\", "
        "\"ax\", \"ay\", \"bx\", \"by\", \"width\", \"height\", and for images of more than "
        "one plane \"az\", \"bz\", \"depth\"); any other mode gives an IMAGE_GREY_F table "
        "with one row per label: ax, bx, ay, by, and az, bz for more than one plane. The "
        "keys \"ID\" (\"ZoneList\"), \"xoffset\", \"yoffset\" and \"is2d\" go into the "
        "attributes of the table image, or into the metadata of the vector value.");
    doc.Input(0,
              "Label image of type IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_BINARY_FG, IMAGE_GREY_16 or "
              "IMAGE_GREY_32.");
    doc.Output(0, "The zones: a vector of maps (VALUEVECTOR) or an IMAGE_GREY_F table (IMAGE).");
    doc.Undocumented("run_once", m_runOnce);
    doc.Parameter("output_mode", m_outputMode, "form of the output: VALUEVECTOR or IMAGE")
        .Values("VALUEVECTOR, IMAGE");
    doc.Parameter("xoffset", m_xoffset);
    doc.Parameter("yoffset", m_yoffset);
    // The offsets' texts were written for keys the node does not have, so no parameter shows
    // them.
    doc.DocumentationOnly("x_offset", "long", "margin added left and right of every zone", false);
    doc.DocumentationOnly("y_offset", "long", "margin added above and below every zone", false);
    doc.Keywords({"bonding box", "label", "coordinates"});
}

void CPZoneList::NodeInit() {
    // A missing "run_once" keeps the switch, and the has-run flag is cleared all the same (the
    // binding alone leaves both when the key is missing).
    m_runOnce.Reset(m_runOnce.Enabled());
    CPNode::NodeInit();
}

namespace {

void SetKeys(CValueMap& map, int32_t xoffset, int32_t yoffset, bool is2d) {
    map.SetEntry("ID", new CValueString("ZoneList"));
    map.SetEntry("xoffset", new CValueLong(xoffset));
    map.SetEntry("yoffset", new CValueLong(yoffset));
    map.SetEntry("is2d", new CValueBool(is2d));
}

}  // namespace

void CPZoneList::Run() {
    const char* where = "(utility plugins) ZoneList::Run";
    if (m_runOnce.Skip()) return;
    const CImage* input = InputImage(0, {.where = where, .notImage = "Invalid stack input 0"});
    const CSize size = input->Size();
    const bool is2d = size.z == 1;

    std::vector<SZone> zones;
    bool typed =
        DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8, IImage::CType::BINARY_FG,
                     IImage::CType::GREY_16, IImage::CType::GREY_32>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                const T* data = input->Data<T>();
                const int64_t maxLabel = MaxLabel(data, input->Pixels());
                if (maxLabel > MAX_LABEL)
                    throw CException(where,
                                     CString("label %1 is too large for a zone list (at most %2)")
                                         .Arg(maxLabel)
                                         .Arg(MAX_LABEL));
                try {
                    zones = Zones(data, size, maxLabel, m_xoffset, m_yoffset);
                } catch (const std::bad_alloc&) {
                    throw CException(where,
                                     CString("not enough memory for %1 zones").Arg(maxLabel));
                }
            });
    if (!typed) throw CException(where, "Invalid image type");

    // The table has the corners, x before y; the maps have everything.
    std::vector<SField> fields = {
        {"label", true, false}, {"ax", true}, {"bx", true}, {"ay", true}, {"by", true}};
    if (!is2d) fields.insert(fields.end(), {{"az", true}, {"bz", true}});
    fields.insert(fields.end(), {{"width", true, false}, {"height", true, false}});
    if (!is2d) fields.push_back({"depth", true, false});
    auto fill = [&](int64_t i, double* cells) {
        const SZone& zone = zones[static_cast<size_t>(i)];
        *cells++ = static_cast<double>(i + 1);
        for (int64_t value : {zone.box.xmin, zone.box.xmax, zone.box.ymin, zone.box.ymax})
            *cells++ = static_cast<double>(value);
        if (!is2d) {
            *cells++ = static_cast<double>(zone.zmin);
            *cells++ = static_cast<double>(zone.zmax);
        }
        *cells++ = static_cast<double>(zone.width);
        *cells++ = static_cast<double>(zone.height);
        if (!is2d) *cells = static_cast<double>(zone.depth);
    };
    const int64_t n = static_cast<int64_t>(zones.size());
    if (m_outputMode == "VALUEVECTOR") {
        std::unique_ptr<CValueVector> list = TableRecords(fields, n, fill);
        SetKeys(list->Meta(), m_xoffset, m_yoffset, is2d);
        SetStackOutput(0, std::move(list));
    } else {
        std::unique_ptr<CImage> table = TableImage(fields, n, fill);
        SetKeys(table->Attributes(), m_xoffset, m_yoffset, is2d);
        SetStackOutput(0, OwnedImage(std::move(table)));
    }
    m_runOnce.MarkDone();
}

}  // namespace ORVA
