#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Adds margins around an image.
class CPPad : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_left = 1;
    int m_top = 1;
    int m_right = 1;
    int m_bottom = 1;
    std::string m_border = "CONSTANT";
    double m_value = 0.0;
};

}  // namespace ORVA::Filters
