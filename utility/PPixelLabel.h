#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Numbers the non-zero pixels of the first plane in the order they occur.
class CPPixelLabel : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;

    // Writes 1, 2, 3, ... into `out` where `in` is not 0 (NaN included) and 0 elsewhere.
    static void NumberPixels(const float* in, float* out, int64_t count);
};

}  // namespace ORVA
