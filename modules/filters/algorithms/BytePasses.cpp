#include "BytePasses.h"

#include <immintrin.h>

#include <cstdlib>

namespace ORVA::Filters::Detail {

namespace {

// The 8-bit Gaussian's column sums reach 65280: stored less 2^15 they fit the signed lanes
// of the row pass, which adds 2^15 times the weights' sum (256) back.
constexpr uint16_t GAUSS_BIAS = 0x8000;
constexpr int32_t GAUSS_ROUND = (256 << 15) + (1 << 15);

struct SKernels {
    std::vector<int16_t> across, along;  // along: padded to an even count with a 0
    int64_t radius;                      // of `along` before the padding
};

// Columns x to x + 16 J of the weighted rows, J vectors at a time to overlap their latencies.
template <int J>
__attribute__((target("avx2"), always_inline)) inline void ColumnBlock(const uint8_t* const* rows,
                                                                       const int16_t* weights,
                                                                       int64_t taps, uint16_t bias,
                                                                       int64_t x, int16_t* v) {
    __m256i s[J];
    for (int b = 0; b < J; ++b)
        s[b] = _mm256_set1_epi16(static_cast<int16_t>(bias));
    for (int64_t j = 0; j < taps; ++j) {
        const __m256i weight = _mm256_set1_epi16(weights[j]);
        for (int b = 0; b < J; ++b) {
            const __m256i p = _mm256_cvtepu8_epi16(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(rows[j] + x + 16 * b)));
            s[b] = _mm256_add_epi16(s[b], _mm256_mullo_epi16(p, weight));
        }
    }
    for (int b = 0; b < J; ++b)
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(v + x + 16 * b), s[b]);
}

// Row y's column sums into v[0, w), v[-r, 0) and v[w, w + r) the border's samples of them.
template <bool GAUSS>
__attribute__((target("avx2"))) void ColumnSums(SPlane<const uint8_t> src, int64_t y,
                                                const std::vector<int16_t>& k, EnBorder border,
                                                const uint8_t* zero, const uint8_t** rows,
                                                int64_t r, int16_t* v) {
    const int64_t w = src.width, h = src.height, n = static_cast<int64_t>(k.size());
    const uint16_t bias = GAUSS ? GAUSS_BIAS : 0;
    int16_t weights[64];
    int64_t taps = 0;
    for (int64_t j = 0; j < n; ++j) {
        if (k[size_t(j)] == 0) continue;
        const int64_t s = BorderIndex(y - n / 2 + j, h, border);
        rows[taps] = s < 0 ? zero : src.Row(s);
        weights[taps++] = k[size_t(j)];
    }
    int64_t x = 0;
    for (; x + 32 <= w; x += 32)
        ColumnBlock<2>(rows, weights, taps, bias, x, v);
    for (; x + 16 <= w; x += 16)
        ColumnBlock<1>(rows, weights, taps, bias, x, v);
    for (; x < w; ++x) {
        uint16_t s = bias;
        for (int64_t j = 0; j < taps; ++j)
            s = static_cast<uint16_t>(s + weights[j] * rows[j][x]);
        v[x] = static_cast<int16_t>(s);
    }
    for (int64_t i = 1; i <= r; ++i) {
        const int64_t before = BorderIndex(-i, w, border),
                      after = BorderIndex(w - 1 + i, w, border);
        v[-i] = before < 0 ? static_cast<int16_t>(bias) : v[before];
        v[w - 1 + i] = after < 0 ? static_cast<int16_t>(bias) : v[after];
    }
}

// Outputs x to x + 16 J from e[x .. x + 16 J + n - 2], n = 2 * pairs.size() taps: even outputs
// take the weights in pairs from 32-bit lanes starting at x, odd ones from lanes at x + 1.
template <bool GAUSS, int J, class O>
__attribute__((target("avx2"), always_inline)) inline void RowBlock(const int16_t* e,
                                                                    const int32_t* pairs, int64_t n,
                                                                    O* out) {
    __m256i even[J], odd[J];
    for (int b = 0; b < J; ++b)
        even[b] = odd[b] = _mm256_setzero_si256();
    for (int64_t p = 0; p < n / 2; ++p) {
        const __m256i weights = _mm256_set1_epi32(pairs[p]);
        for (int b = 0; b < J; ++b) {
            const int16_t* at = e + 2 * p + 16 * b;
            even[b] = _mm256_add_epi32(
                even[b], _mm256_madd_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(at)),
                                           weights));
            odd[b] = _mm256_add_epi32(
                odd[b], _mm256_madd_epi16(
                            _mm256_loadu_si256(reinterpret_cast<const __m256i*>(at + 1)), weights));
        }
    }
    for (int b = 0; b < J; ++b) {
        if constexpr (GAUSS) {
            const __m256i round = _mm256_set1_epi32(GAUSS_ROUND);
            const __m256i lo = _mm256_srli_epi32(_mm256_add_epi32(even[b], round), 16);
            const __m256i hi = _mm256_srli_epi32(_mm256_add_epi32(odd[b], round), 16);
            __m256i both = _mm256_or_si256(lo, _mm256_slli_epi32(hi, 16));
            both = _mm256_permute4x64_epi64(_mm256_packus_epi16(both, both), 0x08);
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 16 * b),
                             _mm256_castsi256_si128(both));
        } else {
            const __m256i lo = _mm256_unpacklo_epi32(even[b], odd[b]);
            const __m256i hi = _mm256_unpackhi_epi32(even[b], odd[b]);
            _mm256_storeu_ps(out + 16 * b,
                             _mm256_cvtepi32_ps(_mm256_permute2x128_si256(lo, hi, 0x20)));
            _mm256_storeu_ps(out + 16 * b + 8,
                             _mm256_cvtepi32_ps(_mm256_permute2x128_si256(lo, hi, 0x31)));
        }
    }
}

