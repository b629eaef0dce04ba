#pragma once

#include "RayProjection.h"

namespace ORVA {

// The largest value along every ray in z.
class CPRayMaximum : public CRayProjectionNode<EnRay::MAXIMUM> {
  public:
    void GetPluginSetup(CValueMap& setup) override;
};

}  // namespace ORVA
