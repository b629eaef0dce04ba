#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Separable Gaussian smoothing, channel by channel.
class CPGaussianBlur : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_sigma = 1.0;
    int m_size = 0;
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
