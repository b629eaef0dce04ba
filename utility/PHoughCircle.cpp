#include "PHoughCircle.h"

#include <limits>
#include <vector>

#include "algorithms/HoughCircles.h"
#include "support/Tables.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) HoughCircle::Run";

// The accumulator may hold at most this many cells (8 GiB of floats).
constexpr int64_t MAX_CELLS = std::numeric_limits<int32_t>::max();

}  // namespace

void CPHoughCircle::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Transformation", "HoughCircle");
    doc.Brief(
        "Hough transform for circles: finds circles of a range of radii in an edge image.",
        "Every non-zero pixel of the first plane of the input is an edge pixel. For each radius "
        "r = radius_min, radius_min + radius_step, ... up to radius_max, the edge pixels vote "
        "for the centres of all circles of radius r through them: every edge pixel adds 1 to "
        "each pixel of the circle of radius r around it, so plane i of the accumulator counts, "
        "for every centre, the edge pixels on the circle of the i-th radius around it. Circles "
        "are rasterised by the midpoint circle algorithm (8-connected, each pixel of a circle "
        "once), and votes for centres outside the image are dropped.\n\n"
        "A cell of the accumulator is a candidate circle when at least the fraction threshold "
        "of its circle's pixels voted for it (and at least one did). The candidates are taken "
        "strongest first, by that fraction (then by votes, then by radius, row and column); a "
        "candidate whose centre lies closer than min_distance (Euclidean, in pixels) to the "
        "centre of a circle taken before is dropped, so with the default concentric and "
        "neighbouring duplicates disappear. This follows scikit-image's hough_circle and "
        "hough_circle_peaks, except that the accumulator counts votes instead of fractions and "
        "every pixel of a rasterised circle votes once.\n\n"
        "Radii must be at least 1. The accumulator is limited to 2147483647 cells.");
    doc.Parameter("radius_min", m_radiusMin, "The smallest radius searched, in pixels (1 or more).")
        .Minimum(1);
    doc.Parameter("radius_max", m_radiusMax,
                  "The largest radius searched, in pixels (radius_min or more); it is searched "
                  "when radius_min plus a multiple of radius_step reaches it.")
        .Minimum(1);
    doc.Parameter("radius_step", m_radiusStep, "The step between the radii searched (1 or more).")
        .Minimum(1);
    doc.Parameter("threshold", m_threshold,
                  "The fraction of a circle's pixels that must vote for it, from 0 to 1.")
        .DoubleOrLong()
        .Range(0.0, 1.0);
    doc.Parameter("min_distance", m_minDistance,
                  "Centres closer than this to the centre of a stronger circle are dropped; 0 "
                  "takes radius_min.")
        .Minimum(0);
    doc.Parameter("max_count", m_maxCount, "The most circles listed; 0 lists all.").Minimum(0);
    doc.Input(0, "Edge image of type IMAGE_GREY_F or IMAGE_GREY_8; non-zero pixels are edges.");
    doc.Output(0,
               "Accumulator of type IMAGE_GREY_F, width x height x number of radii: plane i "
               "counts the votes for centres of circles of the i-th radius.");
    doc.Output(1,
               "Circles found, an IMAGE_GREY_F table with one row x, y, r, votes per circle, "
               "strongest first (4 x 0 for none).");
    doc.Keywords({"Hough transform", "circle", "detect circles", "circle detector", "accumulator"});
    doc.SeeAlso("HoughCircleTJ, Hough");
}

void CPHoughCircle::Run() {
    const CImage* input = InputImage(0, {.where = WHERE});
    if (input->Type() != IMAGE_GREY_F && input->Type() != IMAGE_GREY_8)
        throw CException(WHERE, CString("input image is of type %1; IMAGE_GREY_F or IMAGE_GREY_8 "
                                        "expected")
                                    .Arg(input->Type().Name()));
    if (m_radiusMin < 1 || m_radiusMax < m_radiusMin || m_radiusStep < 1)
        throw CException(WHERE, CString("radius_min %1, radius_max %2, radius_step %3: radii "
                                        "from 1 up and a step of 1 or more expected")
                                    .Arg(m_radiusMin)
                                    .Arg(m_radiusMax)
                                    .Arg(m_radiusStep));
    if (!(m_threshold >= 0.0 && m_threshold <= 1.0))
        throw CException(
            WHERE, CString("threshold is %1; a fraction from 0 to 1 expected").Arg(m_threshold));
    if (m_minDistance < 0 || m_maxCount < 0)
        throw CException(WHERE, CString("min_distance %1, max_count %2: 0 or more expected")
                                    .Arg(m_minDistance)
                                    .Arg(m_maxCount));

    const int64_t width = input->Size().x, height = input->Size().y;
    const int64_t radii = (static_cast<int64_t>(m_radiusMax) - m_radiusMin) / m_radiusStep + 1;
    if (width > 0 && height > 0 &&
        (width > MAX_CELLS / height || radii > MAX_CELLS / (width * height)))
        throw CException(WHERE, CString("an accumulator of %1 x %2 x %3 cells is too large; "
                                        "2147483647 cells at most")
                                    .Arg(width)
                                    .Arg(height)
                                    .Arg(radii));
    CImage::CheckMemory(IMAGE_GREY_F, CSize(width, height, radii), WHERE);
    auto accumulator = std::make_unique<CImage>(IMAGE_GREY_F, CSize(width, height, radii),
                                                CSize(0, 0, 0), CImage::NoInit{});

    std::vector<SEdgePixel> edges;
    if (input->Pixels() > 0)
        DispatchType<IImage::CType::GREY_8, IImage::CType::GREY_F>(
            input->Type(), [&]<class T>(std::type_identity<T>) {
                edges = EdgePixels(input->Data<T>(), width, height);
            });
    float* planes = accumulator->Data<float>();
    HoughCircleAccumulate(edges, width, height, m_radiusMin, m_radiusStep, radii, planes);
    const int64_t minDistance = m_minDistance > 0 ? m_minDistance : m_radiusMin;
    const std::vector<SHoughCircle> circles =
        edges.empty() ? std::vector<SHoughCircle>()
                      : HoughCirclePeaks(planes, width, height, radii, m_radiusMin, m_radiusStep,
                                         m_threshold, minDistance, m_maxCount);
    std::unique_ptr<CImage> table = MakeTable(4, static_cast<int64_t>(circles.size()));
    CircleRows(circles, table->Data<float>());
    SetStackOutput(0, OwnedImage(std::move(accumulator)));
    SetStackOutput(1, OwnedImage(std::move(table)));
}

}  // namespace ORVA
