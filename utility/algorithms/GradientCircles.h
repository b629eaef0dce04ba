#pragma once

// Circle detection by the gradient Hough transform: strong edge pixels vote along their gradient
// line for centres, and each centre found takes the radius most of its supporting edge pixels
// agree on.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CircleDetection.h"

namespace ORVA {

// An edge pixel with its Sobel gradient.
struct SGradientPixel {
    int64_t x = 0, y = 0;
    double gx = 0, gy = 0;
};

// The pixels of a width x height plane (both at least 1) whose gradient is finite and longer
// than `edgeThreshold` (and than 0), in raster order. The gradient is the slope in values per
// pixel by the 5 x 5 Sobel filter ([1 4 6 4 1] across, [-1 -2 0 2 1] along, divided by 128, in
// single precision):
// a ramp rising by 1 per pixel has a gradient of 1, a sharp step of height h at most 3h/8.
// Pixels beyond the border repeat the border pixel; gx grows to the right, gy downwards.
template <class T>
std::vector<SGradientPixel> GradientEdges(const T* plane, int64_t width, int64_t height,
                                          double edgeThreshold) {
    // Rows of the plane in float, so the filter's loops run over contiguous floats and
    // vectorise; row r is converted once, into slot r % 5, which it keeps while the five rows
    // around an output row need it.
    std::vector<float> slots(static_cast<size_t>(5 * width));
    int64_t held[5] = {-1, -1, -1, -1, -1};
    auto row = [&](int64_t r) -> const float* {
        r = std::clamp<int64_t>(r, 0, height - 1);
        float* slot = slots.data() + (r % 5) * width;
        if (held[r % 5] != r) {
            const T* source = plane + r * width;
            for (int64_t x = 0; x < width; ++x)
                slot[x] = static_cast<float>(source[x]);
            held[r % 5] = r;
        }
        return slot;
    };
    // Per output row, the [1 4 6 4 1] sum (smooth) and the [-1 -2 0 2 1] difference (slope) of
    // five rows, padded by two repeated pixels at both ends; then the other direction across.
    const auto padded = static_cast<size_t>(width + 4);
    std::vector<float> smooth(padded), slope(padded), gx(static_cast<size_t>(width)), gy(gx.size());
    std::vector<SGradientPixel> edges;
    const double limit = edgeThreshold * edgeThreshold;
    // Below the limit by more than single precision's rounding of a square, and never above 0.
    const auto loose = static_cast<float>(std::min(limit * 0.999, limit - 1e-30));
    for (int64_t y = 0; y < height; ++y) {
        const float* rows[5];
        for (int64_t k = 0; k < 5; ++k)
            rows[k] = row(y + k - 2);
        float *s = smooth.data() + 2, *d = slope.data() + 2;
        for (int64_t x = 0; x < width; ++x) {
            s[x] = (rows[0][x] + rows[4][x]) + 4.0f * (rows[1][x] + rows[3][x]) + 6.0f * rows[2][x];
            d[x] = (rows[4][x] - rows[0][x]) + 2.0f * (rows[3][x] - rows[1][x]);
        }
        s[-2] = s[-1] = s[0];
        d[-2] = d[-1] = d[0];
        s[width + 1] = s[width] = s[width - 1];
        d[width + 1] = d[width] = d[width - 1];
        s = smooth.data();
        d = slope.data();
        for (int64_t x = 0; x < width; ++x) {
            gx[x] = ((s[x + 4] - s[x]) + 2.0f * (s[x + 3] - s[x + 1])) * (1.0f / 128.0f);
            gy[x] = ((d[x] + d[x + 4]) + 4.0f * (d[x + 1] + d[x + 3]) + 6.0f * d[x + 2]) *
                    (1.0f / 128.0f);
        }
        // A block of pixels is tested exactly, in double, only when a single-precision pass
        // that vectorises finds a square near the limit or beyond it in the block.
        constexpr int64_t BLOCK = 64;
        for (int64_t start = 0; start < width; start += BLOCK) {
            const int64_t end = std::min(start + BLOCK, width);
            int near = 0;
            for (int64_t x = start; x < end; ++x)
                near |= gx[x] * gx[x] + gy[x] * gy[x] >= loose;
            if (!near) continue;
            for (int64_t x = start; x < end; ++x) {
                const auto gxd = static_cast<double>(gx[x]), gyd = static_cast<double>(gy[x]);
                const double squared = gxd * gxd + gyd * gyd;
                if (squared > limit && squared > 0.0 && std::isfinite(squared))
                    edges.push_back({x, y, gxd, gyd});
            }
        }
    }
    return edges;
}

// Adds 1 to every cell of the width x height `accumulator` on the gradient line of an edge pixel,
// in both senses, at a distance from radiusMin to radiusMax: one cell per step along the line's
// longer axis, the nearest to the point reached (in fixed point with 20 fractional bits).
void GradientVote(const std::vector<SGradientPixel>& edges, int64_t radiusMin, int64_t radiusMax,
                  float* accumulator, int64_t width, int64_t height);

// Lets every vote count for the cells around its own, since the votes for one centre scatter a
// little: each cell becomes its 3 x 3 neighbourhood weighted 4 in the middle, 2 beside it and 1
// on the diagonals.
void SpreadVotes(float* accumulator, int64_t width, int64_t height);

// The circles of the centre accumulator: local maxima above `threshold` votes, strongest first,
// each at least `minDistance` from the centres taken before, at most `maxCount` (0: all), with
// the radius their supporting edge pixels agree on: of the histogram of the rounded distances
// of the pixels whose gradient line passes within one pixel of the centre, the five bins r - 2
// to r + 2 with the most pixels (r from radiusMin to radiusMax, the smallest on a tie) give the
// mean distance of their pixels, weighted by gradient. A centre without support is passed over.
// `edges` are in raster order.
std::vector<SHoughCircle> GradientCircles(const float* accumulator, int64_t width, int64_t height,
                                          const std::vector<SGradientPixel>& edges,
                                          int64_t radiusMin, int64_t radiusMax, double threshold,
                                          int64_t minDistance, int64_t maxCount);

}  // namespace ORVA
