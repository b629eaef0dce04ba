#pragma once

// Circles of integer radius around the origin, rasterised by the midpoint circle algorithm: an
// 8-connected outline, symmetric in both axes and both diagonals, in which every pixel occurs
// once, so a transform that votes along it or a drawing that adds along it hits each pixel once.
#include <algorithm>
#include <cstdint>
#include <vector>

namespace ORVA {

struct SCircleOffset {
    int64_t dx = 0, dy = 0;
    friend bool operator==(const SCircleOffset&, const SCircleOffset&) = default;
};

// The outline of the circle of `radius` (0 or more; 0 is the centre alone), sorted by dy, then
// dx.
inline std::vector<SCircleOffset> CircleOutline(int64_t radius) {
    std::vector<SCircleOffset> outline;
    if (radius < 0) return outline;
    outline.reserve(static_cast<size_t>(8 * radius + 8));
    // The octant 0 <= x <= y, mirrored into the other seven; the pixels on the axes and the
    // diagonals come out twice and are removed after sorting.
    int64_t x = 0, y = radius, decision = 1 - radius;
    while (x <= y) {
        for (const int64_t sx : {x, -x})
            for (const int64_t sy : {y, -y}) {
                outline.push_back({sx, sy});
                outline.push_back({sy, sx});
            }
        if (decision < 0) {
            decision += 2 * x + 3;
        } else {
            decision += 2 * (x - y) + 5;
            --y;
        }
        ++x;
    }
    std::sort(outline.begin(), outline.end(), [](const SCircleOffset& a, const SCircleOffset& b) {
        return a.dy != b.dy ? a.dy < b.dy : a.dx < b.dx;
    });
    outline.erase(std::unique(outline.begin(), outline.end()), outline.end());
    return outline;
}

// The disc inside that outline, outline included: entry dy + radius is the largest |dx| of the
// outline in row dy, for dy from -radius to radius; the row spans -span..span.
inline std::vector<int64_t> CircleSpans(int64_t radius) {
    std::vector<int64_t> spans(static_cast<size_t>(radius < 0 ? 0 : 2 * radius + 1), 0);
    for (const SCircleOffset& pixel : CircleOutline(radius)) {
        int64_t& span = spans[static_cast<size_t>(pixel.dy + radius)];
        span = std::max(span, pixel.dx < 0 ? -pixel.dx : pixel.dx);
    }
    return spans;
}

}  // namespace ORVA
