#pragma once

#include <cstdint>
#include <limits>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// The values of an image at the points of a table.
class CPSamplePoints : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_interpolation = "BILINEAR";
    double m_outsideValue = std::numeric_limits<double>::quiet_NaN();
    int32_t m_xColumn = 0;
    int32_t m_zColumn = -1;
};

}  // namespace ORVA
