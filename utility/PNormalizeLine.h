#pragma once

#include <cstdint>

#include "PNormalize.h"

namespace ORVA {

// Normalizes every row of an image on its own: each row is mapped from its own minimum and
// maximum onto the output range, with the arithmetic of Normalize.
class CPNormalizeLine : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Maps the rows (of `width` samples each) of `in` into `out`.
    template <class T, class O>
    static void NormalizeRows(const T* in, O* out, int64_t width, int64_t rows, float outMin,
                              float outMax, float outDefault);

  private:
    float m_outMin = 0.0f;
    float m_outMax = 255.0f;
    float m_outDefault = 0.0f;
    bool m_upcast = false;
};

}  // namespace ORVA
