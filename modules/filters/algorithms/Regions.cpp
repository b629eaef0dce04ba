#include "Regions.h"

#include <algorithm>
#include <bit>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ORVA::Filters::Detail {

namespace {

// (n * sab - sa * sb) / n / n: a central second moment divided by the area, from exact sums.
double Central(int64_t n, int64_t sab, int64_t sa, int64_t sb) {
    const __int128 numerator = static_cast<__int128>(n) * sab - static_cast<__int128>(sa) * sb;
    return static_cast<double>(numerator) / static_cast<double>(n) / static_cast<double>(n);
}

}  // namespace

void FindRuns(const int32_t* row, int64_t w, std::vector<SRun>& runs) {
    runs.clear();
    int64_t start = 0;
    for (int64_t base = 0; base < w; base += 64) {
        // Bit i: a run starts at base + i (the value differs from the one before).
        uint64_t starts = 0;
#if defined(__SSE2__)
        for (int i = 0; i < 64; i += 4) {
            const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base + i));
            const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(row + base + i - 1));
            const int same = _mm_movemask_ps(_mm_castsi128_ps(_mm_cmpeq_epi32(a, b)));
            starts |= static_cast<uint64_t>(~same & 15) << i;
        }
#else
        for (int i = 0; i < 64; ++i)
            starts |= static_cast<uint64_t>(row[base + i] != row[base + i - 1]) << i;
#endif
        if (base == 0) starts &= ~uint64_t(1);  // the first run starts at 0 anyway
        if (w - base < 64) starts &= (uint64_t(1) << (w - base)) - 1;
        for (; starts; starts &= starts - 1) {
            const int64_t x = base + std::countr_zero(starts);
            if (row[start] != 0) runs.push_back({start, x, row[start]});
            start = x;
        }
    }
    if (w > 0 && row[start] != 0) runs.push_back({start, w, row[start]});
}

ORVA_FILTERS_CLONES void BorderFlags(const int32_t* id, const int32_t* up, const int32_t* down,
                                     uint8_t* f, int64_t w) {
    for (int64_t x = 0; x < w; ++x) {
        const int32_t l = id[x];
        f[x] = (l != 0) & ((id[x - 1] != l) | (id[x + 1] != l) | (up[x] != l) | (down[x] != l));
    }
}

ORVA_FILTERS_CLONES void PerimeterCodes(const int32_t* id, const int32_t* up, const int32_t* down,
                                        const uint8_t* f, const uint8_t* fu, const uint8_t* fd,
                                        uint8_t* codes, int64_t w) {
    for (int64_t x = 0; x < w; ++x) {
        const int32_t l = id[x];
        auto same = [&](const int32_t* row, const uint8_t* fr, int64_t i) {
            return uint8_t((row[i] == l) & fr[i]);
        };
        const uint8_t straight =
            same(id, f, x - 1) + same(id, f, x + 1) + same(up, fu, x) + same(down, fd, x);
        const uint8_t diagonal = same(up, fu, x - 1) + same(up, fu, x + 1) + same(down, fd, x - 1) +
                                 same(down, fd, x + 1);
        codes[x] = uint8_t(f[x] * (1 + 2 * straight + 10 * diagonal));
    }
}

void AddRun(SRegionSums& s, int64_t x0, int64_t x1, int64_t y) {
    if (s.count == 0) {
        s.minX = x0;
        s.minY = y;
    }
    const int64_t n = x1 - x0, last = x1 - 1;
    // Sums of x and x^2 over x0 .. last from those over 0 .. k.
    auto squares = [](int64_t k) {
        if (k < (int64_t(1) << 20)) return k * (k + 1) * (2 * k + 1) / 6;  // no 128-bit division
        return static_cast<int64_t>(static_cast<__int128>(k) * (k + 1) * (2 * k + 1) / 6);
    };
    const int64_t sx = (x0 + last) * n / 2, sxx = squares(last) - (x0 > 0 ? squares(x0 - 1) : 0);
    s.count += n;
    s.sx += sx;
    s.sy += n * y;
    s.sxx += sxx;
    s.syy += n * y * y;
    s.sxy += sx * y;
    s.minX = std::min(s.minX, x0);
    s.maxX = std::max(s.maxX, last);
    s.maxY = y;
}

std::vector<SRegion> Finish(const std::vector<SRegionSums>& sums,
                            const std::vector<int64_t>& labels, bool intensity) {
    const double root2 = std::sqrt(2.0);
    double weights[10];
    for (int i = 0; i < 10; ++i) {
        const int code = PERIMETER_CODES[i];
        weights[i] =
            code == 21 || code == 33 ? root2 : (code == 13 || code == 23 ? (1 + root2) / 2 : 1.0);
    }
    // The places in label order (places follow the raster order of first pixels, which is
    // often the label order already).
    std::vector<std::pair<int64_t, size_t>> order;
    order.reserve(sums.size());
    for (size_t i = 1; i < sums.size(); ++i)
        if (sums[i].count != 0) order.push_back({labels[i], i});
    if (!std::is_sorted(order.begin(), order.end())) std::sort(order.begin(), order.end());
    std::vector<SRegion> regions;
    regions.reserve(order.size());
    for (auto [label, place] : order) {
        const SRegionSums& s = sums[place];
        SRegion r;
        r.label = label;
        r.area = s.count;
        const double n = static_cast<double>(s.count);
        r.centroidX = static_cast<double>(s.sx) / n;
        r.centroidY = static_cast<double>(s.sy) / n;
        r.minX = s.minX;
        r.minY = s.minY;
        r.maxX = s.maxX;
        r.maxY = s.maxY;
        for (int i = 0; i < 10; ++i)
            r.perimeter += static_cast<double>(s.codes[i]) * weights[i];
        r.equivalentDiameter = std::sqrt(4.0 * n / 3.14159265358979323846);
        const double a = Central(s.count, s.sxx, s.sx, s.sx);
        const double c = Central(s.count, s.syy, s.sy, s.sy);
        const double b = -Central(s.count, s.sxy, s.sx, s.sy);
        if (a - c == 0)
            r.orientation = b < 0 ? -3.14159265358979323846 / 4 : 3.14159265358979323846 / 4;
        else
            r.orientation = 0.5 * std::atan2(-2 * b, c - a);
        const double mid = (a + c) / 2, radius = std::sqrt(((a - c) / 2) * ((a - c) / 2) + b * b);
        const double l1 = std::max(mid + radius, 0.0), l2 = std::max(mid - radius, 0.0);
        r.eccentricity = l1 == 0 ? 0.0 : std::sqrt(1 - l2 / l1);
        if (intensity) {
            r.mean = s.sum / n;
            r.minimum = s.minimum;
            r.maximum = s.maximum;
        }
        regions.push_back(r);
    }
    return regions;
}

}  // namespace ORVA::Filters::Detail
