#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// The weighted sum of two images.
class CPBlend : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_alpha = 0.5;
    double m_beta = 0.5;
    double m_gamma = 0.0;
    std::string m_outType = "INPUT";
};

}  // namespace ORVA::Filters
