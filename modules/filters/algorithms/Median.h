#pragma once

// Median filters with replicated borders (OpenCV's cv::medianBlur uses no other border).
//
// The output at (x, y) is the median of the k x k window centred there, k odd. It is exact for
// every sample type, so bytes match OpenCV bit for bit:
// - k = 3 and 5: sorting networks (19 and 113 compare-exchanges, checked on all 0-1 inputs) over
//   32-byte vectors of neighbouring pixels, so every pixel costs a fraction of the network
//   (floats and doubles through AVX min and max when the processor has them);
// - bytes with k > 5: column histograms (Perreault and Hebert): each step of the window adds one
//   column histogram and removes another, the median is found on a 16-bin coarse level first;
// - other samples with k > 5: nth_element over the window (k^2 per pixel).
// NaN samples of floating planes order as the min/max comparisons leave them.
#include <immintrin.h>
#include <algorithm>
#include <array>
#include <cstring>
#include <utility>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

namespace Detail {

inline constexpr std::pair<int, int> MEDIAN3[19] = {
    {1, 2}, {4, 5}, {7, 8}, {0, 1}, {3, 4}, {6, 7}, {1, 2}, {4, 5}, {7, 8}, {0, 3},
    {5, 8}, {4, 7}, {3, 6}, {1, 4}, {2, 5}, {4, 7}, {4, 2}, {6, 4}, {4, 2}};

inline constexpr std::pair<int, int> MEDIAN5[113] = {
    {1, 2},   {0, 1},   {1, 2},   {4, 5},   {3, 4},   {4, 5},   {0, 3},   {2, 5},   {2, 3},
    {1, 4},   {1, 2},   {3, 4},   {7, 8},   {6, 7},   {7, 8},   {10, 11}, {9, 10},  {10, 11},
    {6, 9},   {8, 11},  {8, 9},   {7, 10},  {7, 8},   {9, 10},  {0, 6},   {4, 10},  {4, 6},
    {2, 8},   {2, 4},   {6, 8},   {1, 7},   {5, 11},  {5, 7},   {3, 9},   {3, 5},   {7, 9},
    {1, 2},   {3, 4},   {5, 6},   {7, 8},   {9, 10},  {13, 14}, {12, 13}, {13, 14}, {16, 17},
    {15, 16}, {16, 17}, {12, 15}, {14, 17}, {14, 15}, {13, 16}, {13, 14}, {15, 16}, {19, 20},
    {18, 19}, {19, 20}, {21, 22}, {23, 24}, {21, 23}, {22, 24}, {22, 23}, {18, 21}, {20, 23},
    {20, 21}, {19, 22}, {22, 24}, {19, 20}, {21, 22}, {23, 24}, {12, 18}, {16, 22}, {16, 18},
    {14, 20}, {20, 24}, {14, 16}, {18, 20}, {22, 24}, {13, 19}, {17, 23}, {17, 19}, {15, 21},
    {15, 17}, {19, 21}, {13, 14}, {15, 16}, {17, 18}, {19, 20}, {21, 22}, {23, 24}, {0, 12},
    {8, 20},  {8, 12},  {4, 16},  {16, 24}, {12, 16}, {2, 14},  {10, 22}, {10, 14}, {6, 18},
    {6, 10},  {10, 12}, {1, 13},  {9, 21},  {9, 13},  {5, 17},  {13, 17}, {3, 15},  {11, 23},
    {11, 15}, {7, 19},  {7, 11},  {11, 13}, {11, 12}};

// 32 bytes of samples as one value, for the compiler's vector min and max.
template <class T>
struct SVector32;
#define ORVA_FILTERS_VECTOR32(T)                         \
    template <>                                          \
    struct SVector32<T> {                                \
        typedef T type __attribute__((vector_size(32))); \
    };
ORVA_FILTERS_VECTOR32(uint8_t)
ORVA_FILTERS_VECTOR32(uint16_t)
ORVA_FILTERS_VECTOR32(uint32_t)
ORVA_FILTERS_VECTOR32(uint64_t)
ORVA_FILTERS_VECTOR32(float)
ORVA_FILTERS_VECTOR32(double)
#undef ORVA_FILTERS_VECTOR32

template <class T>
using Vector32 = typename SVector32<T>::type;

// In the forms the compiler turns into vector min and max instructions.
template <class V>
__attribute__((always_inline)) inline void Exchange(V& a, V& b) {
    const V lo = a < b ? a : b;
    b = a < b ? b : a;
    a = lo;
}

// The median of the window of each of the `lanes` pixels from x on, for rows `rows` extended
// by k / 2 samples on each side.
// NETWORK is a template argument so that every index is a constant and the window stays in
// registers.
template <int K, const auto& NETWORK, class T, size_t... I>
__attribute__((always_inline)) inline void NetworkMedian(const T* const* rows, T* out, int64_t x,
                                                         std::index_sequence<I...>) {
    using V = Vector32<T>;
    V p[K * K];
    for (int j = 0; j < K; ++j)
        for (int i = 0; i < K; ++i)
            std::memcpy(&p[j * K + i], rows[j] + x + i, sizeof(V));
    (Exchange(p[NETWORK[I].first], p[NETWORK[I].second]), ...);
    std::memcpy(out + x, &p[K * K / 2], sizeof(V));
}

template <int K, const auto& NETWORK, class T>
ORVA_FILTERS_CLONES void NetworkRow(const T* const* rows, T* out, int64_t w) {
    constexpr int64_t LANES = 32 / sizeof(T);
    constexpr size_t N = std::size(NETWORK);
    for (int64_t x = 0; x < w; x += LANES)
        NetworkMedian<K, NETWORK>(rows, out, x, std::make_index_sequence<N>{});
}

// The compiler writes the float compare-exchange above as compare and blend; AVX has min and
// max that compute exactly the same (min(a, b) = a < b ? a : b, max(b, a) = a < b ? b : a).
#define ORVA_FILTERS_AVX_NETWORK(NAME, T, V, LOAD, STORE, MIN, MAX)                           \
    template <int K, const auto& NETWORK, size_t... I>                                        \
    __attribute__((target("avx2"), always_inline)) inline void NAME##Median(                  \
        const T* const* rows, T* out, int64_t x, std::index_sequence<I...>) {                 \
        V p[K * K], t;                                                                        \
        for (int j = 0; j < K; ++j)                                                           \
            for (int i = 0; i < K; ++i)                                                       \
                p[j * K + i] = LOAD(rows[j] + x + i);                                         \
        ((t = MIN(p[NETWORK[I].first], p[NETWORK[I].second]),                                 \
          p[NETWORK[I].second] = MAX(p[NETWORK[I].second], p[NETWORK[I].first]),              \
          p[NETWORK[I].first] = t),                                                           \
         ...);                                                                                \
        STORE(out + x, p[K * K / 2]);                                                         \
    }                                                                                         \
    template <int K, const auto& NETWORK>                                                     \
    __attribute__((target("avx2"))) void NAME##Row(const T* const* rows, T* out, int64_t w) { \
        for (int64_t x = 0; x < w; x += 32 / int64_t(sizeof(T)))                              \
            NAME##Median<K, NETWORK>(rows, out, x,                                            \
                                     std::make_index_sequence<std::size(NETWORK)>{});         \
    }
