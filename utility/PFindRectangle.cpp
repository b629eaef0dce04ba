#include "PFindRectangle.h"

#include <cmath>

#include "algorithms/Rectangles.h"
#include "support/InputChecks.h"
#include "support/TableOutput.h"

namespace ORVA {

void CPFindRectangle::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "FindRectangle");
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
}

void CPFindRectangle::Run() {
    const char* where = "(utility plugins) FindRectangle::Run";
    const CImage* input = InputImage(0, NumberedInput(where));
    if (std::isnan(m_threshold)) throw CException(where, "threshold is NaN, not a number");
    const SRectangle r = SearchAbove(*input, m_threshold);
    const auto [xmin, xmax, ymin, ymax] = r.Corners();
    auto corners = std::make_unique<CValueMap>();
    auto set = [&](const char* key, int64_t value) {
        corners->SetEntry(key, new CValueLong(static_cast<int32_t>(value)));
    };
    set("ax", xmin);
    set("ay", ymin);
    set("bx", xmax);
    set("by", ymax);
    set("width", r.Empty() ? 0 : xmax - xmin + 1);
    set("height", r.Empty() ? 0 : ymax - ymin + 1);
    SetStackOutput(0, OwnedImage(TableRow(r.Corners())));
    SetStackOutput(1, std::move(corners));
}

}  // namespace ORVA
