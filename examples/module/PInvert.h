#pragma once

#include "tarsel.h"

namespace mymodule {

// Turns each grey value v into maximum - v.
class CPInvert : public ORVA::CPNode {
  public:
    void Declare(ORVA::CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_maximum = 255.0;
};

}  // namespace mymodule