ORVA_FILTERS_AVX_NETWORK(Float, float, __m256, _mm256_loadu_ps, _mm256_storeu_ps, _mm256_min_ps,
                         _mm256_max_ps)
ORVA_FILTERS_AVX_NETWORK(Double, double, __m256d, _mm256_loadu_pd, _mm256_storeu_pd, _mm256_min_pd,
                         _mm256_max_pd)
#undef ORVA_FILTERS_AVX_NETWORK

template <int K, const auto& NETWORK, class T>
void DispatchNetworkRow(const T* const* rows, T* out, int64_t w) {
    static const bool avx2 = __builtin_cpu_supports("avx2");
    if constexpr (std::is_same_v<T, float>) {
        if (avx2) return FloatRow<K, NETWORK>(rows, out, w);
    } else if constexpr (std::is_same_v<T, double>) {
        if (avx2) return DoubleRow<K, NETWORK>(rows, out, w);
    }
    NetworkRow<K, NETWORK>(rows, out, w);
}

template <int K, const auto& NETWORK, class T>
void NetworkMedianBlur(SPlane<const T> src, SPlane<T> dst) {
    constexpr int64_t LANES = 32 / sizeof(T), R = K / 2;
    const int64_t w = src.width, h = src.height;
    const int64_t padded = (w + LANES - 1) / LANES * LANES;
    // Each source row extended once; the window of K rows is a ring of them.
    std::vector<T> ring(static_cast<size_t>(K * (padded + K - 1))),
        out(static_cast<size_t>(padded));
    std::vector<int64_t> held(K, -1);
    const T* rows[K];
    for (int64_t y = 0; y < h; ++y) {
        for (int64_t j = 0; j < K; ++j) {
            const int64_t s = BorderIndex(y - R + j, h, EnBorder::REPLICATE);
            T* slot = ring.data() + (s % K) * (padded + K - 1);
            if (held[static_cast<size_t>(s % K)] != s) {
                ExtendRow(src, s, R, padded - w + R, EnBorder::REPLICATE, T(0), slot);
                held[static_cast<size_t>(s % K)] = s;
            }
            rows[j] = slot;
        }
        DispatchNetworkRow<K, NETWORK>(rows, out.data(), w);
        std::memcpy(dst.Row(y), out.data(), static_cast<size_t>(w) * sizeof(T));
    }
}

