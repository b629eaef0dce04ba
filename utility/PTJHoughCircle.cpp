#include "PTJHoughCircle.h"

#include <vector>

#include "algorithms/GradientCircles.h"
#include "support/InputChecks.h"
#include "support/Tables.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) HoughCircleTJ::Run";

}  // namespace

void CPTJHoughCircle::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Transformation", "HoughCircleTJ", "TJHoughCircle");
    doc.Brief(
        "Gradient Hough transform for circles: finds circle centres along edge gradients, then "
        "their radii.",
        "The first plane of the input is differentiated by the 5 x 5 Sobel filter, scaled to "
        "give the slope in values per pixel: a ramp rising by 1 per pixel has a gradient of 1, "
        "a sharp step of height h a gradient of at most 3h/8 (pixels beyond the border repeat "
        "the border pixel), so a binary image needs an edge_threshold below 0.375. Every pixel "
        "whose gradient is longer than edge_threshold votes for the centres on its gradient "
        "line, in both senses (bright and dark circles alike), at distances from radius_min to "
        "radius_max: one vote per pixel step along the line's longer axis, at the nearest "
        "pixel. Since the votes for one centre scatter a little, each vote counts 4 at its "
        "pixel, 2 at the four pixels beside it and 1 at the four diagonal ones. Output 0 holds "
        "these votes.\n\n"
        "Centres are the local maxima of the accumulator (at least the votes of their 8 "
        "neighbours) with more than threshold votes, taken strongest first; a centre closer "
        "than min_distance (Euclidean, in pixels) to a centre taken before is dropped. Each "
        "centre gets its radius from its supporting edge pixels, those whose gradient line "
        "passes within one pixel of it: of the histogram of their distances, rounded to whole "
        "pixels, the five neighbouring bins r - 2 to r + 2 with the most pixels (r from "
        "radius_min to radius_max, the smaller r on a tie) give the radius as the mean distance "
        "of their pixels, weighted by gradient. So a thin ring of radius r gives about r, and a "
        "filled disc the distance of its edge, about half a pixel beyond its outermost pixel "
        "centres. A centre without supporting pixels is passed over.\n\n"
        "This is the method of OpenCV's HoughCircles with HOUGH_GRADIENT, with a gradient "
        "threshold in place of the Canny edges and the accumulator at the image's resolution.");
    doc.Parameter("radius_min", m_radiusMin, "The smallest radius searched, in pixels (1 or more).")
        .Minimum(1);
    doc.Parameter("radius_max", m_radiusMax,
                  "The largest radius searched, in pixels (radius_min or more).")
        .Minimum(1);
    doc.Parameter("edge_threshold", m_edgeThreshold,
                  "Pixels whose gradient, in values per pixel, is longer than this vote (0 or "
                  "more).")
        .DoubleOrLong()
        .Minimum(0.0);
    doc.Parameter("threshold", m_threshold,
                  "A centre needs more votes than this in the accumulator (0 or more); a vote "
                  "counts 4 at its own pixel.")
        .DoubleOrLong()
        .Minimum(0.0);
    doc.Parameter("min_distance", m_minDistance,
                  "Centres closer than this to a stronger centre are dropped; 0 takes radius_min.")
        .Minimum(0);
    doc.Parameter("max_count", m_maxCount, "The most circles listed; 0 lists all.").Minimum(0);
    doc.Input(0, "Input image of a grey or binary type.");
    doc.Output(0, "Centre accumulator of type IMAGE_GREY_F and the input's width and height.");
    doc.Output(1,
               "Circles found, an IMAGE_GREY_F table with one row x, y, r, votes per circle, "
               "strongest first (4 x 0 for none).");
    doc.Keywords({"Hough transform", "gradient", "circle", "detect circles", "circle detector"});
    doc.SeeAlso("HoughCircle");
}

void CPTJHoughCircle::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    RequireSingleChannel(*input, GREY_OR_BINARY_EXPECTED, WHERE);
    if (m_radiusMin < 1 || m_radiusMax < m_radiusMin)
        throw CException(WHERE, CString("radius_min %1, radius_max %2: radii from 1 up "
                                        "expected")
                                    .Arg(m_radiusMin)
                                    .Arg(m_radiusMax));
    if (!(m_edgeThreshold >= 0.0) || !(m_threshold >= 0.0))
        throw CException(WHERE, CString("edge_threshold %1, threshold %2: numbers of 0 or more "
                                        "expected")
                                    .Arg(m_edgeThreshold)
                                    .Arg(m_threshold));
    if (m_minDistance < 0 || m_maxCount < 0)
        throw CException(WHERE, CString("min_distance %1, max_count %2: 0 or more expected")
                                    .Arg(m_minDistance)
                                    .Arg(m_maxCount));

    const int64_t width = input->Size().x, height = input->Size().y;
    CImage::CheckMemory(IMAGE_GREY_F, CSize(width, height), WHERE);
    auto accumulator = std::make_unique<CImage>(IMAGE_GREY_F, CSize(width, height));
    std::vector<SHoughCircle> circles;
    if (accumulator->Pixels() > 0 && input->Pixels() > 0) {
        std::vector<SGradientPixel> edges;
        DispatchGrey(input->Type(), [&]<class T>(std::type_identity<T>) {
            edges = GradientEdges(input->Data<T>(), width, height, m_edgeThreshold);
        });
        float* votes = accumulator->Data<float>();
        GradientVote(edges, m_radiusMin, m_radiusMax, votes, width, height);
        SpreadVotes(votes, width, height);
        const int64_t minDistance = m_minDistance > 0 ? m_minDistance : m_radiusMin;
        circles = GradientCircles(votes, width, height, edges, m_radiusMin, m_radiusMax,
                                  m_threshold, minDistance, m_maxCount);
    }
    std::unique_ptr<CImage> table = MakeTable(4, static_cast<int64_t>(circles.size()));
    CircleRows(circles, table->Data<float>());
    SetStackOutput(0, OwnedImage(std::move(accumulator)));
    SetStackOutput(1, OwnedImage(std::move(table)));
}

}  // namespace ORVA
