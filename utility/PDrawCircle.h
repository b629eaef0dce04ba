#pragma once

#include <cstdint>

#include "Drawing.h"

namespace ORVA {

// Draws circles into a copy of an image: one from the parameters, or one per row of a table.
// Kept for old graphs; the factory warns when it makes one.
class CPDrawCircle : public CPNode {
  public:
    CPDrawCircle();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    int32_t m_x;
    int32_t m_y;
    int32_t m_radius;
    double m_value;
    bool m_fill;
};

}  // namespace ORVA
