#pragma once

// The convex hull of points in the plane, of the non-zero pixels of an image, and its measures.
#include <cstdint>
#include <vector>

namespace ORVA {

struct SHullPoint {
    double x = 0, y = 0;
    friend bool operator==(const SHullPoint&, const SHullPoint&) = default;
};

// The hull's vertices by Andrew's monotone chain, O(n log n): counter-clockwise in (x, y) (a
// positive signed area; clockwise on a screen whose y points down), starting at the vertex of
// smallest y, then smallest x, without collinear or repeated vertices. Identical points give
// one vertex, collinear points the two ends of their segment, no points none. The coordinates
// must be finite.
std::vector<SHullPoint> ConvexHull(std::vector<SHullPoint> points);

// The hull candidates of a width x height plane: the first and the last non-zero (or NaN) pixel
// of every row, at their pixel centres (x, y).
template <class T>
std::vector<SHullPoint> RowEnds(const T* plane, int64_t width, int64_t height) {
    std::vector<SHullPoint> ends;
    for (int64_t y = 0; y < height; ++y) {
        const T* row = plane + y * width;
        int64_t first = 0, last = width - 1;
        while (first < width && row[first] == T(0))
            ++first;
        if (first == width) continue;
        while (row[last] == T(0))
            --last;
        ends.push_back({static_cast<double>(first), static_cast<double>(y)});
        if (last != first) ends.push_back({static_cast<double>(last), static_cast<double>(y)});
    }
    return ends;
}

// Sets to 1 the pixels of the width x height `mask` whose centre lies in the closed polygon of
// `hull` (vertices of whole numbers as ConvexHull gives them; one or two vertices are a point or
// a segment).
void FillHull(const std::vector<SHullPoint>& hull, uint8_t* mask, int64_t width, int64_t height);

// The enclosed area and the length of the closed boundary (twice the segment for two vertices).
double HullArea(const std::vector<SHullPoint>& hull);
double HullPerimeter(const std::vector<SHullPoint>& hull);

}  // namespace ORVA
