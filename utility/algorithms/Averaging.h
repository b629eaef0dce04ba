#pragma once

// Pixel-wise means: the average of two float images, and the per-pixel sum in double from
// which a running mean over a changing set of images is taken.
#include <cstdint>
#include <type_traits>

namespace ORVA::Averaging {

// out[i] = (second[i] + first[i]) * 0.5, in float.
inline void Average(const float* first, const float* second, float* out, int64_t n) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = (second[i] + first[i]) * 0.5f;
}

// sum += image; tells whether the image holds a NaN or an infinity.
template <class T>
bool AddImage(double* sum, const T* image, int64_t count) {
    int nonFinite = 0;
    for (int64_t i = 0; i < count; ++i) {
        double value = static_cast<double>(image[i]);
        sum[i] += value;
        if constexpr (std::is_floating_point_v<T>) nonFinite |= (value - value) != 0.0;
    }
    return nonFinite != 0;
}

// sum += added - dropped, for two images of one type; tells whether `added` holds a NaN or an
// infinity.
template <class T>
bool ReplaceImage(double* sum, const T* added, const T* dropped, int64_t count) {
    int nonFinite = 0;
    for (int64_t i = 0; i < count; ++i) {
        double value = static_cast<double>(added[i]);
        sum[i] = sum[i] + value - static_cast<double>(dropped[i]);
        if constexpr (std::is_floating_point_v<T>) nonFinite |= (value - value) != 0.0;
    }
    return nonFinite != 0;
}

template <class T>
void SubtractImage(double* sum, const T* image, int64_t count) {
    for (int64_t i = 0; i < count; ++i)
        sum[i] -= static_cast<double>(image[i]);
}

// out[i] = sum[i] / count, rounded to float.
inline void MeanOfSum(const double* sum, float* out, int64_t n, double count) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = static_cast<float>(sum[i] / count);
}

}  // namespace ORVA::Averaging
