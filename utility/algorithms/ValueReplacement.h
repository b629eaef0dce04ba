#pragma once

// Replacement of chosen sample values: one value by another, a table of (source, destination)
// pairs, or the non-finite values of a float image. Every sample not replaced is copied.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/PixelCast.h"

namespace ORVA::Replacement {

template <class T>
void ReplaceEqual(const T* in, T* out, int64_t n, T source, T destination) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = in[i] == source ? destination : in[i];
}

template <class T>
void ReplaceNaN(const T* in, T* out, int64_t n, T destination) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = in[i] != in[i] ? destination : in[i];
}

// Each pixel replaced by its entry of a table over every value of T (8 or 16 bits).
template <class T>
void Lookup(const T* in, T* out, int64_t n, const T* table) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = table[in[i]];
}

// A table of rows (source, destination): a pixel equal to the source of one or more rows takes
// the destination of the last of them; other pixels, NaN among them, are kept. Sources
// must not be NaN.
template <class T>
void ReplacePairs(const T* in, T* out, int64_t n, const T* pairs, int64_t rows) {
    // Sorted sources, each with the destination of its last row. Sources that compare equal
    // (0 and -0) are one source.
    std::vector<std::pair<T, T>> table;
    table.reserve(static_cast<size_t>(rows));
    for (int64_t row = 0; row < rows; ++row)
        table.emplace_back(pairs[2 * row], pairs[2 * row + 1]);
    auto bySource = [](const std::pair<T, T>& a, const std::pair<T, T>& b) {
        return a.first < b.first;
    };
    std::stable_sort(table.begin(), table.end(), bySource);
    size_t unique = 0;
    for (size_t i = 0; i < table.size(); ++i) {
        if (unique > 0 && table[unique - 1].first == table[i].first)
            table[unique - 1].second = table[i].second;
        else
            table[unique++] = table[i];
    }
    table.resize(unique);
    for (int64_t i = 0; i < n; ++i) {
        const T v = in[i];
        auto hit = std::lower_bound(table.begin(), table.end(), std::pair<T, T>(v, v), bySource);
        out[i] = hit != table.end() && hit->first == v ? hit->second : v;
    }
}

// The pairs of `rows` rows applied to n samples, later rows winning: through a lookup table for
// 8- and 16-bit samples, else by the sorted sources. In a float table the first row with a NaN
// source turns every NaN into its destination, and then the other rows are not applied.
template <class T>
void ReplaceByTable(const T* in, T* out, int64_t n, const T* pairs, int64_t rows) {
    if constexpr (sizeof(T) <= 2 && std::is_integral_v<T>) {
        std::vector<T> lookup(size_t(1) << (8 * sizeof(T)));
        for (size_t v = 0; v < lookup.size(); ++v)
            lookup[v] = static_cast<T>(v);
        for (int64_t row = 0; row < rows; ++row)
            lookup[pairs[2 * row]] = pairs[2 * row + 1];
        Lookup(in, out, n, lookup.data());
    } else {
        if constexpr (std::is_floating_point_v<T>) {
            for (int64_t row = 0; row < rows; ++row)
                if (std::isnan(pairs[2 * row])) {
                    ReplaceNaN(in, out, n, pairs[2 * row + 1]);
                    return;
                }
        }
        ReplacePairs(in, out, n, pairs, rows);
    }
}

// One source value replaced by a destination, both held as float: widened for double samples
// (a NaN source replaces NaN), truncated and wrapped to the width of integer samples.
template <class T>
void ReplaceValue(const T* in, T* out, int64_t n, float source, float destination) {
    if constexpr (std::is_floating_point_v<T>) {
        const T s = source, d = destination;
        if (std::isnan(s))
            ReplaceNaN(in, out, n, d);
        else
            ReplaceEqual(in, out, n, s, d);
    } else {
        ReplaceEqual(in, out, n, WrapToUnsigned<T>(source), WrapToUnsigned<T>(destination));
    }
}

// Whether an integer sample of type T holds `value` exactly.
template <class T>
bool Representable(double value) {
    return static_cast<double>(WrapToUnsigned<T>(value)) == value;
}

// +infinity, -infinity and NaN replaced by their own values.
inline void ReplaceNonFinite(const float* in, float* out, int64_t n, float positiveInfinity,
                             float negativeInfinity, float nan) {
    constexpr float inf = std::numeric_limits<float>::infinity();
    for (int64_t i = 0; i < n; ++i) {
        const float v = in[i];
        out[i] = v != v ? nan : v == inf ? positiveInfinity : v == -inf ? negativeInfinity : v;
    }
}

}  // namespace ORVA::Replacement
