#include "Regions.h"

namespace ORVA::Filters::Detail {

namespace {

// (n * sab - sa * sb) / n / n: a central second moment divided by the area, from exact sums.
double Central(int64_t n, int64_t sab, int64_t sa, int64_t sb) {
    const __int128 numerator = static_cast<__int128>(n) * sab - static_cast<__int128>(sa) * sb;
    return static_cast<double>(numerator) / static_cast<double>(n) / static_cast<double>(n);
}

}  // namespace

std::vector<SRegion> Finish(const std::vector<SRegionSums>& sums, bool intensity) {
    const double root2 = std::sqrt(2.0);
    double weights[10];
    for (int i = 0; i < 10; ++i) {
        const int code = PERIMETER_CODES[i];
        weights[i] =
            code == 21 || code == 33 ? root2 : (code == 13 || code == 23 ? (1 + root2) / 2 : 1.0);
    }
    std::vector<SRegion> regions;
    for (size_t label = 1; label < sums.size(); ++label) {
        const SRegionSums& s = sums[label];
        if (s.count == 0) continue;
        SRegion r;
        r.label = static_cast<int64_t>(label);
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
