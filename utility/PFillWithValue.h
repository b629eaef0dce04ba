#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Sets the pixels a mask selects, or all pixels, to one value.
class CPFillWithValue : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // out[i] = value for i < count where (mask[i] != 0) differs from `invert` (NaN is non-zero);
    // other samples keep what they hold.
    template <class T, class M>
    static void Fill(T* out, const M* mask, int64_t count, T value, bool invert) {
        for (int64_t i = 0; i < count; ++i)
            out[i] = ((mask[i] != M(0)) != invert) ? value : out[i];
    }

  private:
    double m_value = 0.0;
    bool m_invert = false;
};

}  // namespace ORVA
