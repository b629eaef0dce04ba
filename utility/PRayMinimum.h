#pragma once

#include "RayProjection.h"

namespace ORVA {

// The smallest value along every ray in z.
class CPRayMinimum : public CRayProjectionNode<EnRay::MINIMUM> {
  public:
    void GetPluginSetup(CValueMap& setup) override;
};

}  // namespace ORVA
