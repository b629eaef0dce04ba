#pragma once

// Sorting of the rows of an image by the values of one column, plane by plane. Rows are
// ordered by a least-significant-digit radix sort of unsigned keys whose order is the order of
// "<" on the samples: the same ascending order of distinct keys as a comparison sort, in linear
// time. Rows with equal keys (0 and -0 among floats) keep no promised order; NaN keys go to
// the ends.
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>
#include <vector>

#include "image/Geometry.h"

namespace ORVA::RowSort {

// A key whose unsigned order is the order of "<" on the samples.
inline uint32_t SortKey(float value) {
    const uint32_t bits = std::bit_cast<uint32_t>(value);
    return bits ^ ((bits >> 31) ? 0xFFFFFFFFu : 0x80000000u);
}
inline uint32_t SortKey(uint32_t value) {
    return value;
}
inline uint32_t SortKey(uint16_t value) {
    return value;
}
inline uint32_t SortKey(uint8_t value) {
    return value;
}

template <class Index>
struct SEntry {
    uint32_t key;
    Index index;
};

// Sorts n entries by the low `bytes` bytes of their keys, stably, using `scratch` of the same
// length; returns the array that holds the result (entries or scratch).
template <class Index>
SEntry<Index>* RadixSort(SEntry<Index>* entries, SEntry<Index>* scratch, int64_t n, int bytes) {
    if (n < 2) return entries;
    int64_t counts[4][256] = {};
    for (int64_t i = 0; i < n; ++i) {
        const uint32_t key = entries[i].key;
        for (int b = 0; b < bytes; ++b)
            ++counts[b][(key >> (8 * b)) & 0xFF];
    }
    SEntry<Index>* from = entries;
    SEntry<Index>* to = scratch;
    for (int b = 0; b < bytes; ++b) {
        const int shift = 8 * b;
        if (counts[b][(from[0].key >> shift) & 0xFF] == n) continue;  // one digit for all
        int64_t offsets[256];
        int64_t sum = 0;
        for (int d = 0; d < 256; ++d) {
            offsets[d] = sum;
            sum += counts[b][d];
        }
        for (int64_t i = 0; i < n; ++i)
            to[offsets[(from[i].key >> shift) & 0xFF]++] = from[i];
        std::swap(from, to);
    }
    return from;
}

// Sorts the rows of one plane (`rows` rows of `width` samples) by column `column`; `a` and `b`
// are scratch arrays of `rows` entries.
template <class T, class Index>
void SortPlane(const T* in, T* out, int64_t width, int64_t rows, int64_t column, SEntry<Index>* a,
               SEntry<Index>* b) {
    for (int64_t y = 0; y < rows; ++y)
        a[y] = {SortKey(in[y * width + column]), static_cast<Index>(y)};
    const SEntry<Index>* order = RadixSort(a, b, rows, static_cast<int>(sizeof(T)));
    const size_t rowBytes = static_cast<size_t>(width) * sizeof(T);
    for (int64_t r = 0; r < rows; ++r)
        std::memcpy(out + r * width, in + static_cast<int64_t>(order[r].index) * width, rowBytes);
}

// Sorts the rows of every plane of an image of `size` by column `column` (0 .. size.x - 1).
template <class T>
void SortRows(const T* in, T* out, const CSize& size, int64_t column) {
    auto sortPlanes = [&]<class Index>(std::type_identity<Index>) {
        const int64_t plane = size.x * size.y;
        std::vector<SEntry<Index>> a(static_cast<size_t>(size.y)), b(static_cast<size_t>(size.y));
        for (int64_t z = 0; z < size.z; ++z)
            SortPlane<T, Index>(in + z * plane, out + z * plane, size.x, size.y, column, a.data(),
                                b.data());
    };
    if (size.y <= std::numeric_limits<uint32_t>::max())
        sortPlanes(std::type_identity<uint32_t>{});
    else
        sortPlanes(std::type_identity<uint64_t>{});
}

}  // namespace ORVA::RowSort
