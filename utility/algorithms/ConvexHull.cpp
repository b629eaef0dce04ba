#include "ConvexHull.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace ORVA {

namespace {

// Twice the signed area of the triangle a, b, c: positive when c lies left of a -> b.
double Cross(const SHullPoint& a, const SHullPoint& b, const SHullPoint& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

int64_t FloorDivide(int64_t numerator, int64_t denominator) {  // denominator > 0
    const int64_t quotient = numerator / denominator;
    return quotient - (numerator % denominator < 0 ? 1 : 0);
}

int64_t CeilDivide(int64_t numerator, int64_t denominator) {  // denominator > 0
    const int64_t quotient = numerator / denominator;
    return quotient + (numerator % denominator > 0 ? 1 : 0);
}

}  // namespace

std::vector<SHullPoint> ConvexHull(std::vector<SHullPoint> points) {
    std::sort(points.begin(), points.end(), [](const SHullPoint& a, const SHullPoint& b) {
        return a.x != b.x ? a.x < b.x : a.y < b.y;
    });
    points.erase(std::unique(points.begin(), points.end()), points.end());
    if (points.size() < 2) return points;

    // The lower chain left to right, then the upper chain back; a vertex that does not make a
    // left turn is dropped, which also drops collinear ones.
    std::vector<SHullPoint> hull(2 * points.size());
    size_t count = 0;
    for (const SHullPoint& point : points) {
        while (count >= 2 && Cross(hull[count - 2], hull[count - 1], point) <= 0.0)
            --count;
        hull[count++] = point;
    }
    const size_t lower = count + 1;
    for (size_t i = points.size() - 1; i-- > 0;) {
        while (count >= lower && Cross(hull[count - 2], hull[count - 1], points[i]) <= 0.0)
            --count;
        hull[count++] = points[i];
    }
    hull.resize(count - 1);  // the last vertex is the first again

    const auto start =
        std::min_element(hull.begin(), hull.end(), [](const SHullPoint& a, const SHullPoint& b) {
            return a.y != b.y ? a.y < b.y : a.x < b.x;
        });
    std::rotate(hull.begin(), start, hull.end());
    return hull;
}

void FillHull(const std::vector<SHullPoint>& hull, uint8_t* mask, int64_t width, int64_t height) {
    // The first and last pixel of each row inside the polygon: the smallest ceiling and the
    // largest floor of the boundary's crossings with the row, in exact integer arithmetic.
    std::vector<int64_t> first(static_cast<size_t>(height), std::numeric_limits<int64_t>::max());
    std::vector<int64_t> last(first.size(), std::numeric_limits<int64_t>::min());
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        auto ax = static_cast<int64_t>(a.x), ay = static_cast<int64_t>(a.y);
        auto bx = static_cast<int64_t>(b.x), by = static_cast<int64_t>(b.y);
        if (ay > by) {
            std::swap(ax, bx);
            std::swap(ay, by);
        }
        const int64_t top = std::max<int64_t>(ay, 0), bottom = std::min(by, height - 1);
        for (int64_t y = top; y <= bottom; ++y) {
            int64_t left = std::min(ax, bx), right = std::max(ax, bx);
            if (ay != by) {
                const int64_t numerator = ax * (by - ay) + (y - ay) * (bx - ax);
                left = CeilDivide(numerator, by - ay);
                right = FloorDivide(numerator, by - ay);
            }
            first[static_cast<size_t>(y)] = std::min(first[static_cast<size_t>(y)], left);
            last[static_cast<size_t>(y)] = std::max(last[static_cast<size_t>(y)], right);
        }
    }
    for (int64_t y = 0; y < height; ++y) {
        const int64_t left = std::max<int64_t>(first[static_cast<size_t>(y)], 0);
        const int64_t right = std::min(last[static_cast<size_t>(y)], width - 1);
        if (left <= right) std::fill(mask + y * width + left, mask + y * width + right + 1, 1);
    }
}

double HullArea(const std::vector<SHullPoint>& hull) {
    double twice = 0.0;
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        twice += a.x * b.y - b.x * a.y;
    }
    return twice / 2.0;
}

double HullPerimeter(const std::vector<SHullPoint>& hull) {
    if (hull.size() < 2) return 0.0;
    double length = 0.0;
    for (size_t i = 0; i < hull.size(); ++i) {
        const SHullPoint& a = hull[i];
        const SHullPoint& b = hull[(i + 1) % hull.size()];
        length += std::hypot(b.x - a.x, b.y - a.y);
    }
    return length;
}

}  // namespace ORVA
