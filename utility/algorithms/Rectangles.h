#pragma once

// Axis-aligned rectangles of pixels in a plane: the bounds of a set of pixels, grown by margins
// and clipped, and filled.
#include <algorithm>
#include <array>
#include <cstdint>

namespace ORVA {

class CImage;

// Inclusive pixel bounds; empty when xmax < xmin or ymax < ymin.
struct SRectangle {
    int64_t xmin = 0, xmax = -1, ymin = 0, ymax = -1;
    bool Empty() const { return xmax < xmin || ymax < ymin; }
    // xmin, xmax, ymin, ymax; -1 four times when empty.
    std::array<int64_t, 4> Corners() const {
        if (Empty()) return {-1, -1, -1, -1};
        return {xmin, xmax, ymin, ymax};
    }
};

// The rectangle of the pixels of a width x height plane of which selected(i) tells those at
// index i. When none is selected it is empty and keeps its start values: width, -1, height, -1.
template <class Selected>
SRectangle Bounds(int64_t width, int64_t height, Selected&& selected) {
    SRectangle r{width, -1, height, -1};
    for (int64_t y = 0; y < height; ++y) {
        const int64_t row = y * width;
        int64_t first = 0;
        while (first < width && !selected(row + first))
            ++first;
        if (first == width) continue;
        // Only columns right of the rectangle found so far can widen it.
        int64_t last = width - 1;
        while (last > r.xmax && last > first && !selected(row + last))
            --last;
        r.xmin = std::min(r.xmin, first);
        r.xmax = std::max(r.xmax, last);
        r.ymin = std::min(r.ymin, y);
        r.ymax = y;
    }
    return r;
}

// `r` grown by the margins (negative ones shrink it), each bound clipped to a plane of
// width x height on its own side only: xmin = max(0, xmin - left), xmax = min(width - 1, xmax +
// right), and so on. The bounds may cross over, which leaves it empty.
inline SRectangle Grown(const SRectangle& r, int64_t width, int64_t height, int64_t left,
                        int64_t right, int64_t top, int64_t bottom) {
    return {std::max<int64_t>(0, r.xmin - left), std::min(width - 1, r.xmax + right),
            std::max<int64_t>(0, r.ymin - top), std::min(height - 1, r.ymax + bottom)};
}

// Sets the pixels of `r` in a plane of rows of `width` samples to `value`.
template <class T>
void FillRectangle(T* plane, int64_t width, const SRectangle& r, T value) {
    if (r.Empty()) return;
    for (int64_t y = r.ymin; y <= r.ymax; ++y)
        std::fill(plane + y * width + r.xmin, plane + y * width + r.xmax + 1, value);
}

// The rectangle of the pixels of the first plane of `image` (any type) that are greater than
// `threshold`, which must not be NaN, or are NaN themselves; colour pixels are compared by the
// mean of their three channels in double.
SRectangle SearchAbove(const CImage& image, double threshold);

}  // namespace ORVA
