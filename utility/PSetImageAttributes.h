#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Sets one attribute, or replaces all of them, on a copy of an image. The parameters are
// read from the parameter map on every run, so the node keeps no members.
class CPSetImageAttributes : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;
};

}  // namespace ORVA
