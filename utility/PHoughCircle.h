#pragma once

#include <cstdint>
#include <vector>

#include "CircleDetection.h"
#include "NodeSupport.h"

namespace ORVA {

// Hough transform for circles of a range of radii: every edge pixel votes for the centres of
// all circles through it, one accumulator plane per radius, and the strongest centres become
// circles.
class CPHoughCircle : public CPNode {
  public:
    CPHoughCircle();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    int32_t m_radiusMin = 10;
    int32_t m_radiusMax = 20;
    int32_t m_radiusStep = 1;
    double m_threshold = 0.5;
    int32_t m_minDistance = 0;
    int32_t m_maxCount = 0;
};

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
// edge pixel, once per edge pixel.
void HoughCircleVote(const std::vector<SEdgePixel>& edges, int64_t radius, float* plane,
                     int64_t width, int64_t height);

// The circles of the accumulator, plane i standing for radius radiusMin + i * radiusStep:
// cells holding at least `threshold` times the pixel count of their circle (and at least one
// vote), strongest (by that fraction) first, each at least `minDistance` from the centres of the
// circles before it; at most `maxCount` of them (0: all).
std::vector<SHoughCircle> HoughCirclePeaks(const float* accumulator, int64_t width, int64_t height,
                                           int64_t radii, int64_t radiusMin, int64_t radiusStep,
                                           double threshold, int64_t minDistance, int64_t maxCount);

}  // namespace ORVA
