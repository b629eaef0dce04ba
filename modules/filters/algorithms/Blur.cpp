#include "Blur.h"

#include <cmath>
#include <cstring>

namespace ORVA::Filters {

int GaussianSize(double sigma, bool bytes) {
    if (!(sigma > 0) || sigma > 1e5)
        throw CException("Filters::GaussianBlur", "sigma must be positive (or a size given)");
    return static_cast<int>(RoundEven(sigma * (bytes ? 3 : 4) * 2 + 1)) | 1;
}

std::vector<double> GaussianKernel(int n, double sigma) {
    if (n < 1 || n % 2 == 0)
        throw CException("Filters::GaussianKernel", "the kernel size must be odd and positive");
    if (sigma <= 0) {
        switch (n) {
            case 1:
                return {1.0};
            case 3:
                return {0.25, 0.5, 0.25};
            case 5:
                return {0.0625, 0.25, 0.375, 0.25, 0.0625};
            case 7:
                return {0.03125, 0.109375, 0.21875, 0.28125, 0.21875, 0.109375, 0.03125};
            case 9:
                return {0.015625,  0.05078125, 0.1171875,  0.1953125, 0.2421875,
                        0.1953125, 0.1171875,  0.05078125, 0.015625};
            default:
                sigma = std::fma(static_cast<double>(n), 0.15, 0.35);
        }
    }
    const double scale = -0.125 / (sigma * sigma);
    const int half = (n - 1) / 2;
    std::vector<double> values(static_cast<size_t>(half));
    double sum = 0;
    for (int i = 0, x = 1 - n; i < half; ++i, x += 2) {
        values[size_t(i)] = std::exp(static_cast<double>(x * x) * scale);
        sum += values[size_t(i)];
    }
    sum *= 2;
    sum += 1.0;
    const double inverse = 1.0 / sum;
    std::vector<double> k(static_cast<size_t>(n));
    for (int i = 0; i < half; ++i)
        k[size_t(i)] = k[size_t(n - 1 - i)] = values[size_t(i)] * inverse;
    k[size_t(half)] = 1.0 * inverse;
    return k;
}

std::vector<uint16_t> GaussianKernelFixed(int n, double sigma) {
    const std::vector<double> k = GaussianKernel(n, sigma);
    std::vector<uint16_t> fixed(static_cast<size_t>(n));
    const int half = n / 2;
    double error = 0;
    int64_t sum = 0;
    for (int i = 0; i < half; ++i) {
        double adjusted = k[size_t(i)] * 256.0 + error;
        int64_t v = RoundEven(adjusted);
        error = adjusted - static_cast<double>(v);
        fixed[size_t(i)] = fixed[size_t(n - 1 - i)] = static_cast<uint16_t>(v);
        sum += v;
    }
    fixed[size_t(half)] = static_cast<uint16_t>(256 - 2 * sum);
    return fixed;
}

namespace Detail {

// The vector helpers below are always inlined; their by-value vectors never cross a call.
#pragma GCC diagnostic ignored "-Wpsabi"

namespace {

// Vectors of the compiler's own (one register with AVX-512, two with AVX2, four in the
// baseline, as the clones are built); loads and stores through memcpy, so no alignment is
// assumed.
using F16 = float __attribute__((vector_size(64)));

template <class V, class T>
[[gnu::always_inline]] inline V Load(const T* p) {
    V v;
    std::memcpy(&v, p, sizeof(V));
    return v;
}
template <class V, class T>
[[gnu::always_inline]] inline void Store(T* p, V v) {
    std::memcpy(p, &v, sizeof(V));
}

}  // namespace

ORVA_FILTERS_CLONES void GaussRowBytes(const uint8_t* e, uint16_t* out, int64_t w,
                                       const uint16_t* k, int r) {
    const uint16_t centre = k[r];
    for (int64_t x = 0; x < w; ++x)
        out[x] = static_cast<uint16_t>(centre * e[x + r]);
    // Sums stay below 2^16: the weights sum to 256 and samples are at most 255.
    for (int i = 0; i < r; ++i) {
        const uint16_t ki = k[i];
        const uint8_t* a = e + i;
        const uint8_t* b = e + 2 * r - i;
        for (int64_t x = 0; x < w; ++x)
            out[x] = static_cast<uint16_t>(out[x] + ki * static_cast<uint16_t>(a[x] + b[x]));
    }
}

ORVA_FILTERS_CLONES void GaussColumnBytes(const uint16_t* const* rows, uint8_t* out, int64_t w,
                                          const uint16_t* k, int r, uint32_t* acc) {
    const uint32_t centre = k[r];
    const uint16_t* c = rows[r];
    for (int64_t x = 0; x < w; ++x)
        acc[x] = centre * c[x];
    for (int i = 0; i < r; ++i) {
        const uint32_t ki = k[i];
        const uint16_t* a = rows[i];
        const uint16_t* b = rows[2 * r - i];
        for (int64_t x = 0; x < w; ++x)
            acc[x] += ki * (static_cast<uint32_t>(a[x]) + b[x]);
    }
    for (int64_t x = 0; x < w; ++x)
        out[x] = static_cast<uint8_t>((acc[x] + (1u << 15)) >> 16);
}

// The float passes keep J vectors of outputs in registers while they add every tap, in the
// order of the plain loop that finishes the row, so both give the same sums. Four vectors
// hide the adder's latency; one finishes what is left of the row.
template <int J>
[[gnu::always_inline]] inline void GaussRowBlock(const float* e, float* out, const float* k,
                                                 int n) {
    F16 a[J];
    for (int j = 0; j < J; ++j)
        a[j] = k[0] * Load<F16>(e + 16 * j);
    for (int i = 1; i < n; ++i) {
        const float ki = k[i];
        for (int j = 0; j < J; ++j)
            a[j] += ki * Load<F16>(e + i + 16 * j);
    }
    for (int j = 0; j < J; ++j)
        Store(out + 16 * j, a[j]);
}

ORVA_FILTERS_WIDE_CLONES void GaussRowFloat(const float* e, float* out, int64_t w, const float* k,
                                            int n) {
    int64_t x = 0;
    for (; x + 64 <= w; x += 64)
        GaussRowBlock<4>(e + x, out + x, k, n);
    for (; x + 16 <= w; x += 16)
        GaussRowBlock<1>(e + x, out + x, k, n);
    for (; x < w; ++x) {
        float v = k[0] * e[x];
        for (int i = 1; i < n; ++i)
            v += k[i] * e[x + i];
        out[x] = v;
    }
}

template <int J>
[[gnu::always_inline]] inline void GaussColumnBlock(const float* const* rows, int64_t x, float* out,
                                                    const float* k, int r) {
    F16 a[J];
    for (int j = 0; j < J; ++j)
        a[j] = k[r] * Load<F16>(rows[r] + x + 16 * j) + 0.0f;
    for (int i = 1; i <= r; ++i) {
        const float ki = k[r + i];
        const float* p = rows[r + i] + x;
        const float* q = rows[r - i] + x;
        for (int j = 0; j < J; ++j)
            a[j] += ki * (Load<F16>(p + 16 * j) + Load<F16>(q + 16 * j));
    }
    for (int j = 0; j < J; ++j)
        Store(out + x + 16 * j, a[j]);
}

// Each block of columns of up to GAUSS_GROUP output rows in turn, row g from rows[g].
ORVA_FILTERS_WIDE_CLONES void GaussColumnFloat(const float* const* rows, float* const* outs,
                                               int64_t count, int64_t w, const float* k, int r) {
    int64_t x = 0;
    for (; x + 64 <= w; x += 64)
        for (int64_t g = 0; g < count; ++g)
            GaussColumnBlock<4>(rows + g, x, outs[g], k, r);
    for (; x + 16 <= w; x += 16)
        for (int64_t g = 0; g < count; ++g)
            GaussColumnBlock<1>(rows + g, x, outs[g], k, r);
    for (; x < w; ++x)
        for (int64_t g = 0; g < count; ++g) {
            const float* const* at = rows + g;
            float v = k[r] * at[r][x] + 0.0f;
            for (int i = 1; i <= r; ++i)
                v += k[r + i] * (at[r + i][x] + at[r - i][x]);
            outs[g][x] = v;
        }
}

SByteDivision::SByteDivision(int64_t d) {
    double s = 65536.0 / static_cast<double>(d);
    scale = static_cast<int32_t>(std::floor(s));
    s -= scale;
    delta = static_cast<int32_t>(d / 2);
    if (s < 0.5)
        ++delta;
    else
        ++scale;
}

}  // namespace Detail

}  // namespace ORVA::Filters
