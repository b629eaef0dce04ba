#pragma once

// Sums over all samples of grey images, in double, with the terms formed as each node defines
// them.
#include <cstdint>

namespace ORVA {

// A sample's square as the global statistics form it: bytes exactly; 16-bit values in 32-bit
// arithmetic taken as signed, so that large ones wrap negative; 32-bit values modulo 2^32;
// floats in single precision.
inline int64_t PixelSquare(uint8_t value) {
    return int32_t(value) * int32_t(value);
}
inline int64_t PixelSquare(uint16_t value) {
    return static_cast<int32_t>(uint32_t(value) * uint32_t(value));
}
inline int64_t PixelSquare(uint32_t value) {
    return uint32_t(value * value);
}
inline float PixelSquare(float value) {
    return value * value;
}

// The sum of the values and the sum of their squares (PixelSquare), as if each were added in
// double in memory order. Defined for uint8_t, uint16_t, uint32_t and float.
template <class T>
void SumAndSquares(const T* data, int64_t count, double& sum, double& squares);

// The sums of a[i], of b[i] and of |a[i] - b[i]| over `count` samples, in double. Integer
// samples are summed exactly in blocks, so the result is the exact sum rounded in the end (up
// to 2^53). Defined for uint8_t, uint16_t, uint32_t and float.
struct SPairSums {
    double first = 0.0, second = 0.0, absoluteDifference = 0.0;
};
template <class T>
SPairSums PairSums(const T* a, const T* b, int64_t count);

}  // namespace ORVA
