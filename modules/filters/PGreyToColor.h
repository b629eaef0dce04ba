#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// False colours for an 8-bit grey image.
class CPGreyToColor : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_map = "JET";
    std::string m_outType = "IMAGE_RGB_8I";
};

}  // namespace ORVA::Filters
