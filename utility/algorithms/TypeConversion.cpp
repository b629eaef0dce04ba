#include "algorithms/TypeConversion.h"

#include <algorithm>
#include <cstring>

#include "image/Conversion.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace ORVA::Conversion {

// RoundToByte written with vector instructions: the compiler does not vectorise the scalar
// loop (it splits it at the replacement of out-of-range values), and float to byte is the
// conversion graphs use most.
#if defined(__x86_64__)

namespace {

// The truncating conversion gives the smallest integer for NaN and out-of-range values; those
// lanes (and -2^31 itself, which rounds out of range) are set to 0 at the end.
inline __m128i RoundToByte4(const float* in) {
    const __m128 value = _mm_loadu_ps(in);
    __m128i rounded = _mm_cvttps_epi32(value);
    const __m128i invalid = _mm_cmpeq_epi32(rounded, _mm_set1_epi32(INT32_MIN));
    const __m128 fraction = _mm_sub_ps(value, _mm_cvtepi32_ps(rounded));
    // Comparisons give -1 in the lanes where they hold.
    rounded = _mm_sub_epi32(rounded, _mm_castps_si128(_mm_cmpge_ps(fraction, _mm_set1_ps(0.5f))));
    rounded = _mm_add_epi32(rounded, _mm_castps_si128(_mm_cmple_ps(fraction, _mm_set1_ps(-0.5f))));
    return _mm_andnot_si128(invalid, _mm_and_si128(rounded, _mm_set1_epi32(0xFF)));
}

__attribute__((target("avx2"))) inline __m256i RoundToByte8(const float* in) {
    const __m256 value = _mm256_loadu_ps(in);
    __m256i rounded = _mm256_cvttps_epi32(value);
    const __m256i invalid = _mm256_cmpeq_epi32(rounded, _mm256_set1_epi32(INT32_MIN));
    const __m256 fraction = _mm256_sub_ps(value, _mm256_cvtepi32_ps(rounded));
    rounded = _mm256_sub_epi32(
        rounded, _mm256_castps_si256(_mm256_cmp_ps(fraction, _mm256_set1_ps(0.5f), _CMP_GE_OQ)));
    rounded = _mm256_add_epi32(
        rounded, _mm256_castps_si256(_mm256_cmp_ps(fraction, _mm256_set1_ps(-0.5f), _CMP_LE_OQ)));
    return _mm256_andnot_si256(invalid, _mm256_and_si256(rounded, _mm256_set1_epi32(0xFF)));
}

// 16 lanes at a time: the masks of the comparisons select the lanes to correct, and the
// truncating narrowing keeps the low byte of each. The conversions are the zero-masked forms
// with every lane set: the plain ones start from an undefined vector, which GCC 12 takes for an
// uninitialised variable.
__attribute__((target("avx512f,avx512bw"))) inline __m128i RoundToByte16(const float* in) {
    const __m512 value = _mm512_loadu_ps(in);
    constexpr __mmask16 ALL = 0xFFFF;
    __m512i rounded = _mm512_maskz_cvttps_epi32(ALL, value);
    const __mmask16 valid = _mm512_cmpneq_epi32_mask(rounded, _mm512_set1_epi32(INT32_MIN));
    const __m512 fraction = _mm512_sub_ps(value, _mm512_maskz_cvtepi32_ps(ALL, rounded));
    const __m512i one = _mm512_set1_epi32(1);
    rounded = _mm512_mask_add_epi32(
        rounded, _mm512_cmp_ps_mask(fraction, _mm512_set1_ps(0.5f), _CMP_GE_OQ), rounded, one);
    rounded = _mm512_mask_sub_epi32(
        rounded, _mm512_cmp_ps_mask(fraction, _mm512_set1_ps(-0.5f), _CMP_LE_OQ), rounded, one);
    return _mm512_maskz_cvtepi32_epi8(valid, rounded);
}

// Results larger than this bypass the cache on their way to memory: they would not stay in it,
// and writing around it saves reading each line before it is overwritten.
constexpr int64_t STREAMING_BYTES = int64_t(1) << 20;

void Baseline(const float* in, uint8_t* out, int64_t n) {
    int64_t i = 0;
    for (; i + 16 <= n; i += 16) {
        const __m128i ab = _mm_packs_epi32(RoundToByte4(in + i), RoundToByte4(in + i + 4));
        const __m128i cd = _mm_packs_epi32(RoundToByte4(in + i + 8), RoundToByte4(in + i + 12));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), _mm_packus_epi16(ab, cd));
    }
    for (; i < n; ++i)
        out[i] = RoundToByte(in[i]);
}

