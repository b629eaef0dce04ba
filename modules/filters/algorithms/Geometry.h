#pragma once

// Crop, flips, transpose, quarter turns, padding and resizing of a plane.
//
// Resize maps output pixel (x, y) to source position ((x + 0.5) * sw / dw - 0.5, ...) as OpenCV
// does (nearest: floor(x * (1 / (dw / sw))), clamped):
// - NEAREST: that sample; equal to cv::INTER_NEAREST.
// - BILINEAR: weights 1 - f and f with f computed in float; positions left of the first or
//   right of the last sample take that sample. Bytes use OpenCV's fixed point (11-bit weights,
//   horizontal sums in int, vertical ((b0 * (S0 >> 4)) >> 16) + ((b1 * (S1 >> 4)) >> 16),
//   then (+ 2) >> 2 saturated); other integers compute in float and round half to even,
//   floats in float, doubles in double. An exact halving in both directions is the 2 x 2
//   mean instead, as OpenCV switches to: (a + b + c + d + 2) >> 2 for integers (for bytes
//   the very value of the fixed point above: weights 1024, 1024 give (a + b) + (c + d) before
//   the rounding shift), ((a + b) + (c + d)) * 0.25 for floats.
// - AREA: the mean of each source area. Whole factors k x l: integers round (sum * (1 / kl))
//   in float half to even ((sum + 2) >> 2 for 2 x 2), floats sum in float and multiply.
//   Other factors weigh each source pixel by its overlap, in double (within 1 of OpenCV).
// - BICUBIC: OpenCV's kernel with A = -0.75 (coefficients in float), source positions clamped
//   to the plane; bytes with 11-bit fixed-point weights and (sum + 2^21) >> 22 saturated,
//   others as BILINEAR (within 1 of OpenCV on integers).
#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

// Copies the rectangle (x, y, width, height) of src into dst (of that size). The rectangle
// must lie inside src.
template <class T>
void Crop(SPlane<const T> src, int64_t x, int64_t y, SPlane<T> dst) {
    CheckPlane(src, "Filters::Crop");
    CheckPlane(dst, "Filters::Crop");
    if (x < 0 || y < 0 || x > src.width - dst.width || y > src.height - dst.height)
        throw CException("Filters::Crop", "the rectangle leaves the image");
    for (int64_t r = 0; r < dst.height; ++r)
        std::memcpy(dst.Row(r), src.Row(y + r) + x, size_t(dst.width) * sizeof(T));
}

enum class EnFlip { HORIZONTAL, VERTICAL, BOTH };  // left-right, top-bottom, both

template <class T>
void Flip(SPlane<const T> src, SPlane<T> dst, EnFlip flip) {
    CheckSameSize(src, dst, "Filters::Flip");
    const bool mirror = flip != EnFlip::VERTICAL, upsideDown = flip != EnFlip::HORIZONTAL;
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(upsideDown ? src.height - 1 - y : y);
        T* out = dst.Row(y);
        if (mirror) {
            for (int64_t x = 0; x < src.width; ++x)
                out[x] = in[src.width - 1 - x];
        } else {
            std::memcpy(out, in, size_t(src.width) * sizeof(T));
        }
    }
}

namespace Detail {

// dst(x, y) = src(map(x, y)) for quarter turns and the transpose, in tiles so that both sides
// stay in cache.
template <class T, class F>
void Reorder(SPlane<const T> src, SPlane<T> dst, F map) {
    constexpr int64_t TILE = 64;
    for (int64_t ty = 0; ty < dst.height; ty += TILE)
        for (int64_t tx = 0; tx < dst.width; tx += TILE)
            for (int64_t y = ty; y < std::min(ty + TILE, dst.height); ++y) {
                T* out = dst.Row(y);
                for (int64_t x = tx; x < std::min(tx + TILE, dst.width); ++x) {
                    auto [sx, sy] = map(x, y);
                    out[x] = src.Row(sy)[sx];
                }
            }
}

template <class T>
void CheckTurned(SPlane<const T> src, SPlane<T> dst, const char* where) {
    CheckPlane(src, where);
    CheckPlane(dst, where);
    if (dst.width != src.height || dst.height != src.width)
        throw CException(where, "the output must have the input's extents swapped");
}

}  // namespace Detail

