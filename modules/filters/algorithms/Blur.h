#pragma once

// Gaussian and box blurs.
//
// GaussianBlur(sigma): OpenCV's cv::GaussianBlur with ksize (0, 0).
// - Kernel size n = round(sigma * 3 * 2 + 1) | 1 for bytes, round(sigma * 4 * 2 + 1) | 1 for
//   other samples (a given odd size overrides it).
// - Kernel: k[i] = exp(-(i - (n-1)/2)^2 / (2 sigma^2)), normalised by 1 / sum, in double;
//   OpenCV's binomial tables for n = 3, 5, 7, 9 when sigma <= 0 (then sigma = 0.15 n + 0.35).
// - Bytes: the kernel in 8-bit fixed point by error diffusion (each side weight rounded half
//   to even after adding the previous rounding error, the centre takes what makes the sum 256);
//   horizontal sums in 16 bits, vertical sums in 32 bits, result (s + 2^15) >> 16. This is
//   OpenCV's bit-exact 8-bit path; OpenCV computes exp in software, we use libm, which agrees
//   unless a weight lies within an ulp of a rounding boundary.
// - Floats: kernel in float; horizontal s = k0 x0 + k1 x1 + ... in float left to right,
//   vertical kc xc + k1 (x-1 + x+1) + ... in float, as OpenCV's scalar code orders them.
//   OpenCV's vector code fuses multiply-adds where the processor has them, we never do, so
//   results differ by a few units in the last place.
// - Other samples: double kernel and sums, rounded half to even and saturated.
//
// BoxBlur(kx, ky): the mean of the kx x ky window whose anchor is (kx / 2, ky / 2), OpenCV's
// cv::blur. Bytes with kx ky <= 256 use OpenCV's 16-bit division: ((s + delta) * scale) >> 16
// with d = kx ky, scale = floor(65536 / d) and delta = d / 2, the fraction of 65536 / d going to
// scale when >= 0.5 and to delta otherwise, saturated at 255; larger byte windows round s *
// (float)(1 / d) in float half to even. Floats sum in double and store (float)(s * (1 / d)); others
// sum exactly (double for 64-bit) and round half to even.
//
// Borders: any EnBorder (CONSTANT with the value 0); REFLECT_101 is OpenCV's default.
#include <cstdint>
#include <vector>

#include "BytePasses.h"
#include "Separable.h"

