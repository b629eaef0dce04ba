#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Deprecated: the pixel-wise average of the first plane of two float images.
class CPMerge : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;
};

namespace MergeKernel {

inline void Average(const float* first, const float* second, float* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = (second[i] + first[i]) * 0.5f;
}

}  // namespace MergeKernel

}  // namespace ORVA