// dst(x, y) = src(y, x); dst is src.height wide.
template <class T>
void Transpose(SPlane<const T> src, SPlane<T> dst) {
    Detail::CheckTurned(src, dst, "Filters::Transpose");
    Detail::Reorder(src, dst, [](int64_t x, int64_t y) { return std::pair{y, x}; });
}

// Turns by quarter turns clockwise (any integer, negative counter-clockwise). An odd number of
// quarter turns needs dst with swapped extents.
template <class T>
void Rotate90(SPlane<const T> src, SPlane<T> dst, int quarters) {
    const int q = ((quarters % 4) + 4) % 4;
    if (q == 0) {
        CheckSameSize(src, dst, "Filters::Rotate90");
        for (int64_t y = 0; y < src.height; ++y)
            std::memcpy(dst.Row(y), src.Row(y), size_t(src.width) * sizeof(T));
    } else if (q == 2) {
        Flip(src, dst, EnFlip::BOTH);
    } else {
        Detail::CheckTurned(src, dst, "Filters::Rotate90");
        const int64_t w = src.width, h = src.height;
        if (q == 1)  // clockwise: the last source row becomes the first column
            Detail::Reorder(src, dst, [h](int64_t x, int64_t y) {
                return std::pair{y, h - 1 - x};
            });
        else
            Detail::Reorder(src, dst, [w](int64_t x, int64_t y) {
                return std::pair{w - 1 - y, x};
            });
    }
}

// dst is src with `left`, `top` samples before and the rest of dst after, filled by the border
// rule (`value` for CONSTANT).
template <class T>
void Pad(SPlane<const T> src, SPlane<T> dst, int64_t left, int64_t top, EnBorder border,
         T value = T(0)) {
    CheckPlane(src, "Filters::Pad");
    CheckPlane(dst, "Filters::Pad");
    const int64_t right = dst.width - src.width - left, bottom = dst.height - src.height - top;
    if (left < 0 || top < 0 || right < 0 || bottom < 0)
        throw CException("Filters::Pad", "the output is smaller than the input and its margins");
    if ((src.width == 0 || src.height == 0) && dst.width * dst.height > 0 &&
        border != EnBorder::CONSTANT)
        throw CException("Filters::Pad", "an empty image can only be padded with a constant");
    for (int64_t y = 0; y < dst.height; ++y) {
        int64_t sy = src.height ? BorderIndex(y - top, src.height, border) : -1;
        T* out = dst.Row(y);
        if (sy < 0 || src.width == 0)
            std::fill(out, out + dst.width, value);
        else
            ExtendRow(src, sy, left, right, border, value, out);
    }
}

enum class EnInterpolation { NEAREST, BILINEAR, AREA, BICUBIC };

namespace Detail {

struct STap {
    int64_t index;  // first source sample
    float weight[4];
};

// The vertical step of the 8-bit bilinear resize: ((b0 * (r0[x] >> 4)) >> 16) + ((b1 *
// (r1[x] >> 4)) >> 16), then (+ 2) >> 2 saturated. The shifted sums and weights fit in 16 bits.
void LinearColumnBytes(const int32_t* r0, const int32_t* r1, int16_t b0, int16_t b1, uint8_t* out,
                       int64_t w);

// Its horizontal taps: out[x] = in[index[x]] * (weights[x] & 0xffff) + in[index[x] + 1] *
// (weights[x] >> 16) on rows of n samples, with index[x] + 1 < n. Groups of four taps that fit
// in 16 samples of the row are one shuffle and multiply-add, the rest sample by sample.
class CLinearRowBytes {
  public:
    CLinearRowBytes(std::vector<int32_t> index, std::vector<uint32_t> weights, int64_t n);
    void operator()(const uint8_t* in, int32_t* out) const;

