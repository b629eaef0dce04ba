#pragma once

#include <cstdint>

#include "NodeSupport.h"

namespace ORVA {

// Numbers the connected regions of equal non-zero value, plane by plane.
class CPLabeling : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    uint32_t m_neighbourhood = 4;
    bool m_upcast = false;
    bool m_verbose = false;
};

}  // namespace ORVA
