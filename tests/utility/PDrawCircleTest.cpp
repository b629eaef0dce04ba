#include "PDrawCircle.h"

#include <chrono>
#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::vector<std::string> Draw(CSize size, const std::string& json, const CValue* table = nullptr) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, size, {0});
    CPDrawCircle node;
    RunNode(node, json, {input.get(), table});
    return Picture(OutputImage(node));
}

// The samples after drawing `value` on pixel 1 of a 3 x 1 x 2 image of 7s.
template <class T>
std::vector<T> DrawnPixel(IImage::CType type, double value) {
    std::unique_ptr<CValue> input = ImageValue<T>(type, CSize(3, 1, 2), {7});
    CPDrawCircle node;
    RunNode(node, R"({"x": 1, "y": 0, "radius": 0, "value": )" + std::to_string(value) + "}",
            {input.get()});
    return Samples<T>(OutputImage(node));
}

}  // namespace

TEST(DrawCircle, FromParametersOrFromTheRowsOfATable) {
    const std::vector<std::string> outline = {"..###..", ".#...#.", "#.....#", "#.....#",
                                              "#.....#", ".#...#.", "..###.."};
    EXPECT_EQ(Draw(CSize(7, 7), R"({"x": 3, "y": 3, "radius": 3})"), outline);

    // Rows x, y, r and a column to ignore, rounded to the nearest pixel; the parameters are not
    // used. Rows with a value that is not finite or a negative radius draw nothing.
    std::unique_ptr<CValue> table = Table(4, {2.6f, 3.4f, 2.5f, 99.0f,  //
                                              NAN, 1.0f, 1.0f, 0.0f,    //
                                              1.0f, 1.0f, -0.2f, 0.0f,  //
                                              5.0f, 5.0f, INFINITY, 0.0f});
    EXPECT_EQ(Draw(CSize(7, 7), R"({"x": 0, "y": 0, "radius": 1})", table.get()), outline);
}

TEST(DrawCircle, HugeCirclesVisitOnlyTheRowsOfTheImage) {
    // The top of a circle of radius 2^31 - 1 is flat across 12 pixels.
    const std::string json = R"({"x": 3, "y": 2147483647, "radius": 2147483647)";
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::string> top(6, std::string(12, '.'));
    top[0] = std::string(12, '#');
    EXPECT_EQ(Draw(CSize(12, 6), json + "}"), top);
    EXPECT_EQ(Draw(CSize(12, 6), json + R"(, "fill": true})"),
              std::vector<std::string>(6, std::string(12, '#')));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

TEST(DrawCircle, ValueIsCastToThePixelTypeInEveryChannelOfTheFirstPlane) {
    // A radius-0 circle on pixel 1 of the first plane of a 3 x 1 x 2 image of 7s: channels
    // are planes of 6 samples in RGB_8, interleaved in RGB_8I.
    EXPECT_EQ(DrawnPixel<uint8_t>(IMAGE_GREY_8, 300.7), (std::vector<uint8_t>{7, 44, 7, 7, 7, 7}));
    EXPECT_EQ(DrawnPixel<float>(IMAGE_GREY_F, 300.7), (std::vector<float>{7, 300.7f, 7, 7, 7, 7}));
    std::vector<uint8_t> planar(18, 7), interleaved(18, 7);
    planar[1] = planar[7] = planar[13] = 2;
    interleaved[3] = interleaved[4] = interleaved[5] = 2;
    EXPECT_EQ(DrawnPixel<uint8_t>(IMAGE_RGB_8, 258.0), planar);
    EXPECT_EQ(DrawnPixel<uint8_t>(IMAGE_RGB_8I, 258.0), interleaved);
}

TEST(DrawCircle, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 4), {0});
    std::unique_ptr<CValue> narrow = Table(2, {1.0f, 1.0f});
    const std::string table = "input 1 must be an IMAGE_GREY_F table of at least 3 columns, but ";
    ExpectJsonFailures<CPDrawCircle>(
        "(utility plugins)DrawCircle::Run",
        {{"{}", "input image is NULL", {nullptr}},
         {R"({"radius": -1})", "parameter radius must be 0 or more, but it is -1", {image.get()}},
         {"{}",
          table + "it is an IMAGE_GREY_F image of size (2, 1, 1)",
          {image.get(), narrow.get()}},
         {"{}",
          table + "it is an IMAGE_GREY_8 image of size (4, 4, 1)",
          {image.get(), image.get()}}});
}
