#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Lists the coordinates of the non-zero pixels, or of those a mask selects, as a table image.
class CPGetCoordinates : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;
};

}  // namespace ORVA