template <bool GAUSS, class O>
__attribute__((target("avx2"))) void RowSums(const int16_t* e, const int16_t* k, int64_t n,
                                             const int32_t* pairs, O* out, int64_t w) {
    int64_t x = 0;
    for (; x + 32 <= w; x += 32)
        RowBlock<GAUSS, 2>(e + x, pairs, n, out + x);
    for (; x + 16 <= w; x += 16)
        RowBlock<GAUSS, 1>(e + x, pairs, n, out + x);
    for (; x < w; ++x) {
        int32_t s = 0;
        for (int64_t i = 0; i < n; ++i)
            s += k[i] * e[x + i];
        if constexpr (GAUSS)
            out[x] = static_cast<uint8_t>((s + GAUSS_ROUND) >> 16);
        else
            out[x] = static_cast<float>(s);
    }
}

template <bool GAUSS, class O>
__attribute__((target("avx2"))) void Passes(SPlane<const uint8_t> src, SPlane<O> dst,
                                            const SKernels& k, EnBorder border) {
    const int64_t w = src.width, n = static_cast<int64_t>(k.along.size()), r = k.radius;
    std::vector<int32_t> pairs(static_cast<size_t>(n / 2));
    for (size_t p = 0; p < pairs.size(); ++p)
        pairs[p] = static_cast<int32_t>(
            static_cast<uint16_t>(k.along[2 * p]) |
            (static_cast<uint32_t>(static_cast<uint16_t>(k.along[2 * p + 1])) << 16));
    // Sums of row y from v[-r]; the last vector of odd outputs reads one sample past them.
    std::vector<int16_t> sums(static_cast<size_t>(w + 2 * r + 16), 0);
    std::vector<uint8_t> zero(static_cast<size_t>(w), 0);
    std::vector<const uint8_t*> rows(k.across.size());
    // The Gaussian's output rows are written while the next ones are computed; only the
    // faster passes gain from going around the caches.
    const bool stream = !GAUSS && Streams(dst);
    std::vector<O> line(stream ? static_cast<size_t>(w) : 0);
    for (int64_t y = 0; y < src.height; ++y) {
        ColumnSums<GAUSS>(src, y, k.across, border, zero.data(), rows.data(), r, sums.data() + r);
        RowSums<GAUSS>(sums.data(), k.along.data(), n, pairs.data(),
                       stream ? line.data() : dst.Row(y), w);
        if (stream) StreamRow(dst.Row(y), line.data(), static_cast<size_t>(w) * sizeof(O));
    }
    Fence();
}

bool HasAvx2() {
    static const bool avx2 = __builtin_cpu_supports("avx2");
    return avx2;
}

SKernels Padded(const std::vector<int>& across, const std::vector<int>& along) {
    SKernels k{{across.begin(), across.end()},
               {along.begin(), along.end()},
               static_cast<int64_t>(along.size() / 2)};
    if (k.along.size() % 2) k.along.push_back(0);
    return k;
}

int64_t AbsoluteSum(const std::vector<int>& k) {
    int64_t s = 0;
    for (int v : k)
        s += std::abs(v);
    return s;
}

}  // namespace

bool GaussianBytesWide(SPlane<const uint8_t> src, SPlane<uint8_t> dst,
                       const std::vector<uint16_t>& k, EnBorder border) {
    // Column taps are kept on the stack (at most 64); longer kernels take the general path.
    if (!HasAvx2() || k.size() > 64) return false;
    CheckSameSize(src, dst, "Filters::GaussianBlur");
    if (src.width == 0 || src.height == 0) return true;
    const std::vector<int> weights(k.begin(), k.end());
    Passes<true>(src, dst, Padded(weights, weights), border);
    return true;
}

bool IntegerBytesWide(SPlane<const uint8_t> src, SPlane<float> dst, const std::vector<int>& kx,
                      const std::vector<int>& ky, EnBorder border) {
    const int64_t across = AbsoluteSum(ky), along = AbsoluteSum(kx);
    if (!HasAvx2() || ky.size() > 64 || 255 * across > 32767 || 255 * across * along >= (1 << 24))
        return false;
    CheckSameSize(src, dst, "Filters::Sobel");
    if (src.width == 0 || src.height == 0) return true;
    Passes<false>(src, dst, Padded(ky, kx), border);
    return true;
}

}  // namespace ORVA::Filters::Detail
