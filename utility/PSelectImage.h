#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Returns a copy of input 0 or input 1, chosen by the condition on input 2.
class CPSelectImage : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
