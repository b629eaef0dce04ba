#include "Geometry.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace ORVA::Filters::Detail {

namespace {

void LinearTapsPlain(const uint8_t* in, const int32_t* index, const uint32_t* weights, int32_t* out,
                     int64_t begin, int64_t end) {
    for (int64_t x = begin; x < end; ++x) {
        const uint8_t* p = in + index[x];
        out[x] = p[0] * static_cast<int32_t>(weights[x] & 0xffff) +
                 p[1] * static_cast<int32_t>(weights[x] >> 16);
    }
}

#if defined(__x86_64__)
__attribute__((target("ssse3"))) void LinearTapsShuffled(const uint8_t* in, const int32_t* index,
                                                         const uint32_t* weights,
                                                         const uint8_t* shuffle, int32_t* out,
                                                         int64_t w) {
    int64_t x = 0;
    for (; x + 4 <= w; x += 4, shuffle += 16) {
        if (shuffle[0] == 0xff) {  // the group spans more than 16 bytes or ends the row
            LinearTapsPlain(in, index, weights, out, x, x + 4);
            continue;
        }
        const __m128i q = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + index[x]));
        const __m128i m = _mm_loadu_si128(reinterpret_cast<const __m128i*>(shuffle));
        const __m128i k = _mm_loadu_si128(reinterpret_cast<const __m128i*>(weights + x));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + x),
                         _mm_madd_epi16(_mm_shuffle_epi8(q, m), k));
    }
    LinearTapsPlain(in, index, weights, out, x, w);
}
#endif

void LinearColumnBytesPlain(const int32_t* r0, const int32_t* r1, int16_t b0, int16_t b1,
                            uint8_t* out, int64_t w) {
    for (int64_t x = 0; x < w; ++x) {
        const auto s0 = static_cast<int16_t>(r0[x] >> 4), s1 = static_cast<int16_t>(r1[x] >> 4);
        int32_t v = ((b0 * s0) >> 16) + ((b1 * s1) >> 16);
        v = (v + 2) >> 2;
        out[x] = static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : v));
    }
}

void HalveBytesPlain(const uint8_t* a, const uint8_t* b, uint8_t* out, int64_t begin, int64_t end) {
    for (int64_t x = begin; x < end; ++x)
        out[x] = static_cast<uint8_t>((a[2 * x] + a[2 * x + 1] + b[2 * x] + b[2 * x + 1] + 2) >> 2);
}

void HalveFloatsPlain(const float* a, const float* b, float* out, int64_t begin, int64_t end) {
    for (int64_t x = begin; x < end; ++x)
        out[x] = ((a[2 * x] + a[2 * x + 1]) + (b[2 * x] + b[2 * x + 1])) * 0.25f;
}

#if defined(__x86_64__)
// Sums of neighbour pairs of 16 samples, in the lane order of the horizontal add.
__attribute__((target("avx2"))) inline __m256 PairSums(const float* p) {
    return _mm256_hadd_ps(_mm256_loadu_ps(p), _mm256_loadu_ps(p + 8));
}

__attribute__((target("avx2"))) void HalveFloatsWide(const float* a, const float* b, float* out,
                                                     int64_t w) {
    int64_t x = 0;
    for (; x + 8 <= w; x += 8) {
        const __m256 mean = _mm256_mul_ps(_mm256_add_ps(PairSums(a + 2 * x), PairSums(b + 2 * x)),
                                          _mm256_set1_ps(0.25f));
        // The add pairs within 128-bit lanes: outputs 0-1, 4-5, 2-3, 6-7 in 64-bit steps.
        _mm256_storeu_ps(out + x,
                         _mm256_castpd_ps(_mm256_permute4x64_pd(_mm256_castps_pd(mean), 0xd8)));
    }
    HalveFloatsPlain(a, b, out, x, w);
}

// 16 rounded means from 32 samples of each row: pairs summed into 16-bit words.
__attribute__((target("avx2"))) inline __m256i HalfSums(const uint8_t* a, const uint8_t* b) {
    const __m256i ones = _mm256_set1_epi8(1);
    const __m256i p = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(a));
    const __m256i q = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(b));
    const __m256i s =
        _mm256_add_epi16(_mm256_maddubs_epi16(p, ones), _mm256_maddubs_epi16(q, ones));
    return _mm256_srli_epi16(_mm256_add_epi16(s, _mm256_set1_epi16(2)), 2);
}

__attribute__((target("avx2"))) void HalveBytesWide(const uint8_t* a, const uint8_t* b,
                                                    uint8_t* out, int64_t w) {
    int64_t x = 0;
    for (; x + 32 <= w; x += 32) {
        // The pack interleaves the 128-bit halves of its operands; the permute restores order.
        const __m256i packed = _mm256_packus_epi16(HalfSums(a + 2 * x, b + 2 * x),
                                                   HalfSums(a + 2 * x + 32, b + 2 * x + 32));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x),
                            _mm256_permute4x64_epi64(packed, 0xd8));
    }
    HalveBytesPlain(a, b, out, x, w);
}

