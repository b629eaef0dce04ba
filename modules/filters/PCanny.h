#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Canny's edges: thin, connected lines where the gradient is strong.
class CPCanny : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_low = 50.0;
    double m_high = 150.0;
    bool m_l2 = false;
};

}  // namespace ORVA::Filters
