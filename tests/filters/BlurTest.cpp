#include "Blur.h"

#include <tuple>

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::Random;
using FilterTesting::SImage;

namespace {

TEST(Blur, GaussianKernelSizesAndFixedPointWeights) {
    struct SSize {
        double sigma;
        bool bytes;
        int expected;
    } sizes[] = {
        {2.0, true, 13}, {2.0, false, 17}, {0.7, true, 5}, {0.7, false, 7}, {0.25, true, 3}};
    for (const SSize& c : sizes)
        EXPECT_EQ(GaussianSize(c.sigma, c.bytes), c.expected) << c.sigma << " " << c.bytes;
    EXPECT_THROW(GaussianSize(0.0, true), ORVA::CException);

    struct SKernel {
        int n;
        double sigma;
        std::vector<uint16_t> expected;
    } kernels[] = {
        {3, 0.0, {64, 128, 64}},
        {5, 0.0, {16, 64, 96, 64, 16}},
        // exp(-1/2) / (1 + 2 exp(-1/2)) * 256 = 69.98..., rounded to 70; the centre takes 116.
        {3, 1.0, {70, 116, 70}},
        // Error diffusion: 13.949 -> 14 leaves -0.051, so 62.516 - 0.051 -> 62; the centre
        // takes the rest.
        {5, 1.0, {14, 62, 104, 62, 14}},
    };
    for (const SKernel& c : kernels)
        EXPECT_EQ(GaussianKernelFixed(c.n, c.sigma), c.expected) << c.n << " " << c.sigma;
}

// The plain definitions, one output at a time.
template <class T>
double WindowSum(const SImage<T>& src, int64_t x, int64_t y, int64_t kx, int64_t ky,
                 const std::vector<double>& wx, const std::vector<double>& wy, EnBorder border) {
    double s = 0;
    for (int64_t j = 0; j < ky; ++j) {
        double row = 0;
        int64_t sy = BorderIndex(y + j - ky / 2, src.height, border);
        for (int64_t i = 0; i < kx; ++i) {
            int64_t sx = BorderIndex(x + i - kx / 2, src.width, border);
            row += wx[size_t(i)] * (sy < 0 || sx < 0 ? 0.0 : double(src.At(sx, sy)));
        }
        s += wy[size_t(j)] * row;
    }
    return s;
}

TEST(Blur, ByteGaussianEqualsItsFixedPointDefinition) {
    // Sizes around the blocks of 16 columns (and none), 13 taps (sigma 2, size derived) past
    // the plane and 3 taps of sigma 0 (the binomial 64 128 64), with every border.
    const std::pair<int64_t, int64_t> sizes[] = {{1, 1}, {1, 20}, {20, 1}, {37, 9}, {16, 14}};
    const EnBorder borders[] = {EnBorder::REFLECT_101, EnBorder::REFLECT, EnBorder::REPLICATE,
                                EnBorder::CONSTANT};
    for (auto [w, h] : sizes)
        for (EnBorder border : borders)
            for (auto [sigma, size, n] : {std::tuple{2.0, 0, 13}, {0.0, 3, 3}}) {
                const SImage<uint8_t> src = Random<uint8_t>(w, h, 0, 255, unsigned(w + h), 3);
                SImage<uint8_t> dst(w, h, 1);
                GaussianBlur(src.In(), dst.Plane(), sigma, size, border);
                const std::vector<uint16_t> fixed = GaussianKernelFixed(n, sigma);
                const std::vector<double> k(fixed.begin(), fixed.end());
                for (int64_t y = 0; y < h; ++y)
                    for (int64_t x = 0; x < w; ++x) {
                        const auto s = uint32_t(WindowSum(src, x, y, n, n, k, k, border));
                        ASSERT_EQ(dst.At(x, y), (s + (1u << 15)) >> 16)
                            << n << " " << w << "x" << h << " " << int(border) << ": " << x << " "
                            << y;
                    }
            }
}

TEST(Blur, FloatGaussianAddsItsTapsInTheDocumentedOrder) {
    // Rows left to right, then columns from the centre outwards in pairs, all in float, with
    // every border: widths around the blocks of 64 and 16 columns, heights around the groups of
    // 4 rows, 9 taps past the plane.
    const std::pair<int64_t, int64_t> sizes[] = {{100, 7}, {1, 1}, {1, 9}, {83, 1}, {16, 5}};
    const std::vector<double> kd = GaussianKernel(9, 1.0);
    const std::vector<float> k(kd.begin(), kd.end());
    for (auto [w, h] : sizes)
        for (EnBorder border :
             {EnBorder::REFLECT_101, EnBorder::REFLECT, EnBorder::REPLICATE, EnBorder::CONSTANT}) {
            const SImage<float> src = Random<float>(w, h, -100, 100, unsigned(w * h), 2);
            SImage<float> dst(w, h, 1);
            GaussianBlur(src.In(), dst.Plane(), 1.0, 0, border);
            auto row = [&](int64_t x, int64_t y) {
                auto at = [&](int64_t i) {
                    const int64_t sx = BorderIndex(x + i - 4, w, border);
                    return y < 0 || sx < 0 ? 0.0f : src.At(sx, y);
                };
                float v = k[0] * at(0);
                for (int64_t i = 1; i < 9; ++i)
                    v += k[size_t(i)] * at(i);
                return v;
            };
            for (int64_t y = 0; y < h; ++y)
                for (int64_t x = 0; x < w; ++x) {
                    float v = k[4] * row(x, y) + 0.0f;
                    for (int64_t i = 1; i <= 4; ++i)
                        v += k[size_t(4 + i)] * (row(x, BorderIndex(y + i, h, border)) +
                                                 row(x, BorderIndex(y - i, h, border)));
                    ASSERT_EQ(dst.At(x, y), v)
                        << w << "x" << h << " " << int(border) << ": " << x << " " << y;
                }
        }
}

TEST(Blur, BoxMeansMatchTheirDefinition) {
    // Byte windows up to 256 samples use the 16-bit reciprocal: 25 samples summing to 12 give 0,
    // to 13 give 1, to 6375 give 255.
    struct SCase {
        int64_t sum;
        int expected;
    } bytes[] = {{12, 0}, {13, 1}, {37, 1}, {38, 2}, {6375, 255}};
    for (const SCase& c : bytes) {
        SImage<uint8_t> src(5, 5), dst(5, 5);
        for (int64_t i = 0; i < c.sum; ++i)  // spread the sum over the window
            src.samples[size_t(i % 25)] = uint8_t(src.samples[size_t(i % 25)] + 1);
        BoxBlur(src.In(), dst.Plane(), 5, 5, EnBorder::CONSTANT);
        EXPECT_EQ(dst.At(2, 2), c.expected) << c.sum;
    }
    // Floats: double sums equal direct ones, for rows summed in registers (<= 8), pass by pass
    // (<= 16) and running (longer).
    for (int64_t kx : {3, 4, 11, 21}) {
        SImage<float> src = Random<float>(40, 12, 0, 255, 9, 3), dst(40, 12);
        BoxBlur(src.In(), dst.Plane(), kx, 5);
        std::vector<double> wx(size_t(kx), 1.0), wy(5, 1.0);
        for (int64_t y = 0; y < 12; ++y)
            for (int64_t x = 0; x < 40; ++x)
                ASSERT_EQ(dst.At(x, y),
                          float(WindowSum(src, x, y, kx, 5, wx, wy, EnBorder::REFLECT_101) *
                                (1.0 / double(kx * 5))))
                    << kx << " " << x << " " << y;
    }
}

}  // namespace
