#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Grey values of a colour image: luma or one channel.
class CPColorToGrey : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_mode = "LUMA";
};

}  // namespace ORVA::Filters
