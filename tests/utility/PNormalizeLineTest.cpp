#include "PNormalizeLine.h"

#include <cmath>

#include "DrawingTesting.h"
#include "PNormalize.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

// Output 0 of `node` run with `json` on an image of `samples` (NaN written as -99).
template <class O, class T>
std::vector<O> Normalized(CPNode& node, const std::string& json, IImage::CType type, CSize size,
                          const std::vector<T>& samples) {
    std::unique_ptr<CValue> image = ImageValue<T>(type, size, samples);
    RunNode(node, json, {image.get()});
    return NaNAs99(Samples<O>(OutputImage(node)));
}

// Every row of two planes of two rows as Normalize maps a one-row image of it.
template <class T, class O>
void ExpectRowsAsNormalize(IImage::CType type, int64_t width, const std::vector<T>& samples,
                           const std::string& json) {
    CPNormalizeLine lines;
    const std::vector<O> all = Normalized<O>(lines, json, type, CSize(width, 2, 2), samples);
    for (int64_t row = 0; row < 4; ++row) {
        CPNormalize normalize;
        const std::vector<T> one(samples.begin() + row * width,
                                 samples.begin() + (row + 1) * width);
        EXPECT_EQ(std::vector<O>(all.begin() + row * width, all.begin() + (row + 1) * width),
                  Normalized<O>(normalize, json, type, CSize(width, 1), one))
            << json << " row " << row;
    }
}

}  // namespace

TEST(NormalizeLine, EveryRowAsNormalizeMapsIt) {
    // A reversed output range, a flat row, NaN among values; bytes to bytes and to floats.
    const std::vector<float> floats = {3,   -1, 7,   7, 0.5f,  //
                                       2,   2,  2,   2, 2,     //
                                       NaN, 4,  NaN, 8, 6,     //
                                       -3,  0,  1e6, 5, -7};
    ExpectRowsAsNormalize<float, float>(
        IMAGE_GREY_F, 5, floats, R"({"out_min": 10.0, "out_max": -20.0, "out_default": 5.0})");
    const std::vector<uint8_t> bytes = {10, 20, 15, 0, 9, 9, 200, 100, 250, 4, 0, 255};
    ExpectRowsAsNormalize<uint8_t, uint8_t>(IMAGE_GREY_8, 3, bytes,
                                            R"({"out_min": 0.0, "out_max": 300.0})");
    ExpectRowsAsNormalize<uint8_t, float>(IMAGE_GREY_8, 3, bytes,
                                          R"({"out_min": 0.0, "out_max": 1.0, "upcast": true})");
}

TEST(NormalizeLine, RowsOfNaNTakeTheDefaultAndEmptyRangesWiden) {
    CPNormalizeLine node;
    EXPECT_EQ(Normalized<float>(node, R"({"out_min": 0.0, "out_max": 100.0, "out_default": 5.0})",
                                IMAGE_GREY_F, CSize(2, 2), std::vector<float>{NaN, NaN, 1, 2}),
              (std::vector<float>{5, 5, 0, 100}));
    // An empty output range is widened to -1 .. 1.
    EXPECT_EQ(Normalized<float>(node, R"({"out_min": 0.0, "out_max": 0.0})", IMAGE_GREY_F,
                                CSize(3, 1), std::vector<float>{2, 3, 4}),
              (std::vector<float>{-1, 0, 1}));
    std::unique_ptr<CValue> words = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    ExpectJsonFailures<CPNormalizeLine>(
        "(utility plugins) NormalizeLine::Run",
        {{"{}",
          {words.get()},
          "input 0 is not of type IMAGE_GREY_F or IMAGE_GREY_8 but IMAGE_GREY_16"}});
}
