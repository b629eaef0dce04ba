#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "CircleDetection.h"
#include "NodeSupport.h"

namespace ORVA {

// Circle detection by the gradient Hough transform: strong edge pixels vote along their
// gradient line for centres, and each centre found takes the radius most of its supporting edge
// pixels agree on. Registered as "HoughCircleTJ".
class CPTJHoughCircle : public CPNode {
  public:
    CPTJHoughCircle();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    int32_t m_radiusMin = 10;
    int32_t m_radiusMax = 20;
    double m_edgeThreshold = 20.0;
    double m_threshold = 200.0;
    int32_t m_minDistance = 0;
    int32_t m_maxCount = 0;
};

// An edge pixel with its Sobel gradient.
struct SGradientPixel {
    int64_t x = 0, y = 0;
    double gx = 0, gy = 0;
};

// The pixels of a width x height plane (both at least 1) whose gradient is finite and longer
// than `edgeThreshold` (and than 0), in raster order. The gradient is the slope in values per
// pixel by the 5 x 5 Sobel filter ([1 4 6 4 1] across, [-1 -2 0 2 1] along, divided by 128):
// a ramp rising by 1 per pixel has a gradient of 1, a sharp step of height h at most 3h/8.
// Pixels beyond the border repeat the border pixel; gx grows to the right, gy downwards.
template <class T>
std::vector<SGradientPixel> GradientEdges(const T* plane, int64_t width, int64_t height,
                                          double edgeThreshold) {
    // Each output row takes five input rows: their [1 4 6 4 1] sum (smooth) and their
    // [-1 -2 0 2 1] difference (slope), each padded by two repeated pixels at both ends.
    const auto padded = static_cast<size_t>(width + 4);
    std::vector<double> smooth(padded), slope(padded);
    const double across[5] = {1, 4, 6, 4, 1}, along[5] = {-1, -2, 0, 2, 1};
    std::vector<SGradientPixel> edges;
    const double limit = edgeThreshold * edgeThreshold;
    for (int64_t y = 0; y < height; ++y) {
        std::fill(smooth.begin(), smooth.end(), 0.0);
        std::fill(slope.begin(), slope.end(), 0.0);
        for (int k = 0; k < 5; ++k) {
            const T* row = plane + std::clamp<int64_t>(y + k - 2, 0, height - 1) * width;
            for (int64_t x = 0; x < width; ++x) {
                const auto value = static_cast<double>(row[x]);
                smooth[static_cast<size_t>(x + 2)] += across[k] * value;
                slope[static_cast<size_t>(x + 2)] += along[k] * value;
            }
        }
        for (std::vector<double>* line : {&smooth, &slope}) {
            double* data = line->data();
            data[0] = data[1] = data[2];
            data[width + 3] = data[width + 2] = data[width + 1];
        }
        const double *s = smooth.data(), *d = slope.data();
        for (int64_t x = 0; x < width; ++x) {
            const double gx = ((s[x + 4] - s[x]) + 2.0 * (s[x + 3] - s[x + 1])) / 128.0;
            const double gy =
                (d[x] + 4.0 * d[x + 1] + 6.0 * d[x + 2] + 4.0 * d[x + 3] + d[x + 4]) / 128.0;
            const double squared = gx * gx + gy * gy;
            if (squared > limit && squared > 0.0 && std::isfinite(squared))
                edges.push_back({x, y, gx, gy});
        }
    }
    return edges;
}

// Adds 1 to every cell of the width x height `accumulator` on the gradient line of an edge pixel,
// in both senses, at a distance from radiusMin to radiusMax: one cell per step along the line's
// longer axis, rounded to the nearest.
void GradientVote(const std::vector<SGradientPixel>& edges, int64_t radiusMin, int64_t radiusMax,
                  float* accumulator, int64_t width, int64_t height);

// Lets every vote count for the cells around its own, since the votes for one centre scatter a
// little: each cell becomes its 3 x 3 neighbourhood weighted 4 in the middle, 2 beside it and 1
// on the diagonals.
void SpreadVotes(float* accumulator, int64_t width, int64_t height);

// The circles of the centre accumulator: local maxima above `threshold` votes, strongest first,
// each at least `minDistance` from the centres taken before, at most `maxCount` (0: all), with
// the radius their supporting edge pixels agree on (see the node's description). A centre
// without support is passed over. `edges` are in raster order.
std::vector<SHoughCircle> GradientCircles(const float* accumulator, int64_t width, int64_t height,
                                          const std::vector<SGradientPixel>& edges,
                                          int64_t radiusMin, int64_t radiusMax, double threshold,
                                          int64_t minDistance, int64_t maxCount);

}  // namespace ORVA
