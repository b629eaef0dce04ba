#include "HoughCircles.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ORVA {

namespace {

// Circles up to this radius have fewer than 65536 pixels.
constexpr int64_t NARROW_RADIUS = 8000;

// Whether a circle of `radius` can pass through two pixels of a width x height grid, its centre
// being one of them: beyond the grid's diagonal a plane gets no votes.
bool Reachable(int64_t radius, int64_t width, int64_t height) {
    if (width < 1 || height < 1 || radius > std::numeric_limits<int32_t>::max()) return false;
    return radius * radius <= (width - 1) * (width - 1) + (height - 1) * (height - 1);
}

}  // namespace

void HoughCircleAccumulate(const std::vector<SEdgePixel>& edges, int64_t width, int64_t height,
                           int64_t radiusMin, int64_t radiusStep, int64_t radii, float* planes) {
    // Small circles count in 16 bits, which keeps more of a plane in cache while the votes
    // scatter over it. Planes beyond the image's diagonal get no votes.
    const int64_t planeSize = width * height;
    std::vector<uint16_t> counts;
    for (int64_t i = 0; i < radii && planeSize > 0; ++i) {
        const int64_t radius = radiusMin + i * radiusStep;
        float* plane = planes + i * planeSize;
        const bool votes = !edges.empty() && Reachable(radius, width, height);
        if (votes && radius <= NARROW_RADIUS) {
            counts.assign(static_cast<size_t>(planeSize), 0);
            HoughCircleVote(edges, radius, counts.data(), width, height);
            for (size_t j = 0; j < counts.size(); ++j)
                plane[j] = static_cast<float>(counts[j]);
            continue;
        }
        std::fill(plane, plane + planeSize, 0.0f);
        if (votes) HoughCircleVote(edges, radius, plane, width, height);
    }
}

std::vector<SHoughCircle> HoughCirclePeaks(const float* accumulator, int64_t width, int64_t height,
                                           int64_t radii, int64_t radiusMin, int64_t radiusStep,
                                           double threshold, int64_t minDistance,
                                           int64_t maxCount) {
    struct SCandidate {
        double fraction;
        float votes;
        int64_t cell;  // plane * width * height + y * width + x
    };
    std::vector<SCandidate> candidates;
    const int64_t planeSize = width * height;
    for (int64_t i = 0; i < radii; ++i) {
        const int64_t radius = radiusMin + i * radiusStep;
        if (!Reachable(radius, width, height)) break;
        const auto pixels = static_cast<double>(CircleOutline(radius).size());
        const double needed = std::max(1.0, threshold * pixels);
        const float* plane = accumulator + i * planeSize;
        const auto enough = static_cast<float>(std::ceil(needed));  // counts are whole
        constexpr int64_t BLOCK = 64;
        for (int64_t start = 0; start < planeSize; start += BLOCK) {
            const int64_t end = std::min(start + BLOCK, planeSize);
            if (!AnyReaches(plane + start, end - start, enough)) continue;
            for (int64_t j = start; j < end; ++j)
                if (plane[j] >= needed)
                    candidates.push_back(
                        {static_cast<double>(plane[j]) / pixels, plane[j], i * planeSize + j});
        }
    }
    // Equal fractions of exact integers divide into equal doubles, so the order is strict.
    std::sort(candidates.begin(), candidates.end(), [](const SCandidate& a, const SCandidate& b) {
        if (a.fraction != b.fraction) return a.fraction > b.fraction;
        if (a.votes != b.votes) return a.votes > b.votes;
        return a.cell < b.cell;
    });

    std::vector<SHoughCircle> circles;
    CCentreSuppression suppression(width, height, minDistance);
    for (const SCandidate& candidate : candidates) {
        const int64_t plane = candidate.cell / planeSize, rest = candidate.cell % planeSize;
        const int64_t x = rest % width, y = rest / width;
        if (suppression.Suppressed(x, y)) continue;
        suppression.Take(x, y);
        circles.push_back({static_cast<double>(x), static_cast<double>(y),
                           static_cast<double>(radiusMin + plane * radiusStep), candidate.votes});
        if (maxCount > 0 && static_cast<int64_t>(circles.size()) >= maxCount) break;
    }
    return circles;
}

}  // namespace ORVA
