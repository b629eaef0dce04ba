#pragma once

// Circles of integer radius around the origin, rasterised by the midpoint circle algorithm: an
// 8-connected outline, symmetric in both axes and both diagonals, in which every pixel occurs
// once, so a transform that votes along it or a drawing that adds along it hits each pixel once.
#include <cstdint>
#include <vector>

namespace ORVA {

// Radii beyond this are refused: the circle arithmetic squares them in 64 bits.
constexpr int64_t MAX_RADIUS = (int64_t(1) << 31) - 1;

// floor(sqrt(n)) for 0 <= n < 2^62, exact.
int64_t FloorSqrt(int64_t n);

// The pixels of a midpoint circle of radius r in the row t above or below its centre
// (0 <= t <= r), right half, as offsets from the centre column: the span [spanFirst, spanLast]
// (empty when spanFirst > spanLast) and the single pixel `single` (-1 for none). `extent` is
// the outermost of them, the half-width of the filled circle in that row.
struct SCircleRow {
    int64_t spanFirst, spanLast, single, extent;
};
SCircleRow CircleRow(int64_t r, int64_t t);

struct SCircleOffset {
    int64_t dx = 0, dy = 0;
    friend bool operator==(const SCircleOffset&, const SCircleOffset&) = default;
};

// The outline of the circle of `radius` (0 or more; 0 is the centre alone), sorted by dy, then
// dx.
std::vector<SCircleOffset> CircleOutline(int64_t radius);

// The disc inside that outline, outline included: entry dy + radius is the largest |dx| of the
// outline in row dy, for dy from -radius to radius; the row spans -span..span.
std::vector<int64_t> CircleSpans(int64_t radius);

}  // namespace ORVA