void HistogramMedianBytes(SPlane<const uint8_t> src, SPlane<uint8_t> dst, int k);

template <class T>
void SortingMedian(SPlane<const T> src, SPlane<T> dst, int k) {
    const int64_t r = k / 2;
    std::vector<T> window(static_cast<size_t>(k * k));
    for (int64_t y = 0; y < src.height; ++y)
        for (int64_t x = 0; x < src.width; ++x) {
            size_t n = 0;
            for (int64_t j = -r; j <= r; ++j) {
                const T* row = src.Row(BorderIndex(y + j, src.height, EnBorder::REPLICATE));
                for (int64_t i = -r; i <= r; ++i)
                    window[n++] = row[BorderIndex(x + i, src.width, EnBorder::REPLICATE)];
            }
            std::nth_element(window.begin(), window.begin() + n / 2, window.end());
            dst.Row(y)[x] = window[n / 2];
        }
}

}  // namespace Detail

template <class T>
void MedianBlur(SPlane<const T> src, SPlane<T> dst, int k) {
    CheckSameSize(src, dst, "Filters::MedianBlur");
    if (k < 1 || k % 2 == 0 || k > 255)
        throw CException("Filters::MedianBlur", "the window size must be odd, 1 to 255");
    if (src.width == 0 || src.height == 0) return;
    if (k == 1) {
        for (int64_t y = 0; y < src.height; ++y)
            std::memcpy(dst.Row(y), src.Row(y), static_cast<size_t>(src.width) * sizeof(T));
    } else if (k == 3) {
        Detail::NetworkMedianBlur<3, Detail::MEDIAN3>(src, dst);
    } else if (k == 5) {
        Detail::NetworkMedianBlur<5, Detail::MEDIAN5>(src, dst);
    } else if constexpr (std::is_same_v<T, uint8_t>) {
        Detail::HistogramMedianBytes(src, dst, k);
    } else {
        Detail::SortingMedian(src, dst, k);
    }
}

// The plain definition: nth_element over every window. The fast paths are tested against it.
template <class T>
void MedianBlurLiteral(SPlane<const T> src, SPlane<T> dst, int k) {
    CheckSameSize(src, dst, "Filters::MedianBlurLiteral");
    Detail::SortingMedian(src, dst, k);
}

}  // namespace ORVA::Filters
