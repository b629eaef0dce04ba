#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Scharr derivatives, gradient magnitude or direction of a grey image.
class CPScharr : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_dx = 1;
    int m_dy = 0;
    std::string m_output = "DERIVATIVE";
    std::string m_outType = "IMAGE_GREY_F";
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