  private:
    std::vector<int32_t> m_index;
    std::vector<uint32_t> m_weights;
    std::vector<uint8_t> m_shuffle;  // per group of four: 16 byte positions, or empty
};

// Bilinear taps along one axis of n source and m output samples.
inline std::vector<STap> LinearTaps(int64_t n, int64_t m) {
    const double scale = 1.0 / (static_cast<double>(m) / static_cast<double>(n));
    std::vector<STap> taps(static_cast<size_t>(m));
    for (int64_t d = 0; d < m; ++d) {
        float f = static_cast<float>((d + 0.5) * scale - 0.5);
        int64_t s = static_cast<int64_t>(std::floor(f));
        f -= static_cast<float>(s);
        if (s < 0) f = 0, s = 0;
        if (s >= n - 1) f = 0, s = n - 1;
        taps[size_t(d)] = {s, {1.0f - f, f, 0, 0}};
    }
    return taps;
}

inline std::vector<STap> CubicTaps(int64_t n, int64_t m) {
    const double scale = 1.0 / (static_cast<double>(m) / static_cast<double>(n));
    std::vector<STap> taps(static_cast<size_t>(m));
    constexpr float A = -0.75f;
    for (int64_t d = 0; d < m; ++d) {
        float f = static_cast<float>((d + 0.5) * scale - 0.5);
        int64_t s = static_cast<int64_t>(std::floor(f));
        f -= static_cast<float>(s);
        STap& t = taps[size_t(d)];
        t.index = s - 1;
        t.weight[0] = ((A * (f + 1) - 5 * A) * (f + 1) + 8 * A) * (f + 1) - 4 * A;
        t.weight[1] = ((A + 2) * f - (A + 3)) * f * f + 1;
        t.weight[2] = ((A + 2) * (1 - f) - (A + 3)) * (1 - f) * (1 - f) + 1;
        t.weight[3] = 1.f - t.weight[0] - t.weight[1] - t.weight[2];
    }
    return taps;
}

inline int64_t Clamp(int64_t i, int64_t n) {
    return i < 0 ? 0 : (i >= n ? n - 1 : i);
}

// Two passes with `K` taps: each needed source row is filtered horizontally once into a cache
// row of working type W, then rows combine vertically.
template <int K, class T, class W, class HF, class VF>
void TwoPass(SPlane<const T> src, SPlane<T> dst, const std::vector<STap>& yt, HF horizontal,
             VF vertical) {
    std::vector<W> cache(static_cast<size_t>(K) * size_t(dst.width));
    int64_t cached[K];
    for (int k = 0; k < K; ++k)
        cached[k] = -1;
    const W* rows[K];
    for (int64_t y = 0; y < dst.height; ++y) {
        for (int k = 0; k < K; ++k) {
            int64_t sy = Clamp(yt[size_t(y)].index + k, src.height);
            W* slot = cache.data() + size_t(sy % K) * size_t(dst.width);
            if (cached[sy % K] != sy) {
                horizontal(src.Row(sy), slot);
                cached[sy % K] = sy;
            }
            rows[k] = slot;
        }
        vertical(rows, yt[size_t(y)], dst.Row(y));
    }
}

// out[x] = (a[2x] + a[2x + 1] + b[2x] + b[2x + 1] + 2) >> 2 for x < w.
void HalveBytes(const uint8_t* a, const uint8_t* b, uint8_t* out, int64_t w);
// out[x] = ((a[2x] + a[2x + 1]) + (b[2x] + b[2x + 1])) * 0.25f for x < w.
void HalveFloats(const float* a, const float* b, float* out, int64_t w);

template <class T>
void HalveByMean(SPlane<const T> src, SPlane<T> dst) {
    for (int64_t y = 0; y < dst.height; ++y) {
        const T* a = src.Row(2 * y);
        const T* b = src.Row(2 * y + 1);
        T* out = dst.Row(y);
        if constexpr (std::is_same_v<T, uint8_t>) {
            HalveBytes(a, b, out, dst.width);
            continue;
        } else if constexpr (std::is_same_v<T, float>) {
            HalveFloats(a, b, out, dst.width);
            continue;
        }
        for (int64_t x = 0; x < dst.width; ++x) {
            if constexpr (std::is_floating_point_v<T>) {
                out[x] = ((a[2 * x] + a[2 * x + 1]) + (b[2 * x] + b[2 * x + 1])) * T(0.25);
            } else {
                using S = std::conditional_t<(sizeof(T) <= 2), uint32_t, unsigned __int128>;
                S s = S(a[2 * x]) + S(a[2 * x + 1]) + S(b[2 * x]) + S(b[2 * x + 1]);
                out[x] = static_cast<T>((s + 2) >> 2);
            }
        }
    }
}

template <class T>
void ResizeNearest(SPlane<const T> src, SPlane<T> dst) {
    std::vector<int64_t> xs(static_cast<size_t>(dst.width));
    const double ifx = 1.0 / (static_cast<double>(dst.width) / static_cast<double>(src.width));
    const double ify = 1.0 / (static_cast<double>(dst.height) / static_cast<double>(src.height));
    for (int64_t x = 0; x < dst.width; ++x)
        xs[size_t(x)] = std::min(static_cast<int64_t>(std::floor(x * ifx)), src.width - 1);
    for (int64_t y = 0; y < dst.height; ++y) {
        const T* in = src.Row(std::min(static_cast<int64_t>(std::floor(y * ify)), src.height - 1));
        T* out = dst.Row(y);
        for (int64_t x = 0; x < dst.width; ++x)
            out[x] = in[xs[size_t(x)]];
    }
}

// Working type of the interpolating resizers for samples that are not bytes.
template <class T>
using Interpolated =
    std::conditional_t<(sizeof(T) <= 4 && !std::is_same_v<T, uint32_t>), float, double>;

template <class T>
void ResizeBilinear(SPlane<const T> src, SPlane<T> dst) {
    const auto xt = LinearTaps(src.width, dst.width), yt = LinearTaps(src.height, dst.height);
    const int64_t w = dst.width, last = src.width - 1;
    if constexpr (std::is_same_v<T, uint8_t>) {
        // Taps as flat arrays with both weights in one word. The last sample alone is read as
        // the pair before it with weights (0, 2048), which keeps every read inside the row; a
        // row of one sample is read from a copy with a spare byte.
        std::vector<int32_t> index(static_cast<size_t>(w));
        std::vector<uint32_t> weights(static_cast<size_t>(w));
        for (int64_t x = 0; x < w; ++x) {
            const STap& t = xt[size_t(x)];
            auto a0 = static_cast<uint16_t>(SaturateCast<int16_t>(t.weight[0] * 2048.0f));
            auto a1 = static_cast<uint16_t>(
                t.index < last ? SaturateCast<int16_t>(t.weight[1] * 2048.0f) : 0);
            int64_t i = t.index;
            if (i == last && last > 0) --i, a1 = a0, a0 = 0;
            index[size_t(x)] = static_cast<int32_t>(i);
            weights[size_t(x)] = a0 | static_cast<uint32_t>(a1) << 16;
        }
        const CLinearRowBytes row(std::move(index), std::move(weights),
                                  std::max<int64_t>(src.width, 2));
        uint8_t single[2] = {0, 0};
        auto horizontal = [&](const T* in, int32_t* out) {
            if (last == 0) single[0] = in[0], in = single;
            row(in, out);
        };
        auto vertical = [w](const int32_t* const* rows, const STap& t, T* out) {
            LinearColumnBytes(rows[0], rows[1], SaturateCast<int16_t>(t.weight[0] * 2048.0f),
                              SaturateCast<int16_t>(t.weight[1] * 2048.0f), out, w);
        };
        TwoPass<2, T, int32_t>(src, dst, yt, horizontal, vertical);
    } else {
        using W = Interpolated<T>;
        auto horizontal = [&](const T* in, W* out) {
            for (int64_t x = 0; x < w; ++x) {
                const STap& t = xt[size_t(x)];
                W v = static_cast<W>(in[t.index]) * static_cast<W>(t.weight[0]);
                if (t.index < last)
                    v += static_cast<W>(in[t.index + 1]) * static_cast<W>(t.weight[1]);
                out[x] = v;
            }
        };
        auto vertical = [&](const W* const* rows, const STap& t, T* out) {
            const W b0 = static_cast<W>(t.weight[0]), b1 = static_cast<W>(t.weight[1]);
            for (int64_t x = 0; x < w; ++x)
                out[x] = SaturateCast<T>(rows[0][x] * b0 + rows[1][x] * b1);
        };
        TwoPass<2, T, W>(src, dst, yt, horizontal, vertical);
    }
}

template <class T>
void ResizeCubic(SPlane<const T> src, SPlane<T> dst) {
    const auto xt = CubicTaps(src.width, dst.width), yt = CubicTaps(src.height, dst.height);
    const int64_t w = dst.width, n = src.width;
    constexpr bool BYTES = std::is_same_v<T, uint8_t>;
    using W = std::conditional_t<BYTES, int32_t, Interpolated<T>>;
    std::vector<int64_t> index(static_cast<size_t>(4 * w));
    std::vector<W> a(static_cast<size_t>(4 * w));
    for (int64_t x = 0; x < w; ++x)
        for (int k = 0; k < 4; ++k) {
            index[size_t(4 * x + k)] = Clamp(xt[size_t(x)].index + k, n);
            float c = xt[size_t(x)].weight[k];
            a[size_t(4 * x + k)] = BYTES ? W(SaturateCast<int16_t>(c * 2048.0f)) : W(c);
        }
    auto horizontal = [&](const T* in, W* out) {
        for (int64_t x = 0; x < w; ++x) {
            const int64_t* i = &index[size_t(4 * x)];
            const W* c = &a[size_t(4 * x)];
            out[x] =
                W(in[i[0]]) * c[0] + W(in[i[1]]) * c[1] + W(in[i[2]]) * c[2] + W(in[i[3]]) * c[3];
        }
    };
    auto vertical = [&](const W* const* rows, const STap& t, T* out) {
        W b[4];
        for (int k = 0; k < 4; ++k)
            b[k] = BYTES ? W(SaturateCast<int16_t>(t.weight[k] * 2048.0f)) : W(t.weight[k]);
        for (int64_t x = 0; x < w; ++x) {
            W s = rows[0][x] * b[0] + rows[1][x] * b[1] + rows[2][x] * b[2] + rows[3][x] * b[3];
            if constexpr (BYTES) {
                int32_t v = (s + (1 << 21)) >> 22;
                out[x] = static_cast<T>(v < 0 ? 0 : (v > 255 ? 255 : v));
            } else {
                out[x] = SaturateCast<T>(s);
            }
        }
    };
    TwoPass<4, T, W>(src, dst, yt, horizontal, vertical);
}

template <class T>
void ResizeAreaWhole(SPlane<const T> src, SPlane<T> dst, int64_t kx, int64_t ky) {
    if (kx == 2 && ky == 2) return HalveByMean(src, dst);
    using S = std::conditional_t<std::is_floating_point_v<T>, T,
                                 std::conditional_t<(sizeof(T) <= 2), int64_t, double>>;
    const float scale = static_cast<float>(1.0 / static_cast<double>(kx * ky));
    std::vector<S> sums(static_cast<size_t>(dst.width));
    for (int64_t y = 0; y < dst.height; ++y) {
        std::fill(sums.begin(), sums.end(), S(0));
        for (int64_t j = 0; j < ky; ++j) {
            const T* in = src.Row(y * ky + j);
            for (int64_t x = 0; x < dst.width; ++x)
                for (int64_t i = 0; i < kx; ++i)
                    sums[size_t(x)] += static_cast<S>(in[x * kx + i]);
        }
        T* out = dst.Row(y);
        for (int64_t x = 0; x < dst.width; ++x) {
            if constexpr (std::is_floating_point_v<T>)
                out[x] = static_cast<T>(sums[size_t(x)] * static_cast<T>(scale));
            else if constexpr (sizeof(T) <= 2)
                out[x] = SaturateCast<T>(static_cast<float>(sums[size_t(x)]) * scale);
            else
                out[x] = SaturateCast<T>(sums[size_t(x)] / static_cast<double>(kx * ky));
        }
    }
}

// Overlap of source cells with each output cell along one axis: (index, weight) lists.
inline std::vector<std::vector<std::pair<int64_t, double>>> AreaWeights(int64_t n, int64_t m) {
    std::vector<std::vector<std::pair<int64_t, double>>> w(static_cast<size_t>(m));
    const double scale = static_cast<double>(n) / static_cast<double>(m);
    for (int64_t d = 0; d < m; ++d) {
        double lo = d * scale, hi = std::min((d + 1) * scale, static_cast<double>(n));
        for (int64_t s = static_cast<int64_t>(std::floor(lo)); s < hi && s < n; ++s) {
            double part = std::min(hi, double(s + 1)) - std::max(lo, double(s));
            if (part > 0) w[size_t(d)].push_back({s, part / (hi - lo)});
        }
    }
    return w;
}

template <class T>
void ResizeAreaGeneral(SPlane<const T> src, SPlane<T> dst) {
    const auto wx = AreaWeights(src.width, dst.width), wy = AreaWeights(src.height, dst.height);
    std::vector<double> row(static_cast<size_t>(dst.width)), acc(static_cast<size_t>(dst.width));
    for (int64_t y = 0; y < dst.height; ++y) {
        std::fill(acc.begin(), acc.end(), 0.0);
        for (auto [sy, fy] : wy[size_t(y)]) {
            const T* in = src.Row(sy);
            for (int64_t x = 0; x < dst.width; ++x) {
                double s = 0;
                for (auto [sx, fx] : wx[size_t(x)])
                    s += static_cast<double>(in[sx]) * fx;
                acc[size_t(x)] += s * fy;
            }
        }
        T* out = dst.Row(y);
        for (int64_t x = 0; x < dst.width; ++x)
            out[x] = SaturateCast<T>(acc[size_t(x)]);
    }
}

}  // namespace Detail

