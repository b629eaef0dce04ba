#pragma once

// How pixel values and labels meet: the label a pixel value stands for, and labels made by
// numbering pixels.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace ORVA {

// The background, and pixel values that are no label.
constexpr int64_t NO_LABEL = 0;
// The largest label a float table holds exactly; nodes keep one entry per label up to it.
constexpr int64_t MAX_LABEL = int64_t(1) << 24;

// The label a pixel value stands for: integers as they are, floats truncated toward zero;
// values below 1 (NaN among them) are background.
template <class T>
inline int64_t LabelOf(T value) {
    if constexpr (std::is_floating_point_v<T>) {
        if (!(value >= 1)) return NO_LABEL;  // NaN, negatives and (0, 1)
        return value < 9.2e18f ? static_cast<int64_t>(value) : std::numeric_limits<int64_t>::max();
    } else {
        return static_cast<int64_t>(value);
    }
}

// The largest label of `pixels` values; 0 when there is none. Labels grow with the values, so
// it is the label of the largest value (NaN never is).
template <class T>
int64_t MaxLabel(const T* data, int64_t pixels) {
    // Lanes keep their own maxima, so that the loop vectorises.
    constexpr int LANES = 16;
    T lanes[LANES] = {};
    int64_t i = 0;
    for (; i + LANES <= pixels; i += LANES)
        for (int j = 0; j < LANES; ++j)
            lanes[j] = data[i + j] > lanes[j] ? data[i + j] : lanes[j];
    T maximum = T(0);
    for (int j = 0; j < LANES; ++j)
        maximum = lanes[j] > maximum ? lanes[j] : maximum;
    for (; i < pixels; ++i)
        maximum = data[i] > maximum ? data[i] : maximum;
    return LabelOf(maximum);
}

// Numbers the samples of `in` that are not 0 (NaN included) 1, 2, 3, ... in order into `out`;
// the others become 0.
inline void NumberNonZero(const float* in, float* out, int64_t count) {
    uint64_t label = 0;
    for (int64_t i = 0; i < count; ++i)
        out[i] = in[i] != 0 ? static_cast<float>(++label) : 0.0f;
}

}  // namespace ORVA
