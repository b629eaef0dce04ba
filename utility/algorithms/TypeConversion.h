#pragma once

// Conversion of an image into another pixel type by plain typecasts: values carried over
// unscaled and unsaturated, colour averaged into grey, non-zero into 1, 16-bit samples read
// byte by byte. Pairs without a rule of their own go to the framework's saturating conversion.
#include <cstdint>
#include <type_traits>

#include "image/Image.h"

namespace ORVA::Conversion {

// Fills `result` (of the output type, with the size of `input`) from `input` by the rule of
// the pair; false for a pair that cannot be converted. `swapBytes` reads IMAGE_GREY_16 samples
// with their second byte as the most significant one.
bool ConvertPixels(const CImage& input, CImage& result, bool swapBytes);

// The per-pixel loops; n counts samples. Each output sample depends only on the input
// sample(s) at the same index.

// Round half away from zero, truncate to 32 bits, keep the low byte: 300.4 gives 44, -1 gives
// 255, NaN and values beyond the 32-bit range give 0. The result is that of v + 0.5 (v - 0.5
// below zero) computed exactly and truncated, but worked out in float and 32-bit integers:
// truncate, then step away from zero when the fraction, which float holds exactly, is at least
// one half. Out-of-range values are first replaced by -2^31, whose low byte is 0.
constexpr float ROUND_LIMIT = 2147483648.0f;

inline uint8_t RoundToByte(float value) {
    const bool inRange = (value >= -ROUND_LIMIT) & (value < ROUND_LIMIT);
    const float v = inRange ? value : -ROUND_LIMIT;
    int32_t rounded = static_cast<int32_t>(v);
    const float fraction = v - static_cast<float>(rounded);
    rounded += fraction >= 0.5f ? 1 : 0;
    rounded -= fraction <= -0.5f ? 1 : 0;
    return static_cast<uint8_t>(rounded);
}

// RoundToByte of n samples, with the widest vector unit the processor has (the results are the
// same bit for bit).
void FloatToByte(const float* in, uint8_t* out, int64_t n);
// The same with at most the vector unit `widest` (0: the one every x86-64 processor has, 1:
// AVX2, 2: AVX-512), or the widest the processor has below it; for tests of every path.
void FloatToByte(const float* in, uint8_t* out, int64_t n, int widest);

// Samples of two bytes; without `swap` the first byte in memory is the most significant one.
inline void Grey16ToFloat(const uint8_t* in, float* out, int64_t n, bool swap) {
    const int high = swap ? 1 : 0;
    for (int64_t i = 0; i < n; ++i)
        out[i] = static_cast<float>(in[2 * i + high]) * 256.0f +
                 static_cast<float>(in[2 * i + 1 - high]);
}

template <class S, class D>
void Cast(const S* in, D* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = static_cast<D>(in[i]);
}

// 1 where the sample is non-zero (NaN included), else 0.
template <class S, class D>
void NonZero(const S* in, D* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = in[i] != S(0) ? D(1) : D(0);
}

// The mean of three byte channels in float, (c0 + c1 + c2) / 3; channel c of pixel i lies at
// channels[c][i * Stride]. Byte results truncate.
template <class D, int Stride>
void MeanOfChannels(const uint8_t* c0, const uint8_t* c1, const uint8_t* c2, D* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i) {
        float sum = static_cast<float>(c0[i * Stride]) + static_cast<float>(c1[i * Stride]) +
                    static_cast<float>(c2[i * Stride]);
        float mean = sum / 3.0f;
        if constexpr (std::is_same_v<D, float>)
            out[i] = mean;
        else
            out[i] = static_cast<D>(static_cast<int32_t>(mean));
    }
}

}  // namespace ORVA::Conversion
