#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Filters a grey image with a kernel image.
class CPConvolve : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    bool m_flip = false;
    std::string m_outType = "IMAGE_GREY_F";
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
