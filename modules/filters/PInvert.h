#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Turns each sample v into maximum - v.
class CPInvert : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_maximum = -1.0;
};

}  // namespace ORVA::Filters
