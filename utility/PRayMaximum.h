#pragma once

#include "support/RayProjectionNode.h"

namespace ORVA {

// The largest value along every ray in z.
class CPRayMaximum : public CRayProjectionNode<Rays::EnRay::MAXIMUM> {
  public:
    void Declare(CSetupDocument& doc) override;
};

}  // namespace ORVA
