#include "Edges.h"

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::Filled;
using FilterTesting::Random;
using FilterTesting::SImage;

namespace {

TEST(Edges, DerivativeKernels) {
    struct SCase {
        int order, size;
        std::vector<int> expected;
    } cases[] = {
        {0, 1, {1}},
        {1, 3, {-1, 0, 1}},
        {2, 3, {1, -2, 1}},
        {0, 5, {1, 4, 6, 4, 1}},
        {1, 5, {-1, -2, 0, 2, 1}},
        {2, 5, {1, 0, -2, 0, 1}},
        {1, 7, {-1, -4, -5, 0, 5, 4, 1}},
    };
    for (const SCase& c : cases)
        EXPECT_EQ(DerivativeKernel(c.order, c.size), c.expected) << c.order << " " << c.size;
    EXPECT_THROW(DerivativeKernel(3, 3), ORVA::CException);
}

TEST(Edges, DerivativesOfARamp) {
    // v = 3x + 7y: inside, the 3 x 3 Sobel gives 3 * 2 * 4 along x and 7 * 2 * 4 along y,
    // Scharr 3 * 2 * 16; at a mirrored border the first derivative across it is 0.
    const auto ramp = Filled<uint8_t>(6, 5, [](int64_t x, int64_t y) { return 3 * x + 7 * y; });
    struct SCase {
        int dx, dy, ksize;
        float inside, left, top;
    } cases[] = {
        {1, 0, 3, 24, 0, 24},
        {0, 1, 3, 56, 56, 0},
        {1, 0, -1, 96, 0, 96},
        {0, 1, -1, 224, 224, 0},
        {1, 0, 1, 6, 0, 6},
        {1, 0, 5, 3 * 8 * 16, 0, 3 * 8 * 16},
        // A second derivative sees the fold of the mirrored border: 2 (v1 - v0) * 4.
        {2, 0, 3, 0, 24, 0},
    };
    for (const SCase& c : cases) {
        SImage<float> dst(6, 5);
        Sobel(ramp.In(), dst.Plane(), c.dx, c.dy, c.ksize);
        EXPECT_EQ((std::vector{dst.At(2, 2), dst.At(0, 2), dst.At(2, 0)}),
                  (std::vector{c.inside, c.left, c.top}))
            << c.dx << c.dy << " " << c.ksize;
    }
    // Laplacian of x^2 + y^2 is 4; the 3-aperture kernel is 4 times that, 5 is 2 * 8 * 16.
    const auto bowl = Filled<float>(7, 7, [](int64_t x, int64_t y) { return x * x + y * y; });
    for (auto [ksize, expected] : {std::pair{1, 4.0f}, {3, 16.0f}, {5, 256.0f}}) {
        SImage<float> dst(7, 7);
        Laplacian(bowl.In(), dst.Plane(), ksize);
        EXPECT_EQ(dst.At(3, 3), expected) << ksize;
    }
}

TEST(Edges, MagnitudeAndDirection) {
    SImage<float> dx(4, 1, {3, 0, -1, 0}), dy(4, 1, {4, 2, 0, -2}), out(4, 1);
    Magnitude(dx.In(), dy.In(), out.Plane());
    EXPECT_EQ(out.Values(), (std::vector<float>{5, 2, 1, 2}));
    Direction(dx.In(), dy.In(), out.Plane());
    EXPECT_FLOAT_EQ(out.At(0, 0), 53.130102f);
    EXPECT_EQ(out.At(1, 0), 90.0f);
    EXPECT_EQ(out.At(2, 0), 180.0f);
    EXPECT_EQ(out.At(3, 0), 270.0f);
}

TEST(Edges, CannyThinsStepsAndFollowsWeakEdges) {
    // A vertical step between columns 3 and 4: |dx| = 400 on both; the left one wins (greater
    // than its left neighbour, not less than its right one).
    auto stepOf = [](int v) {
        return Filled<uint8_t>(8, 6, [v](int64_t x, int64_t) { return x >= 4 ? v : 0; });
    };
    const SImage<uint8_t> step = stepOf(100), weak = stepOf(10);
    SImage<uint8_t> edges(8, 6);
    Canny(step.In(), edges.Plane(), 100, 300);
    for (int64_t y = 0; y < 6; ++y)
        for (int64_t x = 0; x < 8; ++x)
            EXPECT_EQ(edges.At(x, y), x == 3 ? 255 : 0) << x << " " << y;
    // Thresholds above the magnitude: nothing. A weak step (|dx| = 40) alone vanishes, and is
    // an edge once it passes the high threshold.
    Canny(step.In(), edges.Plane(), 500, 600);
    EXPECT_EQ(edges.Values(), std::vector<uint8_t>(48, 0));
    Canny(weak.In(), edges.Plane(), 30, 300);
    EXPECT_EQ(edges.Values(), std::vector<uint8_t>(48, 0));
    Canny(weak.In(), edges.Plane(), 30, 39);
    EXPECT_EQ(edges.At(3, 5), 255);
    // With L2 magnitudes the thresholds are squared: 400^2 > 399^2.
    Canny(step.In(), edges.Plane(), 100, 399, true);
    EXPECT_EQ(edges.At(3, 2), 255);
}

TEST(Edges, SeparablePassesEqualTheWholeKernel) {
    // Byte Sobel and Scharr against a correlation with the outer product of their kernels,
    // on sizes around the blocks of 16 columns, with every border.
    struct SCase {
        int dx, dy, ksize;
    } cases[] = {{1, 0, 3}, {0, 1, 3}, {1, 2, 5}, {2, 1, 7}, {1, 0, 1}, {0, 1, -1}};
    const std::pair<int64_t, int64_t> sizes[] = {{1, 1}, {1, 9}, {21, 1}, {31, 17}};
    const EnBorder borders[] = {EnBorder::REFLECT_101, EnBorder::REFLECT, EnBorder::REPLICATE,
                                EnBorder::CONSTANT};
    for (const SCase& c : cases)
        for (auto [w, h] : sizes)
            for (EnBorder border : borders) {
                const SImage<uint8_t> src = Random<uint8_t>(w, h, 0, 255, 5, 3);
                const bool scharr = c.ksize == -1;
                auto kernel = [&](int order) {
                    if (scharr)
                        return order ? std::vector<int>{-1, 0, 1} : std::vector<int>{3, 10, 3};
                    return DerivativeKernel(order, c.ksize == 1 && order > 0 ? 3 : c.ksize);
                };
                const std::vector<int> kx = kernel(c.dx), ky = kernel(c.dy);
                std::vector<float> whole;
                for (int j : ky)
                    for (int i : kx)
                        whole.push_back(float(i * j));
                SImage<float> separable(w, h, 2), direct(w, h);
                Sobel(src.In(), separable.Plane(), c.dx, c.dy, c.ksize, border);
                Convolve(src.In(), direct.Plane(),
                         SPlane<const float>{whole.data(), int64_t(kx.size()), int64_t(ky.size()),
                                             int64_t(kx.size())},
                         border);
                ASSERT_EQ(separable.Values(), direct.Values())
                    << c.dx << c.dy << " " << c.ksize << " " << w << "x" << h << " " << int(border);
            }
}

TEST(Edges, LargeResultsWrittenAroundTheCacheAreExact) {
    // 32 MiB of float derivatives, rows padded so that they start off the 16-byte boundaries;
    // bytes and floats take different paths. Rows add their taps first, then columns theirs.
    const int64_t w = 2048, h = 4096;
    const SImage<uint8_t> bytes = Random<uint8_t>(w, h, 0, 255, 7, 1);
    const SImage<float> floats = Random<float>(w, h, 0, 255, 8, 1);
    auto check = [&](const auto& src) {
        SImage<float> sobel(w, h, 3);
        Sobel(src.In(), sobel.Plane(), 0, 1, 3);
        for (int64_t y : {int64_t(0), int64_t(1001), h - 2, h - 1})
            for (int64_t x = 0; x < w; ++x) {
                auto row = [&](int64_t sy) {
                    const int64_t s = BorderIndex(sy, h, EnBorder::REFLECT_101);
                    auto at = [&](int64_t sx) {
                        return float(src.At(BorderIndex(sx, w, EnBorder::REFLECT_101), s));
                    };
                    return 1.0f * at(x - 1) + 2.0f * at(x) + 1.0f * at(x + 1);
                };
                ASSERT_EQ(sobel.At(x, y), -1.0f * row(y - 1) + 1.0f * row(y + 1)) << x << " " << y;
            }
    };
    check(bytes);
    check(floats);
}

}  // namespace
