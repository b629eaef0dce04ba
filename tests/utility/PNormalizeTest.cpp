#include "PNormalize.h"

#include <cmath>

#include "NodeTesting.h"
#include "PNormalizeLine.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");
using U8 = std::vector<uint8_t>;
using F = std::vector<float>;

// The output samples of `Node` on an image of `type`, `size` and `samples`.
template <class O, class T, class Node = CPNormalize>
std::vector<O> Normalized(IImage::CType type, CSize size, std::vector<T> samples,
                          std::initializer_list<SParameter> parameters = {}) {
    Node node;
    Configure(node, parameters);
    auto image = ImageValue<T>(type, size, samples);
    return Samples<O>(RunImage(node, {image.get()}));
}

F NormalizedF(CSize size, F samples, std::initializer_list<SParameter> parameters = {}) {
    return Normalized<float>(IMAGE_GREY_F, size, samples, parameters);
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
    // out_min = out_max = 100 widens to 99..101, in both nodes.
    EXPECT_EQ(NormalizedF(CSize(3, 1), {0, 5, 10}, {{"out_min", 100}, {"out_max", 100}}),
              (F{99.0f, 100.0f, 101.0f}));
    EXPECT_EQ((Normalized<float, float, CPNormalizeLine>(IMAGE_GREY_F, CSize(3, 1), {0, 5, 10},
                                                         {{"out_min", 0}, {"out_max", 0}})),
              (F{-1.0f, 0.0f, 1.0f}));
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
    ExpectFailures<CPNormalizeLine>(
        "(utility plugins) NormalizeLine::Run | ",
        std::vector<SFailure>{
            {{shorts.get()},
             "input 0 is not of type IMAGE_GREY_F or IMAGE_GREY_8 but IMAGE_GREY_16"}});
}
