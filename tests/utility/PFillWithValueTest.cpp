#include "PFillWithValue.h"

#include <cmath>
#include <limits>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

CValueMap Settings(double value, bool invert) {
    CValueMap parameters;
    parameters.SetEntry("value", new CValueDouble(value));
    parameters.SetEntry("invert", new CValueBool(invert));
    return parameters;
}

template <class T>
std::vector<T> Filled(IImage::CType type, std::vector<T> pixels, const CValue* mask,
                      const CValueMap& parameters) {
    CPFillWithValue node;
    Configure(node, parameters);
    std::unique_ptr<CValue> image =
        ImageValue<T>(type, CSize(static_cast<int64_t>(pixels.size()), 1), pixels);
    node.SetStackInput(0, image.get());
    node.SetStackInput(1, const_cast<CValue*>(mask));
    node.Run();
    return Samples<T>(OutputImage(node));
}

}  // namespace

TEST(FillWithValue, MaskSelectsUpToTheShorterImage) {
    // Four mask pixels for six image pixels: the last two are never selected.
    std::unique_ptr<CValue> mask = ImageValue<float>(IMAGE_GREY_F, CSize(4, 1), {0, NaN, 2, 0});
    const std::vector<uint8_t> image = {1, 2, 3, 4, 5, 6};
    struct Case {
        double value;
        bool invert;
        std::vector<uint8_t> expected;
    } cases[] = {
        {300, false, {1, 44, 44, 4, 5, 6}},  // low 8 bits
        {-1, false, {1, 255, 255, 4, 5, 6}},
        {7.9, true, {7, 2, 3, 7, 5, 6}},  // truncated; zero selects
    };
    for (const Case& c : cases)
        EXPECT_EQ(Filled<uint8_t>(IMAGE_GREY_8, image, mask.get(), Settings(c.value, c.invert)),
                  c.expected)
            << c.value << " " << c.invert;
}

TEST(FillWithValue, ConstantRulePerPixelType) {
    EXPECT_EQ(Filled<uint32_t>(IMAGE_GREY_32, {1, 2}, nullptr, Settings(-1.5, false)),
              (std::vector<uint32_t>{0xFFFFFFFFu, 0xFFFFFFFFu}));
    EXPECT_EQ(Filled<uint16_t>(IMAGE_GREY_16, {1}, nullptr, Settings(65537.9, false)),
              (std::vector<uint16_t>{1}));
    EXPECT_EQ(Filled<float>(IMAGE_GREY_F, {1}, nullptr, Settings(0.1, false)),
              (std::vector<float>{0.1f}));
    EXPECT_EQ(Filled<double>(IMAGE_GREY_D, {1}, nullptr, Settings(0.1, false)),
              (std::vector<double>{0.1}));
    // A long parameter; a binary mask of another type than the image.
    CValueMap parameters;
    parameters.SetEntry("value", new CValueLong(9));
    std::unique_ptr<CValue> mask = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {1, 0});
    EXPECT_EQ(Filled<double>(IMAGE_GREY_D, {1, 2}, mask.get(), parameters),
              (std::vector<double>{9, 2}));
}

TEST(FillWithValue, RefusesOtherTypes) {
    CPFillWithValue node;
    Configure(node);
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(1, 1), {1});
    const std::string where = "(utility plugins) FillWithValue::Run | ";
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "input 0 is NULL");
    node.SetStackInput(0, colour.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where +
                  "input 0 is not of type IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
                  "IMAGE_GREY_F, IMAGE_GREY_D or IMAGE_BINARY_FG but IMAGE_RGB_8");
    node.SetStackInput(0, image.get());
    CValueLong number(1);
    node.SetStackInput(1, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "input 1 is not an image");
}
