#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Outputs a deep copy of its input image.
class CPCopyImage : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;
};

}  // namespace ORVA
