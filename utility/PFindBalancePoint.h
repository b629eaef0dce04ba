#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// The centre of mass of every label of a label image, weighted by a grey image or by area.
class CPFindBalancePoint : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
