#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// The mean and standard deviation of all pixel values of a grey image.
class CPStatistics : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    bool m_verbose = false;
};

}  // namespace ORVA
