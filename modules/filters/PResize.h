#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Resizes an image by nearest, bilinear, area or bicubic interpolation.
class CPResize : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_width = 0;
    int m_height = 0;
    double m_fx = 0.5;
    double m_fy = 0.5;
    std::string m_interpolation = "BILINEAR";
};

}  // namespace ORVA::Filters
