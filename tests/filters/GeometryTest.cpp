#include "Geometry.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::SImage;

namespace {

// 3 x 2:  1 2 3
//         4 5 6
SImage<uint8_t> Small() {
    return SImage<uint8_t>(3, 2, {1, 2, 3, 4, 5, 6});
}

TEST(Geometry, FlipsTurnsAndTranspose) {
    struct SCase {
        const char* name;
        int64_t width;
        std::vector<uint8_t> expected;
        std::function<void(SPlane<const uint8_t>, SPlane<uint8_t>)> run;
    } cases[] = {
        {"mirror", 3, {3, 2, 1, 6, 5, 4}, [](auto s, auto d) { Flip(s, d, EnFlip::HORIZONTAL); }},
        {"flipped", 3, {4, 5, 6, 1, 2, 3}, [](auto s, auto d) { Flip(s, d, EnFlip::VERTICAL); }},
        {"both", 3, {6, 5, 4, 3, 2, 1}, [](auto s, auto d) { Flip(s, d, EnFlip::BOTH); }},
        {"transpose", 2, {1, 4, 2, 5, 3, 6}, [](auto s, auto d) { Transpose(s, d); }},
        {"clockwise", 2, {4, 1, 5, 2, 6, 3}, [](auto s, auto d) { Rotate90(s, d, 1); }},
        {"counter-clockwise", 2, {3, 6, 2, 5, 1, 4}, [](auto s, auto d) { Rotate90(s, d, -1); }},
        {"half turn", 3, {6, 5, 4, 3, 2, 1}, [](auto s, auto d) { Rotate90(s, d, 6); }},
    };
    for (const SCase& c : cases) {
        SImage<uint8_t> src = Small(), dst(c.width, 6 / c.width, 2);  // padded rows
        c.run(src.In(), dst.Plane());
        EXPECT_EQ(dst.Values(), c.expected) << c.name;
    }
    SImage<uint8_t> src = Small(), wrong(3, 2);
    EXPECT_THROW(Transpose(src.In(), wrong.Plane()), ORVA::CException);
}

TEST(Geometry, PadAndCrop) {
    struct SCase {
        EnBorder border;
        std::vector<uint8_t> expected;
    } cases[] = {
        {EnBorder::REFLECT_101, {3, 2, 1, 2, 3, 2, 1, 2, 3}},
        {EnBorder::REFLECT, {2, 1, 1, 2, 3, 3, 2, 1, 1}},
        {EnBorder::REPLICATE, {1, 1, 1, 2, 3, 3, 3, 3, 3}},
        {EnBorder::CONSTANT, {9, 9, 1, 2, 3, 9, 9, 9, 9}},
    };
    for (const SCase& c : cases) {
        SImage<uint8_t> row(3, 1, {1, 2, 3}), padded(9, 1);
        Pad(row.In(), padded.Plane(), 2, 0, c.border, uint8_t(9));
        EXPECT_EQ(padded.Values(), c.expected) << int(c.border);
    }
    SImage<uint8_t> src = Small(), crop(2, 1);
    Crop(src.In(), 1, 1, crop.Plane());
    EXPECT_EQ(crop.Values(), (std::vector<uint8_t>{5, 6}));
    EXPECT_THROW(Crop(src.In(), 2, 1, crop.Plane()), ORVA::CException);
}

TEST(Geometry, ResizeByEachInterpolation) {
    SImage<uint8_t> ramp(2, 1, {0, 100});
    struct SCase {
        EnInterpolation how;
        std::vector<uint8_t> expected;
    } up[] = {
        {EnInterpolation::NEAREST, {0, 0, 100, 100}},
        // Weights (-216, 1800, 536, -72) / 2048 at 0.25: below 0 saturates, past 100 overshoots.
        {EnInterpolation::BICUBIC, {0, 23, 77, 111}},
    };
    for (const SCase& c : up) {
        SImage<uint8_t> dst(4, 1);
        Resize(ramp.In(), dst.Plane(), c.how);
        EXPECT_EQ(dst.Values(), c.expected) << int(c.how);
    }
    // Halving takes the mean of 2 x 2 with halves rounded up (10 / 4 = 2.5 gives 3); other
    // whole factors round half to even (7 / 2 = 3.5 and 9 / 2 = 4.5 give 4 and 4).
    SImage<uint8_t> square(2, 2, {1, 2, 3, 4}), one(1, 1);
    Resize(square.In(), one.Plane(), EnInterpolation::BILINEAR);
    EXPECT_EQ(one.At(0, 0), 3);
    SImage<uint8_t> row(4, 1, {3, 4, 4, 5}), half(2, 1);
    Resize(row.In(), half.Plane(), EnInterpolation::AREA);
    EXPECT_EQ(half.Values(), (std::vector<uint8_t>{4, 4}));
    SImage<float> f(2, 2, {1, 2, 3, 5}), fone(1, 1);
    Resize(f.In(), fone.Plane(), EnInterpolation::AREA);
    EXPECT_EQ(fone.At(0, 0), 2.75f);
    // 3 samples into 2: each output covers 1.5 source samples.
    SImage<double> three(3, 1, {0, 3, 6}), two(2, 1);
    Resize(three.In(), two.Plane(), EnInterpolation::AREA);
    EXPECT_EQ(two.Values(), (std::vector<double>{1.0, 5.0}));
}

// Float halving against ((a + b) + (c + d)) * 0.25 in that order: widths below, at and past a
// step of 8 outputs, padded rows.
TEST(Geometry, FloatHalvingMatchesThePairedSum) {
    for (int64_t w : {1, 8, 17, 33}) {
        const SImage<float> src = FilterTesting::Random<float>(2 * w, 6, -1e4, 1e4, 3, 5);
        SImage<float> dst(w, 3, 2);
        Resize(src.In(), dst.Plane(), EnInterpolation::BILINEAR);
        for (int64_t y = 0; y < 3; ++y)
            for (int64_t x = 0; x < w; ++x) {
                auto at = [&](int64_t i, int64_t j) { return src.At(2 * x + i, 2 * y + j); };
                ASSERT_EQ(dst.At(x, y), ((at(0, 0) + at(1, 0)) + (at(0, 1) + at(1, 1))) * 0.25f)
                    << w << " at " << x << ", " << y;
            }
    }
}

// 8-bit bilinear against its definition written out plainly: 11-bit weights, horizontal sums
// in int, the vertical step on sums shifted by 4. Widths cover taps that fit one 16-byte load,
// groups that do not (shrinking by 5), enlarging, leftover taps, a single column, rows of
// several 32-output steps (0.7) and an exact halving (the 2 x 2 mean must give the same bytes).
TEST(Geometry, BilinearBytesMatchesItsFixedPointDefinition) {
    auto taps = [](int64_t n, int64_t m, int64_t d) {  // first sample, weights
        const double scale = 1.0 / (double(m) / double(n));
        float f = float((double(d) + 0.5) * scale - 0.5);
        auto s = int64_t(std::floor(f));
        f -= float(s);
        if (s < 0) f = 0, s = 0;
        if (s >= n - 1) f = 0, s = n - 1;
        return std::tuple{s, int32_t(std::nearbyint((1 - f) * 2048.0f)),
                          int32_t(std::nearbyint(f * 2048.0f))};
    };
    const int64_t sizes[][4] = {
        {61, 13, 43, 9}, {95, 7, 19, 5}, {20, 10, 31, 15}, {1, 3, 5, 4}, {130, 4, 65, 2}};
    for (const auto& z : sizes) {
        const SImage<uint8_t> src = FilterTesting::Random<uint8_t>(z[0], z[1], 0, 255.99, 7, 3);
        SImage<uint8_t> dst(z[2], z[3], 2);
        Resize(src.In(), dst.Plane(), EnInterpolation::BILINEAR);
        for (int64_t y = 0; y < z[3]; ++y)
            for (int64_t x = 0; x < z[2]; ++x) {
                auto [sy, b0, b1] = taps(z[1], z[3], y);
                auto [sx, a0, a1] = taps(z[0], z[2], x);
                auto row = [&](int64_t r) {
                    r = std::min(r, z[1] - 1);
                    return src.At(sx, r) * a0 + (sx + 1 < z[0] ? src.At(sx + 1, r) * a1 : 0);
                };
                int32_t v = ((b0 * (row(sy) >> 4)) >> 16) + ((b1 * (row(sy + 1) >> 4)) >> 16);
                v = std::clamp((v + 2) >> 2, 0, 255);
                ASSERT_EQ(dst.At(x, y), v) << z[0] << "x" << z[1] << " at " << x << ", " << y;
            }
    }
}

}  // namespace
