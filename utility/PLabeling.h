#pragma once

#include <cstdint>

#include "algorithms/ConnectedComponents.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Numbers the connected regions of equal non-zero value, plane by plane. Keeps its working
// memory from run to run.
class CPLabeling : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    uint32_t m_neighbourhood = 4;
    bool m_upcast = false;
    bool m_verbose = false;
    CLabeller m_labeller;
};

}  // namespace ORVA
