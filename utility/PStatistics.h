#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// The mean and standard deviation of all pixel values of a grey image.
class CPStatistics : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // The sum of the values and the sum of their squares, each added in double in memory
    // order, with the squares formed as the pixel type defines (see Square).
    template <class T>
    static void Sums(const T* data, int64_t count, double& sum, double& squares);

    // A pixel's square: bytes exactly; 16-bit values in 32-bit arithmetic taken as signed, so
    // that large ones wrap negative; 32-bit values modulo 2^32; floats in single precision.
    static int64_t Square(uint8_t value) { return int32_t(value) * int32_t(value); }
    static int64_t Square(uint16_t value) {
        return static_cast<int32_t>(uint32_t(value) * uint32_t(value));
    }
    static int64_t Square(uint32_t value) { return uint32_t(value * value); }
    static float Square(float value) { return value * value; }

  private:
    bool m_verbose = false;
};

}  // namespace ORVA
