#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Returns a copy of input 0 or input 1, chosen by the condition on input 2.
class CPSelectImage : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;

    // True for no condition, a non-zero long, a true bool, an image without pixels, an image
    // whose first pixel is non-zero (IMAGE_GREY_8, IMAGE_BINARY_FG) or non-zero or NaN
    // (IMAGE_GREY_F), an image of another type and any other value.
    static bool Condition(const CValue* value);
};

}  // namespace ORVA
