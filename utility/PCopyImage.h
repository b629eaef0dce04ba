#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Outputs a deep copy of its input image.
class CPCopyImage : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
