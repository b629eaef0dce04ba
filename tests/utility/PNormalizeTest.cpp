#include "PNormalize.h"

#include <bit>
#include <cmath>
#include <random>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");
using U8 = std::vector<uint8_t>;
using F = std::vector<float>;

// The output samples of Normalize on an image of `type`, `size` and `samples`.
template <class O, class T>
std::vector<O> Normalized(IImage::CType type, CSize size, std::vector<T> samples,
                          std::initializer_list<SParameter> parameters = {}) {
    CPNormalize node;
    Configure(node, parameters);
    auto image = ImageValue<T>(type, size, samples);
    return Samples<O>(RunImage(node, {image.get()}));
}

F NormalizedF(CSize size, F samples, std::initializer_list<SParameter> parameters = {}) {
    return Normalized<float>(IMAGE_GREY_F, size, samples, parameters);
}

// The tiled extremes as described: tile by tile, pixel by pixel.
NormalizeKernel::SRange LiteralExtremes(const F& data, CSize size, const int64_t (&tiles)[3]) {
    float sumMax = 0.0f, sumMin = 0.0f;
    auto range = [&](int axis, int64_t t, int64_t& from, int64_t& to) {
        int64_t base = size[axis] / tiles[axis];
        from = t * base;
        to = from + base + (t == tiles[axis] - 1 ? size[axis] % tiles[axis] : 0);
    };
    for (int64_t tz = 0; tz < tiles[2]; ++tz)
        for (int64_t ty = 0; ty < tiles[1]; ++ty)
            for (int64_t tx = 0; tx < tiles[0]; ++tx) {
                int64_t z0, z1, y0, y1, x0, x1;
                range(2, tz, z0, z1);
                range(1, ty, y0, y1);
                range(0, tx, x0, x1);
                float high = -65536.0f, low = 65536.0f;
                for (int64_t z = z0; z < z1; ++z)
                    for (int64_t y = y0; y < y1; ++y)
                        for (int64_t x = x0; x < x1; ++x) {
                            float v = data[static_cast<size_t>((z * size.y + y) * size.x + x)];
                            if (v > high) high = v;
                            if (v < low) low = v;
                        }
                sumMax += high;
                sumMin += low;
            }
    float count = static_cast<float>(tiles[0] * tiles[1] * tiles[2]);
    return {sumMin / count, sumMax / count};
}

}  // namespace

TEST(Normalize, MapsTheMeasuredOrFixedRange) {
    EXPECT_EQ(Normalized<uint8_t>(IMAGE_GREY_8, CSize(2, 1), U8{10, 20}), (U8{0, 255}));
    // All equal: "out_default", truncated and wrapped for bytes, kept for floats.
    EXPECT_EQ(Normalized<uint8_t>(IMAGE_GREY_8, CSize(2, 1), U8{7, 7}, {{"out_default", 259.7}}),
              (U8{3, 3}));
    EXPECT_EQ(NormalizedF(CSize(1, 1), {7}, {{"out_default", 2.5}}), (F{2.5f}));
    // Pre-clipping to 5..15, then measuring: 0, 127 (127.5 truncated), 255.
    EXPECT_EQ(
        Normalized<uint8_t>(IMAGE_GREY_8, CSize(3, 1), U8{0, 10, 20}, {{"min_max_map", "5 15"}}),
        (U8{0, 127, 255}));
    // No saturation: 300 wraps to 44.
    EXPECT_EQ(Normalized<uint8_t>(IMAGE_GREY_8, CSize(2, 1), U8{0, 10}, {{"out_max", 300}}),
              (U8{0, 44}));
    EXPECT_EQ(Normalized<float>(IMAGE_GREY_8, CSize(3, 1), U8{0, 1, 3}, {{"upcast", true}}),
              (F{0.0f, 85.0f, 255.0f}));
    // NaN is never an extreme and stays NaN.
    F out = NormalizedF(CSize(3, 1), {NaN, 2, 4}, {{"out_max", 1}});
    EXPECT_TRUE(std::isnan(out[0]));
    EXPECT_EQ(F(out.begin() + 1, out.end()), (F{0.0f, 1.0f}));
    // One non-zero bound is enough for a fixed range; values outside are clipped.
    EXPECT_EQ(NormalizedF(CSize(3, 1), {50, 150, -10}, {{"map_max", 100}}), (F{127.5f, 255, 0}));
    // map_min > map_max: every value ends as map_min, mapped to out_min.
    EXPECT_EQ(NormalizedF(CSize(2, 1), {0, 50}, {{"map_min", 40}, {"map_max", 20}, {"out_min", 3}}),
              (F{3.0f, 3.0f}));
    // out_min = out_max = 100 widens to 99..101.
    EXPECT_EQ(NormalizedF(CSize(3, 1), {0, 5, 10}, {{"out_min", 100}, {"out_max", 100}}),
              (F{99.0f, 100.0f, 101.0f}));
}

