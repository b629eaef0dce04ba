#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Hough transform for circles of a range of radii: every edge pixel votes for the centres of
// all circles through it, one accumulator plane per radius, and the strongest centres become
// circles.
class CPHoughCircle : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int32_t m_radiusMin = 10;
    int32_t m_radiusMax = 20;
    int32_t m_radiusStep = 1;
    double m_threshold = 0.5;
    int32_t m_minDistance = 0;
    int32_t m_maxCount = 0;
};

}  // namespace ORVA
