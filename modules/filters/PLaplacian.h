#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// The sum of the second derivatives of a grey image.
class CPLaplacian : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_size = 1;
    std::string m_outType = "IMAGE_GREY_F";
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
