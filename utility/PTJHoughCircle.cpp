#include "PTJHoughCircle.h"

#include "InputChecks.h"

namespace ORVA {

namespace {

const char* const WHERE = "(utility plugins) HoughCircleTJ::Run";

// The radius of a centre from the edge pixels that support it: those whose gradient line
// passes within one pixel of the centre, at a distance that rounds to radiusMin - 2 up to
// radiusMax + 2. Their rounded distances make a histogram; the five bins r - 2 to r + 2 with
// the most pixels (the smallest r of a tie, r from radiusMin to radiusMax), as wide as the
// band of edge pixels the gradient filter leaves along an edge, give the radius as the mean
// distance of their pixels, weighted by gradient.
class CSupportRadius {
  public:
    CSupportRadius(const std::vector<SGradientPixel>& edges, int64_t width, int64_t height,
                   int64_t radiusMin, int64_t radiusMax)
        : m_edges(edges),
          m_rowStart(static_cast<size_t>(height) + 1, 0),
          m_radiusMin(radiusMin),
          m_radiusMax(radiusMax) {
        for (const SGradientPixel& edge : edges)
            ++m_rowStart[static_cast<size_t>(edge.y) + 1];
        for (size_t y = 1; y < m_rowStart.size(); ++y)
            m_rowStart[y] += m_rowStart[y - 1];
        // No pixel lies farther from a centre than width + height, so larger radii find no
        // support and need no bins.
        m_radiusMax = std::max(std::min(m_radiusMax, width + height), m_radiusMin);
        m_bins.resize(static_cast<size_t>(m_radiusMax - m_radiusMin + 5));
    }

    // The radius, or 0 for a centre without support.
    double Estimate(int64_t cx, int64_t cy) {
        std::fill(m_bins.begin(), m_bins.end(), SBin{});
        const int64_t reach = m_radiusMax + 2;
        const int64_t top = std::max<int64_t>(0, cy - reach);
        const int64_t bottom = std::min(static_cast<int64_t>(m_rowStart.size()) - 2, cy + reach);
        for (int64_t y = top; y <= bottom; ++y) {
            const auto begin = m_edges.begin() + static_cast<std::ptrdiff_t>(m_rowStart[y]);
            const auto end = m_edges.begin() + static_cast<std::ptrdiff_t>(m_rowStart[y + 1]);
            auto pixel = std::lower_bound(
                begin, end, cx - reach, [](const SGradientPixel& p, int64_t x) { return p.x < x; });
            for (; pixel != end && pixel->x <= cx + reach; ++pixel) {
                const auto dx = static_cast<double>(cx - pixel->x);
                const auto dy = static_cast<double>(cy - pixel->y);
                const double distance = std::sqrt(dx * dx + dy * dy);
                // Rounded to the nearest whole distance, then shifted to the first bin.
                const auto bin = static_cast<int64_t>(distance + 0.5) - (m_radiusMin - 2);
                if (bin < 0 || bin >= static_cast<int64_t>(m_bins.size())) continue;
                // The centre's distance from the gradient line, times the gradient's length.
                const double strength = std::sqrt(pixel->gx * pixel->gx + pixel->gy * pixel->gy);
                if (std::fabs(pixel->gx * dy - pixel->gy * dx) > strength) continue;
                SBin& entry = m_bins[static_cast<size_t>(bin)];
                ++entry.count;
                entry.weight += strength;
                entry.weighted += strength * distance;
            }
        }
        int64_t best = 0;
        size_t middle = 0;
        for (size_t i = 2; i + 2 < m_bins.size(); ++i) {
            int64_t count = 0;
            for (size_t j = i - 2; j <= i + 2; ++j)
                count += m_bins[j].count;
            if (count > best) {
                best = count;
                middle = i;
            }
        }
        if (best == 0) return 0.0;
        double weight = 0.0, weighted = 0.0;
        for (size_t i = middle - 2; i <= middle + 2; ++i) {
            weight += m_bins[i].weight;
            weighted += m_bins[i].weighted;
        }
        return weighted / weight;
    }

