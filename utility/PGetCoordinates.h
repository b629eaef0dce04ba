#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Lists the coordinates of the non-zero pixels, or of those a mask selects, as a table image.
// It reads its parameters in Run.
class CPGetCoordinates : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