// As LinearTapsShuffled, two groups of four taps per step, one in each 128-bit lane.
__attribute__((target("avx2"))) void LinearTapsShuffledWide(const uint8_t* in, const int32_t* index,
                                                            const uint32_t* weights,
                                                            const uint8_t* shuffle, int32_t* out,
                                                            int64_t w) {
    int64_t x = 0;
    for (; x + 8 <= w; x += 8, shuffle += 32) {
        if (shuffle[0] == 0xff || shuffle[16] == 0xff) {
            LinearTapsShuffled(in, index + x, weights + x, shuffle, out + x, 8);
            continue;
        }
        const __m256i q = _mm256_inserti128_si256(
            _mm256_castsi128_si256(
                _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + index[x]))),
            _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + index[x + 4])), 1);
        const __m256i m = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(shuffle));
        const __m256i k = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(weights + x));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + x),
                            _mm256_madd_epi16(_mm256_shuffle_epi8(q, m), k));
    }
    LinearTapsShuffled(in, index + x, weights + x, shuffle, out + x, w - x);
}

__attribute__((target("avx2"))) inline __m256i ShiftedSums(const int32_t* p) {
    return _mm256_srai_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)), 4);
}

// LinearColumnBytes 32 outputs at a time: the shifted sums packed to 16 bits, whose high
// product halves are the shifted products.
__attribute__((target("avx2"))) void LinearColumnBytesWide(const int32_t* r0, const int32_t* r1,
                                                           int16_t b0, int16_t b1, uint8_t* out,
                                                           int64_t w) {
    const __m256i k0 = _mm256_set1_epi16(b0), k1 = _mm256_set1_epi16(b1);
    const __m256i two = _mm256_set1_epi16(2);
    int64_t x = 0;
    for (; x + 32 <= w; x += 32) {
        __m256i v[2];
        for (int h = 0; h < 2; ++h) {
            const int64_t i = x + 16 * h;
            // Outputs i + (0-3, 8-11 | 4-7, 12-15): the packs interleave their lanes.
            const __m256i s0 = _mm256_packs_epi32(ShiftedSums(r0 + i), ShiftedSums(r0 + i + 8));
            const __m256i s1 = _mm256_packs_epi32(ShiftedSums(r1 + i), ShiftedSums(r1 + i + 8));
            const __m256i sum =
                _mm256_add_epi16(_mm256_mulhi_epi16(s0, k0), _mm256_mulhi_epi16(s1, k1));
            v[h] = _mm256_srai_epi16(_mm256_add_epi16(sum, two), 2);
        }
        // Four-byte groups in the order 0, 8, 16, 24, 4, 12, 20, 28.
        const __m256i packed = _mm256_packus_epi16(v[0], v[1]);
        _mm256_storeu_si256(
            reinterpret_cast<__m256i*>(out + x),
            _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7)));
    }
    LinearColumnBytesPlain(r0 + x, r1 + x, b0, b1, out + x, w - x);
}
#endif

}  // namespace

void HalveBytes(const uint8_t* a, const uint8_t* b, uint8_t* out, int64_t w) {
#if defined(__x86_64__)
    static const bool wide = __builtin_cpu_supports("avx2");
    if (wide) return HalveBytesWide(a, b, out, w);
#endif
    HalveBytesPlain(a, b, out, 0, w);
}

void HalveFloats(const float* a, const float* b, float* out, int64_t w) {
#if defined(__x86_64__)
    static const bool wide = __builtin_cpu_supports("avx2");
    if (wide) return HalveFloatsWide(a, b, out, w);
#endif
    HalveFloatsPlain(a, b, out, 0, w);
}

void LinearColumnBytes(const int32_t* r0, const int32_t* r1, int16_t b0, int16_t b1, uint8_t* out,
                       int64_t w) {
#if defined(__x86_64__)
    static const bool wide = __builtin_cpu_supports("avx2");
    if (wide) return LinearColumnBytesWide(r0, r1, b0, b1, out, w);
#endif
    LinearColumnBytesPlain(r0, r1, b0, b1, out, w);
}

CLinearRowBytes::CLinearRowBytes(std::vector<int32_t> index, std::vector<uint32_t> weights,
                                 int64_t n)
    : m_index(std::move(index)), m_weights(std::move(weights)) {
#if defined(__x86_64__)
    if (!__builtin_cpu_supports("ssse3")) return;
    const size_t groups = m_index.size() / 4;
    m_shuffle.assign(groups * 16, 0x80);  // 0x80: a zero byte
    for (size_t g = 0; g < groups; ++g) {
        const int32_t first = m_index[4 * g];
        uint8_t* mask = &m_shuffle[16 * g];
        if (m_index[4 * g + 3] + 1 - first >= 16 || first + 16 > n) {
            mask[0] = 0xff;
            continue;
        }
        // Tap j's two samples as 16-bit words 2j and 2j + 1.
        for (size_t j = 0; j < 4; ++j) {
            const auto offset = static_cast<uint8_t>(m_index[4 * g + j] - first);
            mask[4 * j] = offset;
            mask[4 * j + 2] = static_cast<uint8_t>(offset + 1);
        }
    }
#endif
}

void CLinearRowBytes::operator()(const uint8_t* in, int32_t* out) const {
    const auto w = static_cast<int64_t>(m_index.size());
#if defined(__x86_64__)
    static const bool wide = __builtin_cpu_supports("avx2");
    if (!m_shuffle.empty())
        return (wide ? LinearTapsShuffledWide : LinearTapsShuffled)(
            in, m_index.data(), m_weights.data(), m_shuffle.data(), out, w);
#endif
    LinearTapsPlain(in, m_index.data(), m_weights.data(), out, 0, w);
}

}  // namespace ORVA::Filters::Detail
