#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Traces thin curves and numbers their pixels along them.
class CPCurveIndex : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
