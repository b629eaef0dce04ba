#include "PZoneList.h"

#include <algorithm>
#include <limits>
#include <new>

namespace ORVA {

void CPZoneList::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "LabelImage", "ZoneList");
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
    doc.Parameter("output_mode", m_outputMode, "form of the output: VALUEVECTOR or IMAGE")
        .Values("VALUEVECTOR, IMAGE")
        .Order(0);
    doc.Parameter("xoffset", m_xoffset).Order(1);
    doc.Parameter("yoffset", m_yoffset).Order(2);
    doc.ParameterText("x_offset", "long", "margin added left and right of every zone", false);
    doc.ParameterText("y_offset", "long", "margin added above and below every zone", false);
    doc.Keywords({"bonding box", "label", "coordinates"});
    doc.WriteTo(setup);
}

void CPZoneList::NodeInit() {
    m_runOnce.Reset(Parameters().EntryBool("run_once", m_runOnce.Enabled()));
    m_xoffset = Parameters().EntryLong("xoffset", m_xoffset);
    m_yoffset = Parameters().EntryLong("yoffset", m_yoffset);
    m_outputMode = Parameters().EntryString("output_mode", m_outputMode);
}

template <class T>
std::vector<CPZoneList::SZone> CPZoneList::Zones(const T* data, const CSize& size, int64_t maxLabel,
                                                 int64_t xoffset, int64_t yoffset) {
    std::vector<SZone> zones(static_cast<size_t>(std::max<int64_t>(maxLabel, 0)),
                             SZone{size.x, 0, size.y, 0, size.z, 0, 0, 0, 0});
    const T* pixel = data;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x) {
                const int64_t label = LabelOf(*pixel++);
                if (label == NO_LABEL || label > maxLabel) continue;
                SZone& zone = zones[static_cast<size_t>(label - 1)];
                zone.xmin = std::min(zone.xmin, x);
                zone.xmax = std::max(zone.xmax, x);
                zone.ymin = std::min(zone.ymin, y);
                zone.ymax = std::max(zone.ymax, y);
                zone.zmin = std::min(zone.zmin, z);
                zone.zmax = std::max(zone.zmax, z);
            }
    for (SZone& zone : zones) {
        zone.width = zone.xmax - zone.xmin + 1;
        zone.height = zone.ymax - zone.ymin + 1;
        zone.depth = zone.zmax - zone.zmin + 1;
        zone.xmin = std::max<int64_t>(0, zone.xmin - xoffset);
        zone.ymin = std::max<int64_t>(0, zone.ymin - yoffset);
        zone.zmin = std::max<int64_t>(0, zone.zmin);
        zone.xmax = std::min(size.x - 1, zone.xmax + xoffset);
        zone.ymax = std::min(size.y - 1, zone.ymax + yoffset);
        zone.zmax = std::min(size.z - 1, zone.zmax);
    }
    return zones;
}

namespace {

// A long value; coordinates that huge offsets pushed beyond 32 bits are clamped.
CValueLong* Long(int64_t value) {
    return new CValueLong(static_cast<int32_t>(std::clamp<int64_t>(
        value, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max())));
}

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
    CValue* value = GetStackInput(0, false);
    if (!value) throw CException(where, "input image is NULL");
    if (!HoldsType<CImage>(value)) throw CException(where, "Invalid stack input 0");
    const CImage* input = UnwrapPointer<CImage>(value, where);
    if (!input) throw CException(where, "input image is NULL");
    const CSize size = input->Size();
    const bool is2d = size.z == 1;

    std::vector<SZone> zones;
    int64_t maxLabel = 0;
    bool typed =
        DispatchType<IImage::CType::GREY_F, IImage::CType::GREY_8, IImage::CType::BINARY_FG,
                     IImage::CType::GREY_16, IImage::CType::GREY_32>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                const T* data = input->Data<T>();
                maxLabel = MaxLabel(data, input->Pixels());
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

    std::unique_ptr<CValue> output;
    if (m_outputMode == "VALUEVECTOR") {
        auto list = std::make_unique<CValueVector>();
        for (size_t k = 0; k < zones.size(); ++k) {
            const SZone& zone = zones[k];
            auto entry = std::make_unique<CValueMap>();
            entry->SetEntry("label", Long(static_cast<int64_t>(k) + 1));
            entry->SetEntry("ax", Long(zone.xmin));
            entry->SetEntry("ay", Long(zone.ymin));
            entry->SetEntry("bx", Long(zone.xmax));
            entry->SetEntry("by", Long(zone.ymax));
            entry->SetEntry("width", Long(zone.width));
            entry->SetEntry("height", Long(zone.height));
            if (!is2d) {
                entry->SetEntry("az", Long(zone.zmin));
                entry->SetEntry("bz", Long(zone.zmax));
                entry->SetEntry("depth", Long(zone.depth));
            }
            list->PushBack(std::move(entry));
        }
        SetKeys(list->Meta(), m_xoffset, m_yoffset, is2d);
        output = std::move(list);
    } else {
        const int64_t columns = is2d ? 4 : 6;
        auto table = std::make_unique<CImage>(
            IMAGE_GREY_F, CSize(columns, static_cast<int64_t>(zones.size()), 1));
        float* row = table->Data<float>();
        for (const SZone& zone : zones) {
            const int64_t cells[6] = {zone.xmin, zone.xmax, zone.ymin,
                                      zone.ymax, zone.zmin, zone.zmax};
            for (int64_t c = 0; c < columns; ++c)
                row[c] = static_cast<float>(cells[c]);
            row += columns;
        }
        SetKeys(table->Attributes(), m_xoffset, m_yoffset, is2d);
        output = OwnedImage(std::move(table));
    }
    SetStackOutput(0, std::move(output));
    m_runOnce.MarkDone();
}

}  // namespace ORVA
