#pragma once

// Properties of the regions of a label image (label 0 is background), with scikit-image's
// regionprops definitions, coordinates x = column and y = row:
// - area: pixel count; centroid: mean x and y; box: min and max x and y (inclusive).
// - perimeter: scikit-image's perimeter with 4-connectivity: a border pixel of a region is a
//   pixel of it with a 4-neighbour outside it (or outside the image); each border pixel is
//   coded 1 + 2 (border 4-neighbours of the region) + 10 (border diagonal neighbours of the
//   region) and weighs 1 for codes 5, 7, 15, 17, 25, 27, sqrt(2) for 21, 33 and
//   (1 + sqrt(2)) / 2 for 13, 23; the perimeter sums count * weight over the codes in
//   ascending order.
// - equivalent diameter sqrt(4 area / pi).
// - inertia tensor from the central moments (exact in integers, then divided by the area):
//   a = var(x), c = var(y), b = -cov(x, y); orientation 0.5 atan2(-2b, c - a), and when a == c,
//   as scikit-image, -pi/4 for b < 0, else pi/4; eigenvalues (a + c)/2 +- sqrt(((a - c)/2)^2 +
//   b^2), clipped at 0; eccentricity sqrt(1 - l2 / l1) (0 when l1 is 0). scikit-image computes
//   these with floating sums and LAPACK, so they agree to about 1e-12 relative, except where
//   a == c or b == 0 exactly: its rounding then picks the side (pi/4 or -pi/4, pi/2 or -pi/2).
// - mean, minimum and maximum of an intensity plane over the region (when one is given).
// Labels are the integer part of the samples; negative labels and labels beyond 2^24 throw.
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

struct SRegion {
    int64_t label = 0;
    int64_t area = 0;
    double centroidX = 0, centroidY = 0;
    int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    double perimeter = 0, equivalentDiameter = 0, orientation = 0, eccentricity = 0;
    double mean = 0, minimum = 0, maximum = 0;
};

namespace Detail {

// What the pixel loop gathers per label.
struct SRegionSums {
    int64_t count = 0, sx = 0, sy = 0, sxx = 0, syy = 0, sxy = 0;
    int64_t minX = 0, minY = 0, maxX = 0, maxY = 0;
    int64_t codes[10] = {};  // border pixels per perimeter code, in PERIMETER_CODES order
    double sum = 0, minimum = 0, maximum = 0;
};

inline constexpr int PERIMETER_CODES[10] = {5, 7, 13, 15, 17, 21, 23, 25, 27, 33};

// The index of a code in PERIMETER_CODES, or -1.
inline int CodeIndex(int code) {
    for (int i = 0; i < 10; ++i)
        if (PERIMETER_CODES[i] == code) return i;
    return -1;
}

std::vector<SRegion> Finish(const std::vector<SRegionSums>& sums, bool intensity);

template <class L>
int64_t LabelOf(L v) {
    if constexpr (std::is_floating_point_v<L>) {
        if (!(v >= 0) || v >= L(1 << 24))
            throw CException("Filters::RegionProperties", "labels must be 0 to 2^24");
        return static_cast<int64_t>(v);
    } else {
        if (static_cast<uint64_t>(v) >= (uint64_t(1) << 24))
            throw CException("Filters::RegionProperties", "labels must be 0 to 2^24");
        return static_cast<int64_t>(v);
    }
}

}  // namespace Detail

