#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// The values of an image along a straight segment: a profile.
class CPSampleLine : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_x0 = 0.0;
    double m_y0 = 0.0;
    double m_x1 = 10.0;
    double m_y1 = 0.0;
    int32_t m_count = 0;
    std::string m_interpolation = "BILINEAR";
    double m_outsideValue = std::numeric_limits<double>::quiet_NaN();
};

}  // namespace ORVA
