#pragma once

// Collapsing an image along one axis by the sum, mean, maximum or minimum of its values.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tarsel.h"

namespace ORVA {

// The ways of collapsing, in the order of their names.
enum class EnProjection { SUM, MEAN, MAX, MIN };
inline constexpr const char* PROJECTION_MODES = "SUM, MEAN, MAX, MIN";

// How a mode starts and takes in one more value, in double. SUM (and MEAN) let NaN through;
// MAX and MIN skip it and stay NaN only while they have seen nothing else.
struct SSumFold {
    static constexpr double START = 0.0;
    static double Fold(double result, double value) { return result + value; }
};
struct SMaxFold {
    static constexpr double START = std::numeric_limits<double>::quiet_NaN();
    static double Fold(double result, double value) {
        return value > result || result != result ? value : result;
    }
};
struct SMinFold {
    static constexpr double START = std::numeric_limits<double>::quiet_NaN();
    static double Fold(double result, double value) {
        return value < result || result != result ? value : result;
    }
};

// Folds `lines` lines of `length` values (line i at in + i * length) into one line, out. The
// running line is kept in double and takes in eight lines at a time, in line order, so it is
// loaded and stored an eighth as often and the inner loop runs over contiguous memory and
// vectorises; every lane does the same operations, so the wider clone gives the same bits.
template <class Fold, class T>
__attribute__((target_clones("avx2", "default"))) void FoldLines(const T* in, int64_t length,
                                                                 int64_t lines, double divisor,
                                                                 float* out) {
    constexpr int64_t AT_ONCE = 8;
    if (length == 0) return;  // nothing to fold, however many lines
    std::vector<double> running(static_cast<size_t>(length), Fold::START);
    double* result = running.data();
    int64_t i = 0;
    for (; i + AT_ONCE <= lines; i += AT_ONCE) {
        const T* first = in + i * length;
        for (int64_t j = 0; j < length; ++j) {
            double value = result[j];
            for (int64_t k = 0; k < AT_ONCE; ++k)
                value = Fold::Fold(value, static_cast<double>(first[k * length + j]));
            result[j] = value;
        }
    }
    for (; i < lines; ++i) {
        const T* line = in + i * length;
        for (int64_t j = 0; j < length; ++j)
            result[j] = Fold::Fold(result[j], static_cast<double>(line[j]));
    }
    for (int64_t j = 0; j < length; ++j)
        out[j] = static_cast<float>(result[j] / divisor);
}

// Folds each of `lines` lines of `length` values into one value, out[i].
template <class Fold, class T>
void FoldWithinLines(const T* in, int64_t length, int64_t lines, double divisor, float* out) {
    for (int64_t i = 0; i < lines; ++i) {
        const T* line = in + i * length;
        double result = Fold::START;
        for (int64_t j = 0; j < length; ++j)
            result = Fold::Fold(result, static_cast<double>(line[j]));
        out[i] = static_cast<float>(result / divisor);
    }
}

// Collapses an image of `size` along `axis` (0 x, 1 y, 2 z) into `out`, whose extent along the
// axis is 1. MEAN divides the sum by the axis's extent (NaN for an extent of 0).
template <class T>
void Project(const T* in, const CSize& size, int axis, EnProjection mode, float* out) {
    auto collapse = [&]<class Fold>(Fold, double divisor) {
        const int64_t plane = size.x * size.y;
        if (axis == 0)
            FoldWithinLines<Fold>(in, size.x, size.y * size.z, divisor, out);
        else if (axis == 1)
            for (int64_t z = 0; z < size.z; ++z)
                FoldLines<Fold>(in + z * plane, size.x, size.y, divisor, out + z * size.x);
        else
            FoldLines<Fold>(in, plane, size.z, divisor, out);
    };
    switch (mode) {
        case EnProjection::SUM:
            collapse(SSumFold{}, 1.0);
            break;
        case EnProjection::MEAN:
            collapse(SSumFold{}, static_cast<double>(size[axis]));
            break;
        case EnProjection::MAX:
            collapse(SMaxFold{}, 1.0);
            break;
        case EnProjection::MIN:
            collapse(SMinFold{}, 1.0);
            break;
    }
}

}  // namespace ORVA