// One entry per label present, in increasing label order. `intensity` may have no data.
template <class L, class I = float>
std::vector<SRegion> RegionProperties(SPlane<const L> labels,
                                      SPlane<const I> intensity = SPlane<const I>{}) {
    CheckPlane(labels, "Filters::RegionProperties");
    const bool measured = intensity.data != nullptr;
    if (measured) CheckSameSize(labels, intensity, "Filters::RegionProperties");
    const int64_t w = labels.width, h = labels.height;
    int64_t top = 0;
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x)
            top = std::max(top, Detail::LabelOf(labels.Row(y)[x]));
    std::vector<Detail::SRegionSums> sums(static_cast<size_t>(top + 1));
    // Labels and border flags of four rows: the next row is read while the previous one is in use.
    std::vector<uint8_t> flags(static_cast<size_t>(4 * (w + 2)), 0);
    std::vector<int64_t> ids(static_cast<size_t>(4 * w), 0);
    auto idRow = [&](int64_t y) { return ids.data() + (y % 4) * w; };
    auto flagRow = [&](int64_t y) { return flags.data() + (y % 4) * (w + 2) + 1; };
    auto fill = [&](int64_t y) {  // labels of row y as integers, then its border flags
        int64_t* id = idRow(y);
        for (int64_t x = 0; x < w; ++x)
            id[x] = static_cast<int64_t>(labels.Row(y)[x]);
    };
    auto border = [&](int64_t y) {
        const int64_t* id = idRow(y);
        const int64_t* up = y > 0 ? idRow(y - 1) : nullptr;
        const int64_t* down = y + 1 < h ? idRow(y + 1) : nullptr;
        uint8_t* f = flagRow(y);
        for (int64_t x = 0; x < w; ++x) {
            const int64_t l = id[x];
            f[x] = l != 0 && (x == 0 || x == w - 1 || !up || !down || id[x - 1] != l ||
                              id[x + 1] != l || up[x] != l || down[x] != l);
        }
    };
    if (h > 0) fill(0);
    if (h > 1) fill(1);
    if (h > 0) border(0);
    for (int64_t y = 0; y < h; ++y) {
        if (y + 2 < h) fill(y + 2);
        if (y + 1 < h) border(y + 1);
        const int64_t* id = idRow(y);
        const int64_t* up = y > 0 ? idRow(y - 1) : nullptr;
        const int64_t* down = y + 1 < h ? idRow(y + 1) : nullptr;
        const uint8_t* f = flagRow(y);
        const uint8_t* fu = y > 0 ? flagRow(y - 1) : nullptr;
        const uint8_t* fd = y + 1 < h ? flagRow(y + 1) : nullptr;
        const I* value = measured ? intensity.Row(y) : nullptr;
        for (int64_t x = 0; x < w; ++x) {
            const int64_t l = id[x];
            if (l == 0) continue;
            Detail::SRegionSums& s = sums[static_cast<size_t>(l)];
            if (s.count == 0) {
                s.minX = s.maxX = x;
                s.minY = s.maxY = y;
                if (measured) s.minimum = s.maximum = static_cast<double>(value[x]);
            }
            ++s.count;
            s.sx += x;
            s.sy += y;
            s.sxx += x * x;
            s.syy += y * y;
            s.sxy += x * y;
            s.minX = std::min(s.minX, x);
            s.maxX = std::max(s.maxX, x);
            s.maxY = y;
            if (measured) {
                const double v = static_cast<double>(value[x]);
                s.sum += v;
                s.minimum = std::min(s.minimum, v);
                s.maximum = std::max(s.maximum, v);
            }
            if (!f[x]) continue;
            // Border neighbours of the same region (the flags' zero columns stand for outside).
            auto same = [&](const int64_t* row, const uint8_t* fr, int64_t i) {
                return row && i >= 0 && i < w && row[i] == l && fr[i];
            };
            const int straight =
                same(id, f, x - 1) + same(id, f, x + 1) + same(up, fu, x) + same(down, fd, x);
            const int diagonal = same(up, fu, x - 1) + same(up, fu, x + 1) + same(down, fd, x - 1) +
                                 same(down, fd, x + 1);
            const int index = Detail::CodeIndex(1 + 2 * straight + 10 * diagonal);
            if (index >= 0) ++s.codes[index];
        }
    }
    return Detail::Finish(sums, measured);
}

}  // namespace ORVA::Filters
