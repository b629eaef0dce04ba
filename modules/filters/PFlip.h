#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Mirrors an image left-right, top-bottom or both.
class CPFlip : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_direction = "HORIZONTAL";
};

}  // namespace ORVA::Filters
