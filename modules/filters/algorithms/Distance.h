#pragma once

// Exact Euclidean distance transform (Felzenszwalb and Huttenlocher): each output is the
// distance from the pixel to the nearest zero sample of the input, sqrt(dx^2 + dy^2) in pixel
// units; zero samples give 0. Squared distances are exact integers: columns are swept twice
// for the nearest zero of the column, rows take the lower envelope of the parabolas
// (x - q)^2 + f(q) with intersections in double. The output is the float square root of the
// exact integer, as OpenCV's DIST_L2 / DIST_MASK_PRECISE computes it. A plane without a zero
// sample gives +infinity everywhere.
#include <cmath>
#include <limits>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

namespace Detail {

// Lower envelope of n parabolas f[q] + (x - q)^2 (f < 0 means none at q) into d (squared).
void EnvelopeRow(const int64_t* f, int64_t* d, int64_t n, int64_t* v, double* z);

}  // namespace Detail

template <class T>
void DistanceTransform(SPlane<const T> src, SPlane<float> dst) {
    CheckSameSize(src, dst, "Filters::DistanceTransform");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    constexpr int64_t NONE = -1;
    // Column pass: the distance to the nearest zero in the column, squared (NONE when none).
    std::vector<int64_t> column(static_cast<size_t>(w * h));
    std::vector<int64_t> last(static_cast<size_t>(w), NONE);
    for (int64_t y = 0; y < h; ++y) {  // down: distance to the zero above
        const T* in = src.Row(y);
        int64_t* c = column.data() + y * w;
        for (int64_t x = 0; x < w; ++x) {
            if (in[x] == T(0)) last[static_cast<size_t>(x)] = y;
            c[x] = last[static_cast<size_t>(x)] == NONE ? NONE : y - last[static_cast<size_t>(x)];
        }
    }
    std::fill(last.begin(), last.end(), NONE);
    for (int64_t y = h - 1; y >= 0; --y) {  // up: the zero below if nearer; then square
        const T* in = src.Row(y);
        int64_t* c = column.data() + y * w;
        for (int64_t x = 0; x < w; ++x) {
            if (in[x] == T(0)) last[static_cast<size_t>(x)] = y;
            const int64_t below =
                last[static_cast<size_t>(x)] == NONE ? NONE : last[static_cast<size_t>(x)] - y;
            int64_t d = c[x];
            if (below != NONE && (d == NONE || below < d)) d = below;
            c[x] = d == NONE ? NONE : d * d;
        }
    }
    std::vector<int64_t> d(static_cast<size_t>(w)), v(static_cast<size_t>(w));
    std::vector<double> z(static_cast<size_t>(w + 1));
    for (int64_t y = 0; y < h; ++y) {
        Detail::EnvelopeRow(column.data() + y * w, d.data(), w, v.data(), z.data());
        float* out = dst.Row(y);
        for (int64_t x = 0; x < w; ++x)
            out[x] = d[static_cast<size_t>(x)] < 0
                         ? std::numeric_limits<float>::infinity()
                         : std::sqrt(static_cast<float>(d[static_cast<size_t>(x)]));
    }
}

}  // namespace ORVA::Filters
