#pragma once

#include <cstdint>
#include <limits>

#include "support/NodeSupport.h"

namespace ORVA {

// Replaces +infinity, -infinity and NaN in a float image by three chosen values.
class CPReplaceNonFinite : public CPNode {
  public:
    CPReplaceNonFinite();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    float m_positiveInfinity;
    float m_negativeInfinity;
    float m_nan;
};

namespace ReplaceNonFiniteKernel {

inline void Replace(const float* in, float* out, int64_t n, float positiveInfinity,
                    float negativeInfinity, float nan) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    for (int64_t i = 0; i < n; ++i) {
        const float v = in[i];
        out[i] = v != v ? nan : v == inf ? positiveInfinity : v == -inf ? negativeInfinity : v;
    }
}

}  // namespace ReplaceNonFiniteKernel

}  // namespace ORVA