// Resizes src into dst (its size is the target size).
template <class T>
void Resize(SPlane<const T> src, SPlane<T> dst, EnInterpolation interpolation) {
    CheckPlane(src, "Filters::Resize");
    CheckPlane(dst, "Filters::Resize");
    if (dst.width == 0 || dst.height == 0) return;
    if (src.width == 0 || src.height == 0)
        throw CException("Filters::Resize", "an empty image cannot be resized to a non-empty one");
    const bool halving = src.width == 2 * dst.width && src.height == 2 * dst.height;
    switch (interpolation) {
        case EnInterpolation::NEAREST:
            return Detail::ResizeNearest(src, dst);
        case EnInterpolation::BILINEAR:
            if (halving) return Detail::HalveByMean(src, dst);
            return Detail::ResizeBilinear(src, dst);
        case EnInterpolation::BICUBIC:
            return Detail::ResizeCubic(src, dst);
        case EnInterpolation::AREA:
            if (src.width % dst.width == 0 && src.height % dst.height == 0)
                return Detail::ResizeAreaWhole(src, dst, src.width / dst.width,
                                               src.height / dst.height);
            if (dst.width > src.width || dst.height > src.height)  // enlarging: OpenCV's rule
                return Detail::ResizeBilinear(src, dst);
            return Detail::ResizeAreaGeneral(src, dst);
    }
}

}  // namespace ORVA::Filters
