#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Builds an image pixel by pixel: where the condition image is non-zero the pixel of the
// 'then' source, elsewhere that of the 'else' source; a source without an image is a constant.
class CPSelectPixel : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
