#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Compares two images by their means and by their mean absolute difference.
class CPMeanValueDifference : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
