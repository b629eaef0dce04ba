#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Draws circles into a copy of an image: one from the parameters, or one per row of a table.
// Kept for old graphs; the factory warns when it makes one.
class CPDrawCircle : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int32_t m_x = 32;
    int32_t m_y = 32;
    int32_t m_radius = 16;
    double m_value = 255.0;
    bool m_fill = false;
};

}  // namespace ORVA
