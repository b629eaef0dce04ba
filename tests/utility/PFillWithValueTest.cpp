#include "PFillWithValue.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// The one-row image of `pixels` after FillWithValue with `json` and `mask`.
template <class T>
std::vector<T> Fill(IImage::CType type, std::vector<T> pixels, const CValue* mask,
                    const std::string& json) {
    std::unique_ptr<CValue> image =
        ImageValue<T>(type, CSize(static_cast<int64_t>(pixels.size()), 1), pixels);
    CPFillWithValue node;
    RunNode(node, json, {image.get(), mask});
    return Samples<T>(OutputImage(node));
}

}  // namespace

TEST(FillWithValue, MaskSelectsUpToTheShorterImage) {
    // Four mask pixels for six image pixels: the last two are never selected.
    std::unique_ptr<CValue> mask = ImageValue<float>(IMAGE_GREY_F, CSize(4, 1), {0, NAN, 2, 0});
    const std::vector<uint8_t> image = {1, 2, 3, 4, 5, 6};
    struct Case {
        const char* json;
        std::vector<uint8_t> expected;
    } cases[] = {
        {R"({"value": 300.0})", {1, 44, 44, 4, 5, 6}},  // low 8 bits
        {R"({"value": -1.0})", {1, 255, 255, 4, 5, 6}},
        {R"({"value": 7.9, "invert": true})", {7, 2, 3, 7, 5, 6}},  // truncated; zero selects
    };
    for (const Case& c : cases)
        EXPECT_EQ(Fill<uint8_t>(IMAGE_GREY_8, image, mask.get(), c.json), c.expected) << c.json;
}

TEST(FillWithValue, ConstantRulePerPixelType) {
    EXPECT_EQ(Fill<uint32_t>(IMAGE_GREY_32, {1, 2}, nullptr, R"({"value": -1.5})"),
              (std::vector<uint32_t>{0xFFFFFFFFu, 0xFFFFFFFFu}));
    EXPECT_EQ(Fill<uint16_t>(IMAGE_GREY_16, {1}, nullptr, R"({"value": 65537.9})"),
              (std::vector<uint16_t>{1}));
    EXPECT_EQ(Fill<float>(IMAGE_GREY_F, {1}, nullptr, R"({"value": 0.1})"),
              (std::vector<float>{0.1f}));
    // A long parameter; a binary mask of another type than the image.
    std::unique_ptr<CValue> mask = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {1, 0});
    EXPECT_EQ(Fill<double>(IMAGE_GREY_D, {1, 2}, mask.get(), R"({"value": 9})"),
              (std::vector<double>{9, 2}));
}

TEST(FillWithValue, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(1, 1), {1});
    CValueLong number(1);
    ExpectJsonFailures<CPFillWithValue>(
        "(utility plugins) FillWithValue::Run",
        {{"{}", {}, "input 0 is NULL"},
         {"{}",
          {colour.get()},
          "input 0 is not of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, IMAGE_GREY_F, "
          "IMAGE_GREY_D or IMAGE_BINARY_FG but IMAGE_RGB_8"},
         {"{}", {image.get(), &number}, "input 1 is not an image"}});
}
