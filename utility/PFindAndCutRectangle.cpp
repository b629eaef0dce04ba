#include "PFindAndCutRectangle.h"

#include <cmath>

#include "algorithms/Rectangles.h"
#include "support/InputChecks.h"
#include "support/TableOutput.h"

namespace ORVA {

void CPFindAndCutRectangle::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "FindAndCutRectangle");
    doc.Brief("Cuts an image to the rectangle of its pixels above a threshold.",
              "Finds the bounding rectangle of the pixels of the first plane greater than "
              "threshold, as FindRectangle does (NaN pixels count as greater, colour pixels by "
              "the mean of their channels), grows it by expand_left, expand_right, expand_top "
              "and expand_bottom pixels (negative margins shrink it) within the image, and cuts "
              "that rectangle out of every plane of the input. When no pixel is greater, or the "
              "margins leave nothing, the output image has width and height 0 and the input's "
              "depth, and the table row holds -1 four times.");
    doc.Input(0, "Input image of any type.");
    doc.Output(0, "The input's rectangle, of the input's type, in every plane.");
    doc.Output(1,
               "Table of type IMAGE_GREY_F with one row: xmin, xmax, ymin, ymax of the cut "
               "rectangle.");
    doc.Parameter("threshold", m_threshold, "pixels greater than this are searched for");
    doc.Parameter("expand_left", m_expandLeft, "columns added left of the rectangle");
    doc.Parameter("expand_right", m_expandRight, "columns added right of the rectangle");
    doc.Parameter("expand_top", m_expandTop, "rows added above the rectangle");
    doc.Parameter("expand_bottom", m_expandBottom, "rows added below the rectangle");
    doc.Keywords({"crop", "cut", "bounding box", "rectangle", "region of interest"});
    doc.SeeAlso("FindRectangle, ExpandBox");
}

void CPFindAndCutRectangle::Run() {
    const char* where = "(utility plugins) FindAndCutRectangle::Run";
    const CImage* input = InputImage(0, NumberedInput(where));
    if (std::isnan(m_threshold)) throw CException(where, "threshold is NaN, not a number");
    const CSize& size = input->Size();
    const SRectangle found = SearchAbove(*input, m_threshold);
    const SRectangle r = found.Empty() ? found
                                       : Grown(found, size.x, size.y, m_expandLeft, m_expandRight,
                                               m_expandTop, m_expandBottom);
    const CRect cut = r.Empty() ? CRect(0, 0, 0, 0)
                                : CRect(r.xmin, r.ymin, r.xmax - r.xmin + 1, r.ymax - r.ymin + 1);
    SetStackOutput(0, OwnedImage(CImageExtraction::Rect(*input, cut)));
    SetStackOutput(1, OwnedImage(TableRow(r.Corners())));
}

}  // namespace ORVA
