#pragma once

// Derivatives and edges.
//
// Sobel(dx, dy, ksize): OpenCV's cv::Sobel into a floating output: the separable kernels of
// getDerivKernels (ksize 1: no smoothing across, [-1 0 1] or [1 -2 1] along; 3: smoothing
// [1 2 1]; 5 and 7: the binomial rows and their differences), horizontal pass first, taps added
// left to right in the output's type. Scharr: [-1 0 1] along and [3 10 3] across.
// Integer inputs are exact (bit-exact with OpenCV); float inputs differ from OpenCV's fused
// vector code in the last bits.
// Magnitude sqrt(dx^2 + dy^2); Direction atan2(dy, dx) in degrees, in [0, 360) (exact, where
// OpenCV's cv::phase approximates to 0.3 degrees).
// Laplacian(ksize): ksize 1 is the 3 x 3 cross [0 1 0; 1 -4 1; 0 1 0], 3 the kernel
// [2 0 2; 0 -8 0; 2 0 2] (both by Convolve, as OpenCV's filter2D); larger odd sizes add the
// second Sobel derivatives in x and y.
//
// Canny(low, high, l2): OpenCV's cv::Canny with aperture 3.
// - Gradients by the 3 x 3 Sobel with replicated borders, in int (bytes, 16-bit in 64 bits);
//   floating and 32/64-bit samples in double.
// - Magnitude |dx| + |dy|, or dx^2 + dy^2 with `l2` (then the thresholds, each at most 32767,
//   are squared). Integer magnitudes compare with floor(threshold); low > high are swapped.
// - Non-maximum suppression with tan(22.5) = 13573 / 2^15: a pixel whose magnitude m > low
//   is kept when it is greater than its neighbour before and at least its neighbour after
//   along the gradient (x when |dy| 2^15 < 13573 |dx|, y when above tan 67.5, else the diagonal
//   of the gradient's sign, strictly greater on both sides); neighbours outside count as 0.
// - Kept pixels with m > high are edges; kept pixels with m <= high become edges when
//   8-connected to an edge. Output: 255 on edges, 0 elsewhere.
#include <cmath>
#include <vector>

#include "BytePasses.h"
#include "Convolve.h"
#include "Separable.h"

