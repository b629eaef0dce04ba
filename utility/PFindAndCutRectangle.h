#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Cuts an image to the rectangle of its pixels above a threshold, grown by margins.
class CPFindAndCutRectangle : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_threshold = 0.0;
    int32_t m_expandLeft = 0;
    int32_t m_expandRight = 0;
    int32_t m_expandTop = 0;
    int32_t m_expandBottom = 0;
};

}  // namespace ORVA
