#include "CircleRaster.h"

#include <algorithm>
#include <cmath>

namespace ORVA {

int64_t FloorSqrt(int64_t n) {
    auto s = static_cast<int64_t>(std::sqrt(static_cast<double>(n)));
    while (s * s > n)
        --s;
    while ((s + 1) * (s + 1) <= n)
        ++s;
    return s;
}

namespace {

// ceil(sqrt(n)) for 0 <= n < 2^62, exact.
int64_t CeilSqrt(int64_t n) {
    const int64_t s = FloorSqrt(n);
    return s * s == n ? s : s + 1;
}

// The column of the octant from the top of the circle at height x: the integer nearest to
// sqrt(r^2 - x^2). The midpoint test keeps y while the midpoint (x, y - 1/2) lies inside the
// circle, which picks that integer; r^2 - x^2 is never exactly halfway, (k + 1/2)^2 not being an
// integer.
int64_t OctantY(int64_t r, int64_t x) {
    const int64_t n = r * r - x * x;
    const int64_t k = FloorSqrt(n);
    return n - k * k > k ? k + 1 : k;
}

}  // namespace

// The algorithm plots, in the octant from the top of the circle, (x, Y(x)) for x = 0, 1, ...
// while x <= Y(x), Y(x) the integer nearest sqrt(r^2 - x^2), and mirrors them into the other
// seven octants. In the row t of the right half this gives the octant's points with Y(x) = t
// (x <= t) and the mirrored point (Y(t), t) where t <= Y(t).
SCircleRow CircleRow(int64_t r, int64_t t) {
    SCircleRow row{1, 0, -1, 0};
    if (t == 0) {
        row.single = r;
        row.extent = r;
        return row;
    }
    // Y(x) = t for t >= 1: (t - 1/2)^2 < r^2 - x^2 < (t + 1/2)^2, that is
    // r^2 - t^2 - t <= x^2 <= r^2 - t^2 + t - 1 in integers.
    const int64_t low = r * r - t * t - t;
    const int64_t high = r * r - t * t + t - 1;
    if (high >= 0) {
        row.spanFirst = low > 0 ? CeilSqrt(low) : 0;
        row.spanLast = std::min(FloorSqrt(high), t);
        if (row.spanFirst <= row.spanLast) row.extent = row.spanLast;
    }
    const int64_t y = OctantY(r, t);
    if (t <= y) {
        row.single = y;
        row.extent = std::max(row.extent, y);
    }
    return row;
}

std::vector<SCircleOffset> CircleOutline(int64_t radius) {
    std::vector<SCircleOffset> outline;
    if (radius < 0 || radius > MAX_RADIUS) return outline;
    outline.reserve(static_cast<size_t>(8 * radius + 8));
    std::vector<int64_t> columns;
    for (int64_t dy = -radius; dy <= radius; ++dy) {
        const SCircleRow row = CircleRow(radius, dy < 0 ? -dy : dy);
        columns.clear();
        for (int64_t dx = row.spanFirst; dx <= row.spanLast; ++dx) {
            columns.push_back(dx);
            columns.push_back(-dx);
        }
        if (row.single >= 0) {
            columns.push_back(row.single);
            columns.push_back(-row.single);
        }
        std::sort(columns.begin(), columns.end());
        columns.erase(std::unique(columns.begin(), columns.end()), columns.end());
        for (int64_t dx : columns)
            outline.push_back({dx, dy});
    }
    return outline;
}

std::vector<int64_t> CircleSpans(int64_t radius) {
    std::vector<int64_t> spans;
    if (radius < 0 || radius > MAX_RADIUS) return spans;
    spans.reserve(static_cast<size_t>(2 * radius + 1));
    for (int64_t dy = -radius; dy <= radius; ++dy)
        spans.push_back(CircleRow(radius, dy < 0 ? -dy : dy).extent);
    return spans;
}

}  // namespace ORVA
