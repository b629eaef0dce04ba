#include "GradientCircles.h"

namespace ORVA {

namespace {

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
    // Votes are whole numbers: more than `threshold` is at least `needed`.
    const auto needed = static_cast<float>(std::floor(threshold) + 1.0);
    constexpr int64_t BLOCK = 64;
    for (int64_t y = 0; y < height; ++y) {
        const float* row = accumulator + y * width;
        for (int64_t start = 0; start < width; start += BLOCK) {
            const int64_t end = std::min(start + BLOCK, width);
            if (!AnyReaches(row + start, end - start, needed)) continue;
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
