#pragma once

#include "support/RayProjectionNode.h"

namespace ORVA {

// The smallest value along every ray in z.
class CPRayMinimum : public CRayProjectionNode<Rays::EnRay::MINIMUM> {
  public:
    void Declare(CSetupDocument& doc) override;
};

}  // namespace ORVA
