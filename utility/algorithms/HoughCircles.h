#pragma once

// The Hough transform for circles of a range of radii: every edge pixel votes for the centres of
// all circles through it, one accumulator plane per radius, and the strongest centres become
// circles.
#include <cstdint>
#include <vector>

#include "CircleDetection.h"
#include "CircleRaster.h"

namespace ORVA {

struct SEdgePixel {
    int64_t x = 0, y = 0;
};

// The non-zero pixels (NaN included) of a width x height plane, in raster order.
template <class T>
std::vector<SEdgePixel> EdgePixels(const T* plane, int64_t width, int64_t height) {
    std::vector<SEdgePixel> edges;
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            if (plane[y * width + x] != T(0)) edges.push_back({x, y});
    return edges;
}

// Adds 1 to every cell of the width x height `plane` whose circle of `radius` passes through an
// edge pixel, once per edge pixel. `Count` must hold the circle's pixel count (below 8 * radius
// + 8).
template <class Count>
void HoughCircleVote(const std::vector<SEdgePixel>& edges, int64_t radius, Count* plane,
                     int64_t width, int64_t height) {
    // A centre c gets a vote from e when e - c is on the outline; the outline is symmetric, so
    // the centres of e are e plus the outline.
    const std::vector<SCircleOffset> outline = CircleOutline(radius);
    std::vector<int64_t> offsets;
    offsets.reserve(outline.size());
    for (const SCircleOffset& pixel : outline)
        offsets.push_back(pixel.dy * width + pixel.dx);
    for (const SEdgePixel& edge : edges) {
        if (edge.x >= radius && edge.x < width - radius && edge.y >= radius &&
            edge.y < height - radius) {
            Count* centre = plane + edge.y * width + edge.x;
            for (const int64_t offset : offsets)
                centre[offset] += Count(1);
        } else {
            for (const SCircleOffset& pixel : outline) {
                const int64_t x = edge.x + pixel.dx, y = edge.y + pixel.dy;
                if (x >= 0 && x < width && y >= 0 && y < height) plane[y * width + x] += Count(1);
            }
        }
    }
}

// The accumulator of `radii` planes of width x height, plane i counting the votes for the
// centres of circles of radius radiusMin + i * radiusStep (radiusMin and radiusStep at least 1).
// Every cell is written.
void HoughCircleAccumulate(const std::vector<SEdgePixel>& edges, int64_t width, int64_t height,
                           int64_t radiusMin, int64_t radiusStep, int64_t radii, float* planes);

// The circles of the accumulator, plane i standing for radius radiusMin + i * radiusStep:
// cells holding at least `threshold` times the pixel count of their circle (and at least one
// vote), strongest (by that fraction) first, each at least `minDistance` from the centres of the
// circles before it; at most `maxCount` of them (0: all).
std::vector<SHoughCircle> HoughCirclePeaks(const float* accumulator, int64_t width, int64_t height,
                                           int64_t radii, int64_t radiusMin, int64_t radiusStep,
                                           double threshold, int64_t minDistance, int64_t maxCount);

}  // namespace ORVA
