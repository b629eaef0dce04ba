#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Fixed, Otsu and triangle thresholds of grey images.
class CPThreshold : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_method = "FIXED";
    double m_value = 128.0;
    double m_maximum = 255.0;
    std::string m_mode = "BINARY";
    std::string m_outType = "IMAGE_BINARY_FG";
};

}  // namespace ORVA::Filters