// When the output streams, converts the samples before the first output address aligned to
// `alignment` one by one; returns how many it converted.
int64_t AlignForStreaming(const float* in, uint8_t* out, int64_t n, uintptr_t alignment,
                          bool stream) {
    int64_t i = 0;
    for (; stream && i < n && reinterpret_cast<uintptr_t>(out + i) % alignment != 0; ++i)
        out[i] = RoundToByte(in[i]);
    return i;
}

__attribute__((target("avx2"))) void Avx2(const float* in, uint8_t* out, int64_t n) {
    const bool stream = n >= STREAMING_BYTES;
    int64_t i = AlignForStreaming(in, out, n, 32, stream);
    for (; i + 32 <= n; i += 32) {
        // The lanes hold 0 to 255, so the saturating packs keep them; they pack within 128-bit
        // halves, which the permutation puts back in order.
        const __m256i ab = _mm256_packs_epi32(RoundToByte8(in + i), RoundToByte8(in + i + 8));
        const __m256i cd = _mm256_packs_epi32(RoundToByte8(in + i + 16), RoundToByte8(in + i + 24));
        const __m256i bytes = _mm256_permutevar8x32_epi32(
            _mm256_packus_epi16(ab, cd), _mm256_setr_epi32(0, 4, 1, 5, 2, 6, 3, 7));
        if (stream)
            _mm256_stream_si256(reinterpret_cast<__m256i*>(out + i), bytes);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out + i), bytes);
    }
    if (stream) _mm_sfence();
    Baseline(in + i, out + i, n - i);
}

__attribute__((target("avx512f,avx512bw"))) void Avx512(const float* in, uint8_t* out, int64_t n) {
    const bool stream = n >= STREAMING_BYTES;
    int64_t i = AlignForStreaming(in, out, n, 16, stream);
    // Asking for the input 4 KiB ahead keeps more of it on its way than the hardware's own
    // prefetching does; a few percent on large images. Beyond the end it is ignored.
    constexpr int64_t AHEAD = 1024;
    for (; i + 16 <= n; i += 16) {
        _mm_prefetch(reinterpret_cast<const char*>(in + i + AHEAD), _MM_HINT_T0);
        const __m128i bytes = RoundToByte16(in + i);
        if (stream)
            _mm_stream_si128(reinterpret_cast<__m128i*>(out + i), bytes);
        else
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + i), bytes);
    }
    if (stream) _mm_sfence();
    Baseline(in + i, out + i, n - i);
}

}  // namespace

void FloatToByte(const float* in, uint8_t* out, int64_t n, int widest) {
    static const int available = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx512bw") ? 2 : __builtin_cpu_supports("avx2") ? 1 : 0;
    }();
    switch (std::min(widest, available)) {
        case 2:
            return Avx512(in, out, n);
        case 1:
            return Avx2(in, out, n);
        default:
            return Baseline(in, out, n);
    }
}

#else

void FloatToByte(const float* in, uint8_t* out, int64_t n, int) {
    for (int64_t i = 0; i < n; ++i)
        out[i] = RoundToByte(in[i]);
}

#endif

void FloatToByte(const float* in, uint8_t* out, int64_t n) {
    FloatToByte(in, out, n, 2);
}