TEST(Normalize, AveragesTheExtremesOfTiles) {
    // Tiles [0, 1] and [2, 3]: range (0 + 20) / 2 = 10 to (10 + 40) / 2 = 25.
    EXPECT_EQ(NormalizedF(CSize(4, 1), {0, 10, 20, 40}, {{"tileX", 2}}), (F{0, 0, 170, 255}));
    // A column of width 1 in two x-tiles: the first is empty and adds -65536 to the maximum
    // and +65536 to the minimum, so the range is -67232 to 67232.
    EXPECT_EQ(NormalizedF(CSize(1, 4), {200000, -200000, 0, 33616}, {{"tileX", 2}}),
              (F{255.0f, 0.0f, 127.5f, 191.25f}));
    // Values all below -65536: the maximum stays at its starting value, so -70000 is not 255.
    EXPECT_EQ(NormalizedF(CSize(3, 1), {-80000, -200000, -70000}),
              (F{(120000.0f * 255.0f) / 134464.0f, 0.0f, (130000.0f * 255.0f) / 134464.0f}));
}

TEST(Normalize, TiledExtremesEqualTheLiteralScan) {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-1000.0f, 1000.0f);
    for (int trial = 0; trial < 40; ++trial) {
        CSize size(1 + random() % 70, 1 + random() % 9, 1 + random() % 3);
        F data(static_cast<size_t>(size.Elements()));
        for (float& v : data)
            v = random() % 50 == 0 ? NaN : random() % 7 == 0 ? 0.0f : uniform(random);
        int64_t tiles[3] = {1 + int64_t(random() % 5), 1 + int64_t(random() % 3),
                            1 + int64_t(random() % 2)};
        NormalizeKernel::SRange fast =
            NormalizeKernel::TiledExtremes<false>(data.data(), size, tiles, {0, 0});
        NormalizeKernel::SRange literal = LiteralExtremes(data, size, tiles);
        EXPECT_EQ(std::bit_cast<uint32_t>(fast.lo), std::bit_cast<uint32_t>(literal.lo)) << trial;
        EXPECT_EQ(std::bit_cast<uint32_t>(fast.hi), std::bit_cast<uint32_t>(literal.hi)) << trial;
    }
}

TEST(Normalize, Errors) {
    auto bytes = Grey8(CSize(2, 2), {1}), shorts = Blank(IMAGE_GREY_16, CSize(1, 1));
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{shorts.get()}, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {{bytes.get()},
         "Can't parse the 'min_max_map' parameter, invalid format",
         {{"min_max_map", "5"}}},
        {{bytes.get()}, "tile counts must be at least 1, but they are (1, 0, 1)", {{"tileY", 0}}},
        {{bytes.get()},
         "(1073741824, 1073741824, 1) tiles are too many for an image of size (2, 2, 1)",
         {{"tileX", 1 << 30}, {"tileY", 1 << 30}}},
    };
    ExpectFailures<CPNormalize>("(utility plugins) Normalize::Run | ", failures);
}
