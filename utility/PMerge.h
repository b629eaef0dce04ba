#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Deprecated: the pixel-wise average of the first plane of two float images.
class CPMerge : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
