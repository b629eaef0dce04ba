#pragma once

#include "tarsel.h"

namespace mymodule {

// Adds a constant to every sample of a float image.
class CPAddConstant : public ORVA::CPNode {
  public:
    void Declare(ORVA::CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_value = 1.0;
};

}  // namespace mymodule
