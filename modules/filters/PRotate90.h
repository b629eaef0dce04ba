#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Turns an image by quarter turns.
class CPRotate90 : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_quarters = 1;
};

}  // namespace ORVA::Filters