  private:
    struct SBin {
        int64_t count = 0;
        double weight = 0.0, weighted = 0.0;
    };
    const std::vector<SGradientPixel>& m_edges;
    std::vector<size_t> m_rowStart;  // the edge pixels of row y: m_rowStart[y] to [y + 1] - 1
    int64_t m_radiusMin, m_radiusMax;
    std::vector<SBin> m_bins;  // rounded distances radiusMin - 2 to radiusMax + 2
};

}  // namespace

CPTJHoughCircle::CPTJHoughCircle() = default;

void CPTJHoughCircle::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc =
        UtilityDocument("Image", "Transformation", "HoughCircleTJ", "TJHoughCircle");
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
    doc.Parameter("radius_min", m_radiusMin,
                  "The smallest radius searched, in pixels (1 or more).");
    doc.Parameter("radius_max", m_radiusMax,
                  "The largest radius searched, in pixels (radius_min or more).");
    doc.Parameter("edge_threshold", m_edgeThreshold,
                  "Pixels whose gradient, in values per pixel, is longer than this vote (0 or "
                  "more).")
        .Type("double or long");
    doc.Parameter("threshold", m_threshold,
                  "A centre needs more votes than this in the accumulator (0 or more); a vote "
                  "counts 4 at its own pixel.")
        .Type("double or long");
    doc.Parameter("min_distance", m_minDistance,
                  "Centres closer than this to a stronger centre are dropped; 0 takes radius_min.");
    doc.Parameter("max_count", m_maxCount, "The most circles listed; 0 lists all.");
    doc.Input(0, "Input image of a grey or binary type.");
    doc.Output(0, "Centre accumulator of type IMAGE_GREY_F and the input's width and height.");
    doc.Output(1,
               "Circles found, an IMAGE_GREY_F table with one row x, y, r, votes per circle, "
               "strongest first (4 x 0 for none).");
    doc.Keywords({"Hough transform", "gradient", "circle", "detect circles", "circle detector"});
    doc.SeeAlso("HoughCircle");
    doc.WriteTo(setup);
}

void CPTJHoughCircle::NodeInit() {
    m_radiusMin = Parameters().EntryLong("radius_min", m_radiusMin);
    m_radiusMax = Parameters().EntryLong("radius_max", m_radiusMax);
    ReadDoubleOrLong(Parameters(), "edge_threshold", m_edgeThreshold);
    ReadDoubleOrLong(Parameters(), "threshold", m_threshold);
    m_minDistance = Parameters().EntryLong("min_distance", m_minDistance);
    m_maxCount = Parameters().EntryLong("max_count", m_maxCount);
}

void CPTJHoughCircle::Run() {
    const CImage* input = RequiredInputImage(GetStackInput(0, false), WHERE);
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
    std::unique_ptr<CImage> table = CircleTable(circles);
    SetStackOutput(0, OwnedImage(std::move(accumulator)));
    SetStackOutput(1, OwnedImage(std::move(table)));
}

void GradientVote(const std::vector<SGradientPixel>& edges, int64_t radiusMin, int64_t radiusMax,
                  float* accumulator, int64_t width, int64_t height) {
    // The steps k along the longer axis that land between the two radii; a step is `length`
    // long. The cells hit leave the image for good once they leave it, since the image is convex
    // and holds the edge pixel. Far beyond the image nothing more can be hit, which bounds k.
    // Positions run in fixed point with 20 fractional bits, so a step is two integer additions;
    // after k steps a position is off by at most k / 2^21 of a pixel.
    constexpr int SHIFT = 20;
    constexpr double ONE = 1 << SHIFT;
    constexpr int64_t HALF = int64_t{1} << (SHIFT - 1);
    const double reach = static_cast<double>(width) + static_cast<double>(height);
    for (const SGradientPixel& edge : edges) {
        const double longer = std::max(std::fabs(edge.gx), std::fabs(edge.gy));
        const double sx = edge.gx / longer, sy = edge.gy / longer;
        const double length = std::sqrt(sx * sx + sy * sy);
        const double first = std::ceil(static_cast<double>(radiusMin) / length);
        const double last =
            std::min(std::floor(static_cast<double>(radiusMax) / length), reach + 1.0);
        if (!(first <= last)) continue;
        const auto steps = static_cast<int64_t>(last - first) + 1;
        const auto k0 = static_cast<int64_t>(first);
        const auto stepX = static_cast<int64_t>(std::nearbyint(sx * ONE));
        const auto stepY = static_cast<int64_t>(std::nearbyint(sy * ONE));
        for (const int64_t sense : {1, -1}) {
            const int64_t dx = sense * stepX, dy = sense * stepY;
            // The nearest cell is the floor of position + 1/2: an arithmetic shift.
            int64_t x = (edge.x << SHIFT) + k0 * dx + HALF;
            int64_t y = (edge.y << SHIFT) + k0 * dy + HALF;
            for (int64_t k = 0; k < steps; ++k, x += dx, y += dy) {
                const int64_t cx = x >> SHIFT, cy = y >> SHIFT;
                if (static_cast<uint64_t>(cx) >= static_cast<uint64_t>(width) ||
                    static_cast<uint64_t>(cy) >= static_cast<uint64_t>(height))
                    break;
                accumulator[cy * width + cx] += 1.0f;
            }
        }
    }
}

