#include "PFindRectangle.h"

#include <cmath>

#include "Threshold.h"
#include "support/InputChecks.h"

namespace ORVA {

void CPFindRectangle::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "FindRectangle");
    doc.Brief("Finds the bounding rectangle of the pixels above a threshold.",
              "Searches the first plane of the input for the pixels greater than threshold "
              "(NaN pixels count as greater) and outputs the smallest rectangle holding them, "
              "with inclusive pixel coordinates. Colour pixels are compared by the mean of "
              "their three channels. When no pixel is greater, the table row holds -1 four "
              "times and the map has width and height 0 and -1 for the corners.");
    doc.Input(0, "Input image of any type.");
    doc.Output(0,
               "Table of type IMAGE_GREY_F with one row: xmin, xmax, ymin, ymax, the column "
               "order that box-drawing nodes take.");
    doc.Output(1,
               "Map of longs: \"ax\", \"ay\" (first corner), \"bx\", \"by\" (last corner), "
               "\"width\", \"height\".",
               CSetupDocument::PIN_MAP);
    doc.Parameter("threshold", m_threshold, "pixels greater than this are searched for");
    doc.Keywords({"bounding box", "rectangle", "region of interest", "crop"});
    doc.SeeAlso("FindAndCutRectangle, ExpandBox, ZoneList");
    doc.WriteTo(setup);
}

void CPFindRectangle::NodeInit() {
    m_threshold = Parameters().EntryDouble("threshold", m_threshold);
}

CPFindRectangle::SRectangle CPFindRectangle::Search(const CImage& image, double threshold,
                                                    const char* where) {
    if (std::isnan(threshold)) throw CException(where, "threshold is NaN, not a number");
    const CSize& size = image.Size();
    const int64_t width = size.z > 0 ? size.x : 0, height = size.z > 0 ? size.y : 0;
    SRectangle found;
    const bool grey = DispatchGrey(image.Type(), [&]<class T>(std::type_identity<T>) {
        const T* data = image.Data<T>();
        const CAbove<T> above(threshold);
        found = Bounds(width, height, [&](int64_t i) {
            const T v = data[i];
            return above(v) || v != v;
        });
    });
    if (grey) return found;
    // Colour: channel c of pixel i at data[i * step + c * offset].
    const int64_t pixels = image.Pixels();
    auto colour = [&]<class T>(const T* data, int64_t step, int64_t offset) {
        return Bounds(width, height, [&](int64_t i) {
            const T* p = data + i * step;
            const double mean = (static_cast<double>(p[0]) + static_cast<double>(p[offset]) +
                                 static_cast<double>(p[2 * offset])) /
                                3;
            return !(mean <= threshold);
        });
    };
    if (image.Type() == IMAGE_RGB_8) return colour(image.Data<uint8_t>(), 1, pixels);
    if (image.Type() == IMAGE_RGB_8I) return colour(image.Data<uint8_t>(), 3, 1);
    return colour(image.Data<float>(), 3, 1);
}

std::unique_ptr<CImage> CPFindRectangle::Table(const SRectangle& r) {
    auto table = std::make_unique<CImage>(IMAGE_GREY_F, CSize(4, 1, 1));
    float* row = table->Data<float>();
    const bool empty = r.Empty();
    const int64_t cells[4] = {r.xmin, r.xmax, r.ymin, r.ymax};
    for (int c = 0; c < 4; ++c)
        row[c] = empty ? -1.0f : static_cast<float>(cells[c]);
    return table;
}

void CPFindRectangle::Run() {
    const char* where = "(utility plugins) FindRectangle::Run";
    const CImage* input = ImageOnPin(*this, 0, where);
    const SRectangle r = Search(*input, m_threshold, where);
    auto corners = std::make_unique<CValueMap>();
    const bool empty = r.Empty();
    auto set = [&](const char* key, int64_t value) {
        corners->SetEntry(key, new CValueLong(static_cast<int32_t>(value)));
    };
    set("ax", empty ? -1 : r.xmin);
    set("ay", empty ? -1 : r.ymin);
    set("bx", empty ? -1 : r.xmax);
    set("by", empty ? -1 : r.ymax);
    set("width", empty ? 0 : r.xmax - r.xmin + 1);
    set("height", empty ? 0 : r.ymax - r.ymin + 1);
    SetStackOutput(0, OwnedImage(Table(r)));
    SetStackOutput(1, std::move(corners));
}

}  // namespace ORVA
