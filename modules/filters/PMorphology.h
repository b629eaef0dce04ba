#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Erosion, dilation and the operations made of them, with a shaped element.
class CPMorphology : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_operation = "ERODE";
    std::string m_shape = "RECTANGLE";
    int m_width = 3;
    int m_height = 3;
    int m_iterations = 1;
};

}  // namespace ORVA::Filters
