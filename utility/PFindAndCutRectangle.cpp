#include "PFindAndCutRectangle.h"

#include <algorithm>

#include "support/InputChecks.h"

namespace ORVA {

void CPFindAndCutRectangle::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "FindAndCutRectangle");
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
    doc.WriteTo(setup);
}

void CPFindAndCutRectangle::NodeInit() {
    const CValueMap& parameters = Parameters();
    m_threshold = parameters.EntryDouble("threshold", m_threshold);
    m_expandLeft = parameters.EntryLong("expand_left", m_expandLeft);
    m_expandRight = parameters.EntryLong("expand_right", m_expandRight);
    m_expandTop = parameters.EntryLong("expand_top", m_expandTop);
    m_expandBottom = parameters.EntryLong("expand_bottom", m_expandBottom);
}

CPFindRectangle::SRectangle CPFindAndCutRectangle::Grow(const CPFindRectangle::SRectangle& found,
                                                        int64_t width, int64_t height, int64_t left,
                                                        int64_t right, int64_t top,
                                                        int64_t bottom) {
    if (found.Empty()) return found;
    CPFindRectangle::SRectangle grown{
        std::max<int64_t>(0, found.xmin - left), std::min(width - 1, found.xmax + right),
        std::max<int64_t>(0, found.ymin - top), std::min(height - 1, found.ymax + bottom)};
    return grown.Empty() ? CPFindRectangle::SRectangle{} : grown;
}

void CPFindAndCutRectangle::Run() {
    const char* where = "(utility plugins) FindAndCutRectangle::Run";
    const CImage* input = ImageOnPin(*this, 0, where);
    const CSize& size = input->Size();
    const CPFindRectangle::SRectangle r =
        Grow(CPFindRectangle::Search(*input, m_threshold, where), size.x, size.y, m_expandLeft,
             m_expandRight, m_expandTop, m_expandBottom);
    const CRect cut = r.Empty() ? CRect(0, 0, 0, 0)
                                : CRect(r.xmin, r.ymin, r.xmax - r.xmin + 1, r.ymax - r.ymin + 1);
    std::unique_ptr<CImage> output = CImageExtraction::Rect(*input, cut);
    SetStackOutput(0, OwnedImage(std::move(output)));
    SetStackOutput(1, OwnedImage(CPFindRectangle::Table(r)));
}

}  // namespace ORVA
