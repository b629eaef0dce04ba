#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Per-sample arithmetic of two images, or of an image and a constant.
class CPArithmetic : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_operation = "ADD";
    double m_constant = 0.0;
    bool m_constantFirst = false;
    bool m_saturate = true;
    std::string m_outType = "INPUT";
};

}  // namespace ORVA::Filters
