#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Sets the pixels a mask selects, or all pixels, to one value.
class CPFillWithValue : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_value = 0.0;
    bool m_invert = false;
};

}  // namespace ORVA
