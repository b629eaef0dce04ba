#include "PCurveIndex.h"

#include <vector>

#include "algorithms/CurveTracing.h"
#include "support/Tables.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) CurveIndex::Run";

}  // namespace

void CPCurveIndex::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "CurveIndex");
    doc.Brief(
        "Traces thin curves and numbers their pixels along them.",
        "The non-zero pixels (NaN included) of the first plane are taken as thin curves, one "
        "pixel wide, as a skeleton or an edge detector leaves them. Pixels are neighbours by "
        "mixed adjacency: the four edge neighbours, and a diagonal neighbour only where neither "
        "of the two pixels beside both is a curve pixel, so a staircase of edge steps is one "
        "path. A pixel with one neighbour or none is an end point, one with three or more a "
        "branch point.\n\n"
        "Curves are traced from their end points in raster order, then from the ends that "
        "tracing leaves; a closed curve starts at its first pixel in raster order and runs to the "
        "right or downwards first. A curve runs until it has no untraced neighbour left or "
        "reaches a branch point, which it keeps as its last pixel; the other branches then start "
        "curves of their own. Every curve pixel belongs to exactly one curve.\n\n"
        "Curves are numbered from 1 in the order they are traced, their pixels from 1 along "
        "them; the arc length grows by 1 per edge step and by sqrt 2 per diagonal step, from 0 "
        "at the first pixel.");
    doc.Input(0,
              "Input image of a single-channel type (IMAGE_GREY_8, _16, _32, _64, _F, _D or "
              "binary).");
    doc.Output(0,
               "Table of type IMAGE_GREY_F with one row curve, index, x, y, arc length per curve "
               "pixel, curve by curve in the order of tracing.");
    doc.Output(1,
               "Image of type IMAGE_GREY_F of the input's width and height: each curve pixel's "
               "index, 0 elsewhere.");
    doc.Keywords({"curve", "trace", "contour", "skeleton", "arc length", "chain code"});
    doc.SeeAlso("SamplePoints, GetCoordinates");
}

void CPCurveIndex::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    const int64_t width = input->Size().x;
    const int64_t height = input->Pixels() > 0 ? input->Size().y : 0;
    std::vector<uint8_t> mask;
    if (!DispatchGrey(input->Type(), [&]<class T>(std::type_identity<T>) {
            mask = CurveMask(input->Data<T>(), width, height);
        }))
        throw CException(WHERE, CString("input image must have a single channel, but it is %1")
                                    .Arg(input->Type().Name()));

    int64_t pixels = 0;
    for (uint8_t m : mask)
        pixels += m;
    std::unique_ptr<CImage> table = MakeTable(5, pixels);
    std::unique_ptr<CImage> indices;
    if (HasStackOutput(1))
        indices = std::make_unique<CImage>(IMAGE_GREY_F, CSize(input->Size().x, input->Size().y));
    TraceCurves(mask, width, table->Data<float>(), indices ? indices->Data<float>() : nullptr);
    SetStackOutput(0, OwnedImage(std::move(table)));
    if (indices) SetStackOutput(1, OwnedImage(std::move(indices)));
}

}  // namespace ORVA
