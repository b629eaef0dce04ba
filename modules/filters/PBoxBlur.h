#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// The mean of a rectangular window, channel by channel.
class CPBoxBlur : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_width = 3;
    int m_height = 3;
    std::string m_border = "REFLECT_101";
};

}  // namespace ORVA::Filters
