#pragma once

// Linear normalization of grey values, all in 32-bit float: an input range, measured as the
// average of the extremes of tiles or given, is clipped to and mapped onto an output range.
// Pre-clipping is applied as each sample is read, so no working copy of the image is needed.
// The loops are also built for AVX2, which computes every lane exactly as the baseline does.
#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "image/Geometry.h"
#include "support/PixelCast.h"

namespace ORVA::Normalization {

// Upper bound first, then lower bound: with lo > hi every value ends as lo; NaN stays.
inline float Clip(float v, float lo, float hi) {
    v = v > hi ? hi : v;
    return lo > v ? lo : v;
}

struct SRange {
    float lo, hi;
};

template <bool PreClip, class T>
inline float Sample(T value, SRange clip) {
    float v = static_cast<float>(value);
    return PreClip ? Clip(v, clip.lo, clip.hi) : v;
}

// Raises `maximum` and lowers `minimum` by the samples of one row segment; NaN never wins.
// Lanes keep their own extremes so that the loop vectorises; the combined result differs from
// a sequential scan at most in the sign of a zero.
template <bool PreClip, class T>
__attribute__((target_clones("avx2", "default"))) void SegmentExtremes(const T* data,
                                                                       int64_t length, SRange clip,
                                                                       float& maximum,
                                                                       float& minimum) {
    constexpr int LANES = 16;
    int64_t i = 0;
    if (length >= LANES) {
        float high[LANES], low[LANES];
        for (int j = 0; j < LANES; ++j) {
            high[j] = maximum;
            low[j] = minimum;
        }
        for (; i + LANES <= length; i += LANES)
            for (int j = 0; j < LANES; ++j) {
                float v = Sample<PreClip>(data[i + j], clip);
                high[j] = v > high[j] ? v : high[j];
                low[j] = v < low[j] ? v : low[j];
            }
        for (int j = 0; j < LANES; ++j) {
            maximum = high[j] > maximum ? high[j] : maximum;
            minimum = low[j] < minimum ? low[j] : minimum;
        }
    }
    for (; i < length; ++i) {
        float v = Sample<PreClip>(data[i], clip);
        maximum = v > maximum ? v : maximum;
        minimum = v < minimum ? v : minimum;
    }
}

// The tiled maximum and minimum: along an axis of extent E with T tiles, tile t starts at
// t * (E / T) and the last one also takes the remainder. Each tile's extremes start at -65536
// (maximum) and +65536 (minimum), so empty tiles add those; the tiles' extremes are summed in
// float (z-tile outermost, x-tile innermost) and divided by the tile count.
template <bool PreClip, class T>
SRange TiledExtremes(const T* data, const CSize& size, const int64_t (&tiles)[3], SRange clip) {
    int64_t base[3], start[3], width[3];
    for (int axis = 0; axis < 3; ++axis)
        base[axis] = size[axis] / tiles[axis];
    auto tile = [&](int axis, int64_t t) {
        start[axis] = t * base[axis];
        width[axis] = base[axis] + (t == tiles[axis] - 1 ? size[axis] % tiles[axis] : 0);
    };
    float sumMax = 0.0f, sumMin = 0.0f;
    for (int64_t tz = 0; tz < tiles[2]; ++tz) {
        tile(2, tz);
        for (int64_t ty = 0; ty < tiles[1]; ++ty) {
            tile(1, ty);
            for (int64_t tx = 0; tx < tiles[0]; ++tx) {
                tile(0, tx);
                float maximum = -65536.0f, minimum = 65536.0f;
                for (int64_t z = start[2]; z < start[2] + width[2]; ++z)
                    for (int64_t y = start[1]; y < start[1] + width[1]; ++y)
                        SegmentExtremes<PreClip>(data + (z * size.y + y) * size.x + start[0],
                                                 width[0], clip, maximum, minimum);
                sumMax += maximum;
                sumMin += minimum;
            }
        }
    }
    const float count = static_cast<float>(tiles[0] * tiles[1] * tiles[2]);
    return {sumMin / count, sumMax / count};
}

// A result r as an output sample: floats keep it, bytes keep the low 8 bits of r truncated to
// 32 bits (no rounding, no saturation).
template <class O>
inline O OutputSample(float r) {
    if constexpr (std::is_same_v<O, float>)
        return r;
    else
        return static_cast<O>(TruncateToInteger<int32_t>(r));
}

// An output range of no width is widened by one on each side.
inline void WidenOutputRange(float& outMin, float& outMax) {
    if (outMin == outMax) {
        outMax += 1.0f;
        outMin -= 1.0f;
    }
}

// r = ((v - lo) * (omax - omin)) / (hi - lo) + omin of every sample clipped to [lo, hi].
template <bool PreClip, class T, class O>
__attribute__((target_clones("avx2", "default"))) void MapRange(const T* in, O* out, int64_t n,
                                                                SRange clip, SRange input,
                                                                SRange output) {
    const float lo = input.lo, hi = input.hi, omin = output.lo;
    const float scale = output.hi - output.lo;
    const float span = hi - lo;
    for (int64_t i = 0; i < n; ++i) {
        float v = Clip(Sample<PreClip>(in[i], clip), lo, hi);
        float r = ((v - lo) * scale) / span + omin;
        out[i] = OutputSample<O>(r);
    }
}

// Maps n samples from the input range onto the output range; an input range of no width gives
// every sample the output default.
template <bool PreClip, class T, class O>
void MapOrFill(const T* in, O* out, int64_t n, SRange clip, SRange input, SRange output,
               float outDefault) {
    if (input.lo == input.hi)
        std::fill(out, out + n, OutputSample<O>(outDefault));
    else
        MapRange<PreClip>(in, out, n, clip, input, output);
}

// The whole normalization of an image of `size`: pre-clipping to `clip` (with PreClip), the
// input range measured by tiles unless `fixed` gives it, then the mapping onto `output`.
template <bool PreClip, class T, class O>
void Normalize(const T* in, O* out, const CSize& size, const int64_t (&tiles)[3], SRange clip,
               const SRange* fixed, SRange output, float outDefault) {
    const SRange range = fixed ? *fixed : TiledExtremes<PreClip>(in, size, tiles, clip);
    MapOrFill<PreClip>(in, out, size.Elements(), clip, range, output, outDefault);
}

// Maps every row (`rows` rows of `width` samples) from its own minimum and maximum onto
// [outMin, outMax]; NaN takes no part in the extremes, and a row without extremes (all NaN) or
// of one value takes `outDefault`.
template <class T, class O>
void NormalizeRows(const T* in, O* out, int64_t width, int64_t rows, float outMin, float outMax,
                   float outDefault) {
    constexpr float INF = std::numeric_limits<float>::infinity();
    const SRange noClip{0.0f, 0.0f};
    for (int64_t row = 0; row < rows; ++row, in += width, out += width) {
        float maximum = -INF, minimum = INF;
        SegmentExtremes<false>(in, width, noClip, maximum, minimum);
        const SRange range = minimum <= maximum ? SRange{minimum, maximum} : SRange{0.0f, 0.0f};
        MapOrFill<false>(in, out, width, noClip, range, {outMin, outMax}, outDefault);
    }
}

}  // namespace ORVA::Normalization