namespace {

using Id = IImage::CType::EnId;

template <class T>
const T* In(const CImage& image) {
    return reinterpret_cast<const T*>(image.Bytes());
}

template <class T>
T* Out(CImage& image) {
    return reinterpret_cast<T*>(image.Bytes());
}

// Channel c of a planar byte image.
const uint8_t* Plane(const CImage& image, int c) {
    return image.Bytes() + c * image.Pixels();
}

bool ToGreyF(const CImage& in, CImage& out, bool swap) {
    const int64_t n = in.Pixels();
    float* to = Out<float>(out);
    switch (in.Type().Id()) {
        case Id::GREY_8:
            CImageConversion::FastConvert(out, in, true);
            return true;
        case Id::GREY_16:
            Grey16ToFloat(in.Bytes(), to, n, swap);
            return true;
        case Id::GREY_32:
            Cast(In<uint32_t>(in), to, n);
            return true;
        case Id::GREY_64:
            Cast(In<uint64_t>(in), to, n);
            return true;
        case Id::BINARY_FG:
            Cast(In<uint8_t>(in), to, n);
            return true;
        case Id::BINARY_BG:
            NonZero(In<uint8_t>(in), to, n);
            return true;
        case Id::RGB_8:
            MeanOfChannels<float, 1>(Plane(in, 0), Plane(in, 1), Plane(in, 2), to, n);
            return true;
        case Id::RGB_8I:
            MeanOfChannels<float, 3>(in.Bytes(), in.Bytes() + 1, in.Bytes() + 2, to, n);
            return true;
        default:
            return false;
    }
}

bool ToGrey8(const CImage& in, CImage& out) {
    const int64_t n = in.Pixels();
    uint8_t* to = out.Bytes();
    switch (in.Type().Id()) {
        case Id::BINARY_FG:
            std::memcpy(to, in.Bytes(), static_cast<size_t>(n));
            return true;
        case Id::BINARY_BG:
            NonZero(In<uint8_t>(in), to, n);
            return true;
        case Id::RGB_8I:
            MeanOfChannels<uint8_t, 3>(in.Bytes(), in.Bytes() + 1, in.Bytes() + 2, to, n);
            return true;
        case Id::RGB_8:
            MeanOfChannels<uint8_t, 1>(Plane(in, 0), Plane(in, 1), Plane(in, 2), to, n);
            return true;
        case Id::GREY_F:
            FloatToByte(In<float>(in), to, n);
            return true;
        case Id::GREY_64:
            Cast(In<uint64_t>(in), to, n);  // the low byte
            return true;
        default:
            return false;
    }
}

bool ToBinaryFg(const CImage& in, CImage& out) {
    const int64_t n = in.Pixels();
    switch (in.Type().Id()) {
        case Id::GREY_8:
        case Id::BINARY_BG:
            NonZero(In<uint8_t>(in), out.Bytes(), n);
            return true;
        case Id::GREY_F:
            NonZero(In<float>(in), out.Bytes(), n);
            return true;
        default:
            return false;
    }
}

bool ToRgb8(const CImage& in, CImage& out) {
    const size_t n = static_cast<size_t>(in.Pixels());
    switch (in.Type().Id()) {
        case Id::GREY_8:
            for (int c = 0; c < 3; ++c)
                std::memcpy(out.Bytes() + c * n, in.Bytes(), n);
            return true;
        case Id::GREY_F: {
            CImage grey(IMAGE_GREY_8, in.Size(), CSize(0, 0, 0), CImage::NoInit{});
            CImageConversion::FastConvert(grey, in, true);
            CImageConversion::FastConvert(out, grey, true);
            return true;
        }
        case Id::RGB_8I:
            CImageConversion::FastConvert(out, in, true);
            return true;
        default:
            return false;
    }
}

bool ToRgb8i(const CImage& in, CImage& out) {
    if (in.Type() == IMAGE_RGB_FI)
        FloatToByte(In<float>(in), out.Bytes(), in.Samples());
    else
        CImageConversion::FastConvert(out, in, true);
    return true;
}

bool ToRgbFi(const CImage& in, CImage& out) {
    float* to = Out<float>(out);
    switch (in.Type().Id()) {
        case Id::RGB_8I:
            Cast(In<uint8_t>(in), to, in.Samples());
            return true;
        case Id::RGB_8: {
            CDefaultAccess access(in);
            const int64_t n = in.Size().Elements();
            for (int c = 0; c < 3; ++c) {
                const uint8_t* channel = access.Ptr() + access.ChannelOffset(c);
                for (int64_t i = 0; i < n; ++i)
                    to[3 * i + c] = static_cast<float>(channel[i]);
            }
            return true;
        }
        default:
            return false;
    }
}

}  // namespace

bool ConvertPixels(const CImage& input, CImage& result, bool swapBytes) {
    switch (result.Type().Id()) {
        case Id::GREY_F:
            return ToGreyF(input, result, swapBytes);
        case Id::GREY_8:
            return ToGrey8(input, result);
        case Id::BINARY_FG:
            return ToBinaryFg(input, result);
        case Id::RGB_8:
            return ToRgb8(input, result);
        case Id::RGB_8I:
            return ToRgb8i(input, result);
        case Id::RGB_FI:
            return ToRgbFi(input, result);
        default:
            return false;
    }
}

}  // namespace ORVA::Conversion