namespace ORVA::Filters {

// The kernel size for sigma as OpenCV chooses it.
int GaussianSize(double sigma, bool bytes);
// The normalised Gaussian kernel of n taps in double.
std::vector<double> GaussianKernel(int n, double sigma);
// The 8-bit fixed-point kernel (weights summing to 256).
std::vector<uint16_t> GaussianKernelFixed(int n, double sigma);

namespace Detail {

void GaussRowBytes(const uint8_t* e, uint16_t* out, int64_t w, const uint16_t* k, int r);
void GaussColumnBytes(const uint16_t* const* rows, uint8_t* out, int64_t w, const uint16_t* k,
                      int r, uint32_t* acc);
void GaussRowFloat(const float* e, float* out, int64_t w, const float* k, int n);
// Output rows made together by the float column pass: the rows they share stay in the cache.
inline constexpr int GAUSS_GROUP = 4;
void GaussColumnFloat(const float* const* rows, float* const* outs, int64_t count, int64_t w,
                      const float* k, int r);

}  // namespace Detail

// n = 0 chooses the size from sigma.
template <class T>
void GaussianBlur(SPlane<const T> src, SPlane<T> dst, double sigma, int n = 0,
                  EnBorder border = EnBorder::REFLECT_101) {
    constexpr bool BYTES = std::is_same_v<T, uint8_t>;
    if (n <= 0) n = GaussianSize(sigma, BYTES);
    if (n % 2 == 0 || n > (1 << 20))
        throw CException("Filters::GaussianBlur", "the kernel size must be odd and positive");
    const int r = n / 2;
    const SWindow window{r, r, r, r};
    if constexpr (BYTES) {
        const std::vector<uint16_t> k = GaussianKernelFixed(n, sigma);
        if (Detail::GaussianBytesWide(src, dst, k, border)) return;
        std::vector<uint32_t> acc(static_cast<size_t>(src.width));
        Separable<T, uint16_t>(
            src, dst, window, border, T(0),
            [&](const T* e, uint16_t* out, int64_t w) {
                Detail::GaussRowBytes(e, out, w, k.data(), r);
            },
            [&](const uint16_t* const* rows, T* out, int64_t w) {
                Detail::GaussColumnBytes(rows, out, w, k.data(), r, acc.data());
            });
    } else if constexpr (std::is_same_v<T, float>) {
        const std::vector<double> kd = GaussianKernel(n, sigma);
        const std::vector<float> k(kd.begin(), kd.end());
        Separable<T, float, Detail::GAUSS_GROUP>(
            src, dst, window, border, T(0),
            [&](const T* e, float* out, int64_t w) {
                Detail::GaussRowFloat(e, out, w, k.data(), n);
            },
            [&](const float* const* rows, T* const* outs, int64_t count, int64_t w) {
                Detail::GaussColumnFloat(rows, outs, count, w, k.data(), r);
            });
    } else {
        const std::vector<double> k = GaussianKernel(n, sigma);
        Separable<T, double>(
            src, dst, window, border, T(0),
            [&](const T* e, double* out, int64_t w) {
                for (int64_t x = 0; x < w; ++x)
                    out[x] = k[0] * static_cast<double>(e[x]);
                for (int i = 1; i < n; ++i)
                    for (int64_t x = 0; x < w; ++x)
                        out[x] += k[size_t(i)] * static_cast<double>(e[x + i]);
            },
            [&](const double* const* rows, T* out, int64_t w) {
                for (int64_t x = 0; x < w; ++x) {
                    double s = k[size_t(r)] * rows[r][x];
                    for (int i = 1; i <= r; ++i)
                        s += k[size_t(r + i)] * (rows[r + i][x] + rows[r - i][x]);
                    out[x] = SaturateCast<T>(s);
                }
            });
    }
}

namespace Detail {

// OpenCV's 16-bit reciprocal of a byte window of d <= 256 samples.
struct SByteDivision {
    int32_t scale, delta;
    explicit SByteDivision(int64_t d);
};

template <class T>
using BoxSum = std::conditional_t<std::is_floating_point_v<T> || (sizeof(T) >= 8), double,
                                  std::conditional_t<(sizeof(T) == 1), int32_t, int64_t>>;

template <class S, class T>
ORVA_FILTERS_CLONES void BoxRowDirect(const T* e, S* out, int64_t w, int64_t k) {
    for (int64_t x = 0; x < w; ++x)
        out[x] = static_cast<S>(e[x]);
    for (int64_t i = 1; i < k; ++i)
        for (int64_t x = 0; x < w; ++x)
            out[x] += static_cast<S>(e[x + i]);
}

// The same for a window of K samples, summed in registers.
template <int K, class S, class T>
ORVA_FILTERS_CLONES void BoxRowFolded(const T* e, S* __restrict out, int64_t w) {
    for (int64_t x = 0; x < w; ++x) {
        S v = static_cast<S>(e[x]);
        for (int i = 1; i < K; ++i)
            v += static_cast<S>(e[x + i]);
        out[x] = v;
    }
}

template <class S, class T>
void BoxRowRunning(const T* e, S* out, int64_t w, int64_t k) {
    S s = 0;
    for (int64_t i = 0; i < k; ++i)
        s += static_cast<S>(e[i]);
    out[0] = s;
    for (int64_t x = 1; x < w; ++x) {
        s += static_cast<S>(e[x + k - 1]) - static_cast<S>(e[x - 1]);
        out[x] = s;
    }
}

template <class S>
ORVA_FILTERS_CLONES void AddRows(S* sum, const S* add, const S* remove, int64_t w) {
    for (int64_t x = 0; x < w; ++x)
        sum[x] += add[x] - remove[x];
}

}  // namespace Detail

template <class T>
void BoxBlur(SPlane<const T> src, SPlane<T> dst, int64_t kx, int64_t ky,
             EnBorder border = EnBorder::REFLECT_101) {
    CheckSameSize(src, dst, "Filters::BoxBlur");
    if (kx < 1 || ky < 1 || kx > (1 << 20) || ky > (1 << 20))
        throw CException("Filters::BoxBlur", "the window must be at least 1 x 1");
    const int64_t w = src.width, h = src.height;
    if (w == 0 || h == 0) return;
    using S = Detail::BoxSum<T>;
    const int64_t left = kx / 2, right = kx - 1 - left, top = ky / 2, bottom = ky - 1 - top;
    const int64_t slots = ky + 1;
    std::vector<T> ext(static_cast<size_t>(w + kx - 1));
    std::vector<S> ring(static_cast<size_t>(slots * w)), zero(static_cast<size_t>(w), S(0)),
        sum(static_cast<size_t>(w), S(0));
    std::vector<int64_t> held(static_cast<size_t>(slots), -1);
    auto row = [&](int64_t p) -> const S* {  // the horizontal sums of row p (outside: CONSTANT)
        const int64_t j = BorderIndex(p, h, border);
        if (j < 0) return zero.data();
        S* slot = ring.data() + (j % slots) * w;
        if (held[size_t(j % slots)] != j) {
            ExtendRow(src, j, left, right, border, T(0), ext.data());
            auto folded = [&]<int K>() { Detail::BoxRowFolded<K>(ext.data(), slot, w); };
            if (WithCount(kx, folded)) {
            } else if (kx <= 16) {
                Detail::BoxRowDirect(ext.data(), slot, w, kx);
            } else {
                Detail::BoxRowRunning(ext.data(), slot, w, kx);
            }
            held[size_t(j % slots)] = j;
        }
        return slot;
    };
    for (int64_t i = 0; i < ky; ++i)
        Detail::AddRows(sum.data(), row(i - top), zero.data(), w);
    const int64_t d = kx * ky;
    // Copies: byte stores could alias the object, which keeps its loop scalar.
    const Detail::SByteDivision division(d <= 256 ? d : 1);
    const int32_t delta = division.delta, multiplier = division.scale;
    const float scale = static_cast<float>(1.0 / static_cast<double>(d));
    const double scaleD = 1.0 / static_cast<double>(d);
    for (int64_t y = 0; y < h; ++y) {
        T* out = dst.Row(y);
        const S* s = sum.data();
        if constexpr (std::is_same_v<T, uint8_t>) {
            if (d == 1) {
                for (int64_t x = 0; x < w; ++x)
                    out[x] = static_cast<T>(s[x]);
            } else if (d <= 256) {
                for (int64_t x = 0; x < w; ++x)
                    out[x] = static_cast<T>(std::min(((s[x] + delta) * multiplier) >> 16, 255));
            } else {
                for (int64_t x = 0; x < w; ++x)
                    out[x] = SaturateCast<T>(static_cast<float>(s[x]) * scale);
            }
        } else if constexpr (std::is_same_v<T, float>) {
            for (int64_t x = 0; x < w; ++x)
                out[x] = static_cast<float>(s[x] * scaleD);
        } else {
            for (int64_t x = 0; x < w; ++x)
                out[x] = SaturateCast<T>(static_cast<double>(s[x]) * scaleD);
        }
        if (y + 1 < h) {
            const S* leaving = row(y - top);
            const S* entering = row(y + 1 + bottom);
            Detail::AddRows(sum.data(), entering, leaving, w);
        }
    }
}

}  // namespace ORVA::Filters
