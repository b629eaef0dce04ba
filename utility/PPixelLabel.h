#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Numbers the non-zero pixels of the first plane in the order they occur.
class CPPixelLabel : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