void SpreadVotes(float* accumulator, int64_t width, int64_t height) {
    // [1 2 1] along each row, read through a copy with a zero at both ends; then down the
    // columns over three such rows, zeros standing above the first and below the last. Row y
    // is rewritten only once rows y and y + 1 have been read. The sums are of whole numbers,
    // so their order does not matter.
    const auto padded = static_cast<size_t>(width + 2);
    std::vector<float> source(padded, 0.0f), above(padded, 0.0f), current(padded, 0.0f),
        below(padded, 0.0f);
    auto across = [&](int64_t y, std::vector<float>& row) {
        std::copy(accumulator + y * width, accumulator + (y + 1) * width, source.begin() + 1);
        for (int64_t x = 0; x < width; ++x)
            row[x + 1] = source[x] + 2.0f * source[x + 1] + source[x + 2];
    };
    if (height > 0) across(0, current);
    for (int64_t y = 0; y < height; ++y) {
        if (y + 1 < height)
            across(y + 1, below);
        else
            std::fill(below.begin(), below.end(), 0.0f);
        float* line = accumulator + y * width;
        for (int64_t x = 0; x < width; ++x)
            line[x] = above[x + 1] + 2.0f * current[x + 1] + below[x + 1];
        std::swap(above, current);
        std::swap(current, below);
    }
}

std::vector<SHoughCircle> GradientCircles(const float* accumulator, int64_t width, int64_t height,
                                          const std::vector<SGradientPixel>& edges,
                                          int64_t radiusMin, int64_t radiusMax, double threshold,
                                          int64_t minDistance, int64_t maxCount) {
    // Local maxima: more votes than the neighbours before in raster order, at least as many as
    // those after, so a plateau yields one centre.
    struct SCandidate {
        float votes;
        int64_t cell;
    };
    std::vector<SCandidate> candidates;
    // Votes are whole numbers: more than `threshold` is at least `needed`. Most cells fall
    // short, so a block of a row is looked at cell by cell only when one of them is enough,
    // which a vectorised pass of comparisons tells.
    const auto needed = static_cast<float>(std::floor(threshold) + 1.0);
    constexpr int64_t BLOCK = 64;
    for (int64_t y = 0; y < height; ++y) {
        const float* row = accumulator + y * width;
        for (int64_t start = 0; start < width; start += BLOCK) {
            const int64_t end = std::min(start + BLOCK, width);
            int any = 0;
            for (int64_t x = start; x < end; ++x)
                any |= row[x] >= needed;
            if (!any) continue;
            for (int64_t x = start; x < end; ++x) {
                const float value = row[x];
                if (value < needed) continue;
                bool maximum = true;
                for (int64_t dy = -1; dy <= 1 && maximum; ++dy)
                    for (int64_t dx = -1; dx <= 1 && maximum; ++dx) {
                        const int64_t nx = x + dx, ny = y + dy;
                        if ((dx == 0 && dy == 0) || nx < 0 || ny < 0 || nx >= width || ny >= height)
                            continue;
                        const float other = accumulator[ny * width + nx];
                        maximum = (dy < 0 || (dy == 0 && dx < 0)) ? value > other : value >= other;
                    }
                if (maximum) candidates.push_back({value, y * width + x});
            }
        }
    }
    std::sort(candidates.begin(), candidates.end(), [](const SCandidate& a, const SCandidate& b) {
        return a.votes != b.votes ? a.votes > b.votes : a.cell < b.cell;
    });

    std::vector<SHoughCircle> circles;
    CSupportRadius radii(edges, width, height, radiusMin, radiusMax);
    CCentreSuppression suppression(width, height, minDistance);
    for (const SCandidate& candidate : candidates) {
        const int64_t cx = candidate.cell % width, cy = candidate.cell / width;
        if (suppression.Suppressed(cx, cy)) continue;
        const double radius = radii.Estimate(cx, cy);
        if (!(radius > 0.0)) continue;
        suppression.Take(cx, cy);
        circles.push_back(
            {static_cast<double>(cx), static_cast<double>(cy), radius, candidate.votes});
        if (maxCount > 0 && static_cast<int64_t>(circles.size()) >= maxCount) break;
    }
    return circles;
}

}  // namespace ORVA
