#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// The median of a square window, channel by channel.
class CPMedianBlur : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_size = 3;
};

}  // namespace ORVA::Filters
