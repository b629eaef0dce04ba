#pragma once

// Pixel-wise choices between sources: a condition image picks the sample of one of two sources
// (images or constants), or a mask picks where one value is set.
#include <bit>
#include <cstdint>

#include "support/PixelCast.h"

namespace ORVA::Selection {

// A source of the selection: the samples of an image, or one constant.
template <class T>
struct SImage {
    const T* samples;
    T operator[](int64_t i) const { return samples[i]; }
};

template <class T>
struct SConstant {
    T value;
    T operator[](int64_t) const { return value; }
};

// out[i] = cond[i] != 0 ? then[i] : otherwise[i]; a float condition that is NaN is non-zero.
// Sources are copied as raw bits of their width.
template <class C, class T, class Then, class Else>
void Select(const C* cond, Then then, Else otherwise, T* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
        // Both sources are read, so that the choice needs no branch.
        const T a = then[i];
        const T b = otherwise[i];
        out[i] = cond[i] != C(0) ? a : b;
    }
}

// The constant of a source without image, as the raw sample of width sizeof(U): a float for
// float samples; integers truncated (to 64 bits for 32-bit samples, else 32) keeping their low
// bits.
template <class U>
U ConstantBits(double value, bool floating) {
    if constexpr (sizeof(U) == 4) {
        if (floating) return std::bit_cast<U>(CastConstant<float>(value));
    }
    return CastConstant<U>(value);
}

// out[i] = value for i < n where (mask[i] != 0) differs from `invert` (NaN is non-zero); other
// samples keep what they hold.
template <class T, class M>
void FillMasked(T* out, const M* mask, int64_t n, T value, bool invert) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = ((mask[i] != M(0)) != invert) ? value : out[i];
}

}  // namespace ORVA::Selection
