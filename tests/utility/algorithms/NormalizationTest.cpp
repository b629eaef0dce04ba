#include "algorithms/Normalization.h"

#include <bit>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

using namespace ORVA;
using namespace ORVA::Normalization;

namespace {

const float NaN = std::nanf("");
using F = std::vector<float>;

// The tiled extremes the literal way: tile by tile, pixel by pixel.
SRange LiteralExtremes(const F& data, CSize size, const int64_t (&tiles)[3]) {
    float sumMax = 0.0f, sumMin = 0.0f;
    int64_t from[3], to[3];
    auto range = [&](int axis, int64_t t) {
        int64_t base = size[axis] / tiles[axis];
        from[axis] = t * base;
        to[axis] = from[axis] + base + (t == tiles[axis] - 1 ? size[axis] % tiles[axis] : 0);
    };
    for (int64_t tz = 0; tz < tiles[2]; ++tz)
        for (int64_t ty = 0; ty < tiles[1]; ++ty)
            for (int64_t tx = 0; tx < tiles[0]; ++tx) {
                range(2, tz), range(1, ty), range(0, tx);
                float high = -65536.0f, low = 65536.0f;
                for (int64_t z = from[2]; z < to[2]; ++z)
                    for (int64_t y = from[1]; y < to[1]; ++y)
                        for (int64_t x = from[0]; x < to[0]; ++x) {
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

TEST(Normalization, TiledExtremesEqualTheLiteralScan) {
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-1000.0f, 1000.0f);
    for (int trial = 0; trial < 40; ++trial) {
        CSize size(1 + random() % 70, 1 + random() % 9, 1 + random() % 3);
        F data(static_cast<size_t>(size.Elements()));
        for (float& v : data)
            v = random() % 50 == 0 ? NaN : random() % 7 == 0 ? 0.0f : uniform(random);
        int64_t tiles[3] = {1 + int64_t(random() % 5), 1 + int64_t(random() % 3),
                            1 + int64_t(random() % 2)};
        SRange fast = TiledExtremes<false>(data.data(), size, tiles, {0, 0});
        SRange literal = LiteralExtremes(data, size, tiles);
        EXPECT_EQ(std::bit_cast<uint32_t>(fast.lo), std::bit_cast<uint32_t>(literal.lo)) << trial;
        EXPECT_EQ(std::bit_cast<uint32_t>(fast.hi), std::bit_cast<uint32_t>(literal.hi)) << trial;
    }
}

TEST(Normalization, EveryRowFromItsOwnExtremes) {
    // A reversed output range; a flat row and a row of NaN only take the default.
    const F in = {3, -1, 7, NaN, 2, 2, 2, 2, NaN, NaN, NaN, NaN};
    F out(in.size());
    NormalizeRows(in.data(), out.data(), 4, 3, 10.0f, -20.0f, 5.0f);
    for (float& v : out)
        v = std::isnan(v) ? -99.0f : v;
    EXPECT_EQ(out, (F{-5, 10, -20, -99, 5, 5, 5, 5, 5, 5, 5, 5}));
    // Bytes keep the low 8 bits of the truncated result.
    const uint8_t bytes[3] = {0, 1, 2};
    uint8_t wrapped[3];
    NormalizeRows(bytes, wrapped, 3, 1, 0.0f, 300.0f, 0.0f);
    EXPECT_EQ(std::vector<uint8_t>(wrapped, wrapped + 3), (std::vector<uint8_t>{0, 150, 44}));
}
