#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Hands out a copy of an image's attribute map.
class CPGetImageAttributes : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override {}
    void Run() override;
};

}  // namespace ORVA