namespace ORVA::Filters {

// The derivative kernel of `order` with `ksize` taps (1, 3, 5, 7), as OpenCV's getDerivKernels.
std::vector<int> DerivativeKernel(int order, int ksize);

namespace Detail {

template <class W>
struct STaps {
    std::vector<int64_t> offset;
    std::vector<W> weight;
};

template <class W>
STaps<W> NonZero(const std::vector<int>& k) {
    STaps<W> t;
    for (size_t i = 0; i < k.size(); ++i)
        if (k[i] != 0) {
            t.offset.push_back(int64_t(i));
            t.weight.push_back(W(k[i]));
        }
    return t;
}

// out[x] = k[0] in[0][x] + k[1] in[1][x] + ..., added left to right in W: one pass over N
// rows, vectorised.
template <int N, class W, class S>
ORVA_FILTERS_CLONES void WeighRows(const S* const* in, const W* k, W* __restrict out, int64_t w) {
    const S* p[N];
    W c[N];
    for (int i = 0; i < N; ++i)
        p[i] = in[i], c[i] = k[i];
    for (int64_t x = 0; x < w; ++x) {
        W v = c[0] * static_cast<W>(p[0][x]);
        for (int i = 1; i < N; ++i)
            v += c[i] * static_cast<W>(p[i][x]);
        out[x] = v;
    }
}

// WeighRows for any number of rows: one pass for up to 8 (Sobel's kernels have up to 7), a
// pass per tap, in the same order, for the long kernels of the Laplacian.
template <class W, class S>
void Weigh(const S* const* in, const W* k, size_t n, W* out, int64_t w) {
    if (WithCount(static_cast<int64_t>(n), [&]<int N>() { WeighRows<N>(in, k, out, w); })) return;
    for (int64_t x = 0; x < w; ++x)
        out[x] = k[0] * static_cast<W>(in[0][x]);
    for (size_t i = 1; i < n; ++i)
        for (int64_t x = 0; x < w; ++x)
            out[x] += k[i] * static_cast<W>(in[i][x]);
}

// Separable filtering with two integer kernels into a floating output.
template <class T, class O>
void SeparableInteger(SPlane<const T> src, SPlane<O> dst, const std::vector<int>& kx,
                      const std::vector<int>& ky, EnBorder border) {
    static_assert(std::is_floating_point_v<O>);
    if constexpr (std::is_same_v<T, uint8_t> && std::is_same_v<O, float>)
        if (IntegerBytesWide(src, dst, kx, ky, border)) return;
    const auto hx = NonZero<O>(kx), hy = NonZero<O>(ky);
    const int64_t rx = int64_t(kx.size() / 2), ry = int64_t(ky.size() / 2);
    std::vector<const T*> shifted(hx.offset.size());
    std::vector<const O*> picked(hy.offset.size());
    Separable<T, O>(
        src, dst, SWindow{rx, rx, ry, ry}, border, T(0),
        [&](const T* e, O* out, int64_t w) {
            for (size_t i = 0; i < shifted.size(); ++i)
                shifted[i] = e + hx.offset[i];
            Weigh(shifted.data(), hx.weight.data(), shifted.size(), out, w);
        },
        [&](const O* const* rows, O* out, int64_t w) {
            for (size_t i = 0; i < picked.size(); ++i)
                picked[i] = rows[hy.offset[i]];
            Weigh(picked.data(), hy.weight.data(), picked.size(), out, w);
        },
        Streams(dst));
}

}  // namespace Detail

// ksize -1 is Scharr (one first derivative).
template <class T, class O>
void Sobel(SPlane<const T> src, SPlane<O> dst, int dx, int dy, int ksize = 3,
           EnBorder border = EnBorder::REFLECT_101) {
    if (dx < 0 || dy < 0 || dx + dy == 0)
        throw CException("Filters::Sobel", "the derivative orders must be >= 0, one of them > 0");
    std::vector<int> kx, ky;
    if (ksize == -1) {
        if (dx + dy != 1) throw CException("Filters::Sobel", "Scharr takes one first derivative");
        kx = dx ? std::vector<int>{-1, 0, 1} : std::vector<int>{3, 10, 3};
        ky = dy ? std::vector<int>{-1, 0, 1} : std::vector<int>{3, 10, 3};
    } else {
        if (ksize != 1 && ksize != 3 && ksize != 5 && ksize != 7)
            throw CException("Filters::Sobel", "the aperture must be 1, 3, 5 or 7");
        kx = DerivativeKernel(dx, ksize == 1 && dx > 0 ? 3 : ksize);
        ky = DerivativeKernel(dy, ksize == 1 && dy > 0 ? 3 : ksize);
    }
    Detail::SeparableInteger(src, dst, kx, ky, border);
}

template <class T, class O>
void Laplacian(SPlane<const T> src, SPlane<O> dst, int ksize = 1,
               EnBorder border = EnBorder::REFLECT_101) {
    if (ksize == 1 || ksize == 3) {
        static const float cross[9] = {0, 1, 0, 1, -4, 1, 0, 1, 0};
        static const float corners[9] = {2, 0, 2, 0, -8, 0, 2, 0, 2};
        Convolve(src, dst, SPlane<const float>{ksize == 1 ? cross : corners, 3, 3, 3}, border);
        return;
    }
    if (ksize % 2 == 0 || ksize < 1 || ksize > 31)
        throw CException("Filters::Laplacian", "the aperture must be odd, at most 31");
    std::vector<O> yy(static_cast<size_t>(src.width * src.height));
    Detail::SeparableInteger(src, dst, DerivativeKernel(2, ksize), DerivativeKernel(0, ksize),
                             border);
    Detail::SeparableInteger(src, Plane(yy.data(), src.width, src.height),
                             DerivativeKernel(0, ksize), DerivativeKernel(2, ksize), border);
    for (int64_t y = 0; y < dst.height; ++y) {
        O* out = dst.Row(y);
        const O* add = yy.data() + y * src.width;
        for (int64_t x = 0; x < dst.width; ++x)
            out[x] += add[x];
    }
}

template <class O>
void Magnitude(SPlane<const O> dx, SPlane<const O> dy, SPlane<O> dst) {
    CheckSameSize(dx, dy, "Filters::Magnitude");
    CheckSameSize(dx, dst, "Filters::Magnitude");
    for (int64_t y = 0; y < dst.height; ++y) {
        const O *a = dx.Row(y), *b = dy.Row(y);
        O* out = dst.Row(y);
        for (int64_t x = 0; x < dst.width; ++x)
            out[x] = std::sqrt(a[x] * a[x] + b[x] * b[x]);
    }
}

template <class O>
void Direction(SPlane<const O> dx, SPlane<const O> dy, SPlane<O> dst) {
    CheckSameSize(dx, dy, "Filters::Direction");
    CheckSameSize(dx, dst, "Filters::Direction");
    for (int64_t y = 0; y < dst.height; ++y) {
        const O *a = dx.Row(y), *b = dy.Row(y);
        O* out = dst.Row(y);
        for (int64_t x = 0; x < dst.width; ++x) {
            double angle = std::atan2(static_cast<double>(b[x]), static_cast<double>(a[x])) *
                           (180.0 / 3.14159265358979323846);
            if (angle < 0) angle += 360.0;
            O r = static_cast<O>(angle);
            out[x] = r >= O(360) ? O(0) : r;
        }
    }
}

namespace Detail {

template <class T>
using CannyGradient =
    std::conditional_t<std::is_same_v<T, uint8_t>, int32_t,
                       std::conditional_t<std::is_same_v<T, uint16_t>, int64_t, double>>;

// dx, dy and the magnitude of row y (3 x 3 Sobel, replicated borders).
template <class T, class G>
void CannyRow(SPlane<const T> src, int64_t y, bool l2, G* dx, G* dy, G* mag) {
    const int64_t w = src.width, h = src.height;
    const T* p = src.Row(y > 0 ? y - 1 : 0);
    const T* c = src.Row(y);
    const T* n = src.Row(y + 1 < h ? y + 1 : h - 1);
    for (int64_t x = 0; x < w; ++x) {
        const int64_t l = x > 0 ? x - 1 : 0, r = x + 1 < w ? x + 1 : w - 1;
        G gx = (G(p[r]) - G(p[l])) + G(2) * (G(c[r]) - G(c[l])) + (G(n[r]) - G(n[l]));
        G gy = (G(n[l]) + G(2) * G(n[x]) + G(n[r])) - (G(p[l]) + G(2) * G(p[x]) + G(p[r]));
        dx[x] = gx;
        dy[x] = gy;
        mag[x] = l2 ? gx * gx + gy * gy : (gx < 0 ? -gx : gx) + (gy < 0 ? -gy : gy);
    }
}

}  // namespace Detail

template <class T>
void Canny(SPlane<const T> src, SPlane<uint8_t> dst, double low, double high, bool l2 = false) {
    CheckSameSize(src, dst, "Filters::Canny");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    using G = Detail::CannyGradient<T>;
    if (low > high) std::swap(low, high);
    if (l2) {
        low = std::min(32767.0, low);
        high = std::min(32767.0, high);
        if (low > 0) low *= low;
        if (high > 0) high *= high;
    }
    G lo, hi;
    if constexpr (std::is_integral_v<G>) {
        lo = static_cast<G>(std::floor(std::max(low, -1e18)));
        hi = static_cast<G>(std::floor(std::max(high, -1e18)));
    } else {
        lo = low;
        hi = high;
    }
    // Magnitudes of three rows with a zero sample on each side, and dx, dy of the middle one.
    const int64_t mw = w + 2;
    std::vector<G> mags(static_cast<size_t>(3 * mw), G(0)), zero(static_cast<size_t>(mw), G(0));
    std::vector<G> gx(static_cast<size_t>(3 * w)), gy(static_cast<size_t>(3 * w));
    // Map with a frame: 0 candidate, 1 not an edge, 2 edge.
    std::vector<uint8_t> map(static_cast<size_t>((w + 2) * (h + 2)), 1);
    std::vector<uint8_t*> stack;
    auto mapAt = [&](int64_t x, int64_t y) { return &map[size_t((y + 1) * (w + 2) + x + 1)]; };
    auto slot = [&](int64_t r) { return r % 3; };
    Detail::CannyRow(src, 0, l2, gx.data(), gy.data(), mags.data() + 1);
    for (int64_t y = 0; y < h; ++y) {
        if (y + 1 < h) {
            const int64_t s = slot(y + 1);
            Detail::CannyRow(src, y + 1, l2, gx.data() + s * w, gy.data() + s * w,
                             mags.data() + s * mw + 1);
        }
        const G* prev = y > 0 ? mags.data() + slot(y - 1) * mw + 1 : zero.data() + 1;
        const G* cur = mags.data() + slot(y) * mw + 1;
        const G* next = y + 1 < h ? mags.data() + slot(y + 1) * mw + 1 : zero.data() + 1;
        const G* dxr = gx.data() + slot(y) * w;
        const G* dyr = gy.data() + slot(y) * w;
        uint8_t* m = mapAt(0, y);
        for (int64_t x = 0; x < w; ++x) {
            const G v = cur[x];
            bool keep = false;
            if (v > lo) {
                const G xs = dxr[x], ys = dyr[x];
                const G ax = xs < 0 ? -xs : xs, ay = ys < 0 ? -ys : ys;
                G yy, tg22x, tg67x;
                if constexpr (std::is_integral_v<G>) {
                    yy = ay << 15;
                    tg22x = ax * 13573;
                    tg67x = tg22x + (ax << 16);
                } else {
                    yy = ay * 32768.0;
                    tg22x = ax * 13573.0;
                    tg67x = tg22x + ax * 65536.0;
                }
                if (yy < tg22x) {
                    keep = v > cur[x - 1] && v >= cur[x + 1];
                } else if (yy > tg67x) {
                    keep = v > prev[x] && v >= next[x];
                } else {
                    const int64_t s = (xs < 0) != (ys < 0) ? -1 : 1;
                    keep = v > prev[x - s] && v > next[x + s];
                }
            }
            if (!keep) {
                m[x] = 1;
            } else if (v > hi) {
                m[x] = 2;
                stack.push_back(m + x);
            } else {
                m[x] = 0;
            }
        }
    }
    const int64_t step = w + 2;
    const int64_t around[8] = {-step - 1, -step, -step + 1, -1, 1, step - 1, step, step + 1};
    while (!stack.empty()) {
        uint8_t* p = stack.back();
        stack.pop_back();
        for (int64_t d : around)
            if (p[d] == 0) {
                p[d] = 2;
                stack.push_back(p + d);
            }
    }
    for (int64_t y = 0; y < h; ++y) {
        const uint8_t* m = mapAt(0, y);
        uint8_t* out = dst.Row(y);
        for (int64_t x = 0; x < w; ++x)
            out[x] = m[x] == 2 ? 255 : 0;
    }
}

}  // namespace ORVA::Filters
