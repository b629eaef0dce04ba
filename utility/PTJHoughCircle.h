#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Circle detection by the gradient Hough transform: strong edge pixels vote along their
// gradient line for centres, and each centre found takes the radius most of its supporting edge
// pixels agree on. Registered as "HoughCircleTJ".
class CPTJHoughCircle : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int32_t m_radiusMin = 10;
    int32_t m_radiusMax = 20;
    double m_edgeThreshold = 20.0;
    double m_threshold = 200.0;
    int32_t m_minDistance = 0;
    int32_t m_maxCount = 0;
};

}  // namespace ORVA
