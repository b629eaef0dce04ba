#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>

#include "Sampling.h"

namespace ORVA {

// The values of an image along a straight segment: a profile.
class CPSampleLine : public CPNode {
  public:
    CPSampleLine();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    double m_x0;
    double m_y0;
    double m_x1;
    double m_y1;
    int32_t m_count;
    std::string m_interpolation;
    double m_outsideValue;
};

// `count` (>= 1) samples of the first plane of `image` from (x0, y0) to (x1, y1), evenly
// spaced, the first and last on the ends (one sample: the start). Each sample's position and
// value go to a row of `table` (3 columns) and its value to `profile` unless that is null.
template <EnInterpolation MODE, class T>
void SampleSegment(const T* image, const CSize& size, double x0, double y0, double x1, double y1,
                   int64_t count, double outside, float* table, float* profile) {
    const CSize plane(size.x, size.y, std::min<int64_t>(size.z, 1));
    for (int64_t i = 0; i < count; ++i) {
        const double t = count > 1 ? static_cast<double>(i) / static_cast<double>(count - 1) : 0.0;
        const double x = std::lerp(x0, x1, t), y = std::lerp(y0, y1, t);
        const auto value = static_cast<float>(SampleAt<MODE>(image, plane, x, y, 0.0, outside));
        table[3 * i] = static_cast<float>(x);
        table[3 * i + 1] = static_cast<float>(y);
        table[3 * i + 2] = value;
        if (profile) profile[i] = value;
    }
}

}  // namespace ORVA
