#pragma once

// What every kernel of the filters module shares: a plane of samples and the border rules.
//
// A plane is `height` rows of `width` samples; row y starts at data + y * stride (stride in
// elements, at least width). Colour images are handled by the caller, channel by channel.
//
// Border rules, for an index p outside [0, n) (as OpenCV's borderInterpolate):
//   REFLECT_101  gfedcb|abcdefgh|gfedcba   (the default of every kernel)
//   REPLICATE    aaaaaa|abcdefgh|hhhhhhh
//   CONSTANT     iiiiii|abcdefgh|iiiiiii   (a given value)
//   REFLECT      fedcba|abcdefgh|hgfedcb
// Reflections repeat until the index falls inside, so a kernel may be wider than the plane.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <vector>

#include "base/Exception.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

// Row loops that gain from wider vectors are also built for AVX2 and chosen at load time.
#define ORVA_FILTERS_CLONES __attribute__((target_clones("avx2", "default")))
// The same with AVX-512 too, for arithmetic-bound loops written over 64-byte vectors.
#define ORVA_FILTERS_WIDE_CLONES __attribute__((target_clones("avx512f", "avx2", "default")))

namespace ORVA::Filters {

template <class T>
struct SPlane {
    T* data = nullptr;
    int64_t width = 0;
    int64_t height = 0;
    int64_t stride = 0;

    T* Row(int64_t y) const { return data + y * stride; }
    T& At(int64_t x, int64_t y) const { return data[y * stride + x]; }
    // A read-only view of the same samples.
    operator SPlane<const T>() const requires(!std::is_const_v<T>) {
        return {data, width, height, stride};
    }
};

// A plane over a contiguous buffer.
template <class T>
SPlane<T> Plane(T* data, int64_t width, int64_t height) {
    return {data, width, height, width};
}

enum class EnBorder { REFLECT_101, REPLICATE, CONSTANT, REFLECT };

// The index inside [0, n) that p stands for, or -1 for CONSTANT outside. n > 0.
inline int64_t BorderIndex(int64_t p, int64_t n, EnBorder border) {
    if (p >= 0 && p < n) return p;
    switch (border) {
        case EnBorder::REPLICATE:
            return p < 0 ? 0 : n - 1;
        case EnBorder::CONSTANT:
            return -1;
        default: {
            if (n == 1) return 0;
            const int64_t delta = border == EnBorder::REFLECT_101 ? 1 : 0;
            do {
                p = p < 0 ? -p - 1 + delta : n - 1 - (p - n) - delta;
            } while (p < 0 || p >= n);
            return p;
        }
    }
}

// Throws unless the plane is a valid one: non-negative extents, stride >= width, data present.
template <class T>
void CheckPlane(const SPlane<T>& plane, const char* where) {
    if (plane.width < 0 || plane.height < 0 || plane.stride < plane.width ||
        (!plane.data && plane.width * plane.height > 0))
        throw CException(where, "invalid plane (negative extent, short stride or no data)");
}

// Throws unless both planes have the same extents.
template <class A, class B>
void CheckSameSize(const SPlane<A>& a, const SPlane<B>& b, const char* where) {
    CheckPlane(a, where);
    CheckPlane(b, where);
    if (a.width != b.width || a.height != b.height)
        throw CException(where, "the planes differ in size");
}

// Copies row `y` of `src` into `ext` with `left` samples before and `right` after, laid out
// by the border rule; `value` fills CONSTANT borders.
template <class T, class E>
void ExtendRow(const SPlane<const T>& src, int64_t y, int64_t left, int64_t right, EnBorder border,
               E value, E* ext) {
    const T* row = src.Row(y);
    for (int64_t i = 0; i < left; ++i) {
        int64_t p = BorderIndex(i - left, src.width, border);
        ext[i] = p < 0 ? value : static_cast<E>(row[p]);
    }
    if constexpr (std::is_same_v<T, E>)
        std::memcpy(ext + left, row, static_cast<size_t>(src.width) * sizeof(T));
    else
        for (int64_t x = 0; x < src.width; ++x)
            ext[left + x] = static_cast<E>(row[x]);
    for (int64_t i = 0; i < right; ++i) {
        int64_t p = BorderIndex(src.width + i, src.width, border);
        ext[left + src.width + i] = p < 0 ? value : static_cast<E>(row[p]);
    }
}

// Results this large bypass the caches on their way to memory: with their input they would not
// stay in the last level, and writing around it saves reading each line before it is
// overwritten. Smaller ones are faster through the cache, where a next step finds them.
constexpr int64_t STREAMING_BYTES = int64_t(32) << 20;

template <class T>
bool Streams(const SPlane<T>& plane) {
    return plane.width * plane.height * int64_t(sizeof(T)) >= STREAMING_BYTES;
}

// Copies `bytes` from `from` (usually a row in the cache) to `to` with stores that go around
// the caches; Fence() afterwards orders them before what follows.
inline void StreamRow(void* to, const void* from, size_t bytes) {
    auto* d = static_cast<char*>(to);
    const auto* s = static_cast<const char*>(from);
#if defined(__SSE2__)
    const size_t head = std::min(bytes, (16 - reinterpret_cast<uintptr_t>(d) % 16) % 16);
    std::memcpy(d, s, head);
    size_t i = head;
    for (; i + 16 <= bytes; i += 16)
        _mm_stream_si128(reinterpret_cast<__m128i*>(d + i),
                         _mm_loadu_si128(reinterpret_cast<const __m128i*>(s + i)));
    std::memcpy(d + i, s + i, bytes - i);
#else
    std::memcpy(d, s, bytes);
#endif
}

// Asks for `bytes` from `p` on into the caches, ahead of their use: rows of a plane lie pages
// apart, where the processor's own prefetching stops.
inline void Prefetch(const void* p, size_t bytes) {
    for (size_t i = 0; i < bytes; i += 64)
        __builtin_prefetch(static_cast<const char*>(p) + i);
}

inline void Fence() {
#if defined(__SSE2__)
    _mm_sfence();
#endif
}

// Calls f.template operator()<N>() with N = n for n from 1 to 8, so that loops over a few
// rows or taps get a count known at compile time; returns false for other n.
template <class F>
bool WithCount(int64_t n, F&& f) {
    switch (n) {
        case 1:
            return f.template operator()<1>(), true;
        case 2:
            return f.template operator()<2>(), true;
        case 3:
            return f.template operator()<3>(), true;
        case 4:
            return f.template operator()<4>(), true;
        case 5:
            return f.template operator()<5>(), true;
        case 6:
            return f.template operator()<6>(), true;
        case 7:
            return f.template operator()<7>(), true;
        case 8:
            return f.template operator()<8>(), true;
        default:
            return false;
    }
}

// Round half to even, as OpenCV's cvRound and saturate_cast do.
inline int64_t RoundEven(double v) {
    return static_cast<int64_t>(std::nearbyint(v));
}

// A floating-point value as a sample of T: integers round half to even and saturate (NaN
// becomes 0), floating types take it as it is.
template <class T>
T SaturateCast(double v) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<T>(v);
    } else {
        if (!(v == v)) return 0;
        const double lo = static_cast<double>(std::numeric_limits<T>::min());
        const double hi = static_cast<double>(std::numeric_limits<T>::max());
        double r = std::nearbyint(v);
        if (r <= lo) return std::numeric_limits<T>::min();
        if (r >= hi) return std::numeric_limits<T>::max();
        return static_cast<T>(r);
    }
}

}  // namespace ORVA::Filters
