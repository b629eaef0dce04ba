#include "PSamplePoints.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Two planes of 3 x 2: 0 10 20 / 100 110 120, and 1000 more in the second.
std::unique_ptr<CValue> Ramp() {
    return ImageValue<float>(IMAGE_GREY_F, CSize(3, 2, 2),
                             {0, 10, 20, 100, 110, 120, 1000, 1010, 1020, 1100, 1110, 1120});
}

// Equal, NaN included.
bool Same(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || a == b;
}

}  // namespace

TEST(SamplePoints, InterpolationAtCentresBetweenThemAndOutside) {
    const std::string bilinear = R"({"interpolation": "BILINEAR")";
    const std::string nearest = R"({"interpolation": "NEAREST")";
    const std::string withZ = R"(, "z_column": 2})";
    std::unique_ptr<CValue> ramp = Ramp();
    // Non-finite values stay out of the pixel centres beside them.
    std::unique_ptr<CValue> broken =
        ImageValue<double>(IMAGE_GREY_D, CSize(3, 1), {4.0, NAN, INFINITY});
    struct Case {
        const CValue* image;
        std::string json;
        float x, y, z;
        double expected;
    } cases[] = {
        // Pixel centres lie at integers; the last centre is still inside.
        {ramp.get(), bilinear + "}", 2.0f, 1.0f, 0.0f, 120.0},
        {ramp.get(), bilinear + "}", 0.5f, 0.5f, 0.0f, 55.0},
        {ramp.get(), bilinear + "}", 1.75f, 1.0f, 0.0f, 117.5},
        {ramp.get(), bilinear + "}", 2.001f, 1.0f, 0.0f, NAN},
        {ramp.get(), bilinear + R"(, "outside_value": -1})", 0.0f, 1.5f, 0.0f, -1.0},
        {ramp.get(), bilinear + "}", NAN, 0.0f, 0.0f, NAN},
        // Halves round up; half a pixel around the centres is inside.
        {ramp.get(), nearest + "}", 0.5f, 0.0f, 0.0f, 10.0},
        {ramp.get(), nearest + "}", -0.5f, 0.0f, 0.0f, 0.0},
        {ramp.get(), nearest + "}", -0.51f, 0.0f, 0.0f, NAN},
        {ramp.get(), nearest + R"(, "outside_value": 7.5})", 2.5f, 0.0f, 0.0f, 7.5},
        // Without a z column the first plane; with one, linear along z as well.
        {ramp.get(), nearest + "}", 1.0f, 0.0f, 0.7f, 10.0},
        {ramp.get(), bilinear + withZ, 1.0f, 0.0f, 0.25f, 260.0},
        {ramp.get(), bilinear + withZ, 0.5f, 1.0f, 1.0f, 1105.0},
        {ramp.get(), bilinear + withZ, 1.0f, 0.0f, 1.01f, NAN},
        {ramp.get(), nearest + withZ, 1.0f, 0.0f, 0.5f, 1010.0},
        {broken.get(), "{}", 0.0f, 0.0f, 0.0f, 4.0},
        {broken.get(), "{}", 0.5f, 0.0f, 0.0f, NAN},
        {broken.get(), "{}", 2.0f, 0.0f, 0.0f, INFINITY},
        {broken.get(), "{}", 1.5f, 0.0f, 0.0f, NAN},
    };
    for (const Case& c : cases) {
        std::unique_ptr<CValue> points = Table(3, {c.x, c.y, c.z});
        CPSamplePoints node;
        RunNode(node, c.json, {c.image, points.get()});
        const double value = Samples<float>(OutputImage(node)).at(2);  // x, y, value
        EXPECT_TRUE(Same(value, c.expected))
            << c.json << " at " << c.x << ", " << c.y << ", " << c.z << ": " << value;
    }
}

TEST(SamplePoints, IntegerImagesAndTheColumnsOfOtherTables) {
    // curve, index, x, y, arc length as CurveIndex writes them: x in column 2.
    std::unique_ptr<CValue> image = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {0, 65535});
    std::unique_ptr<CValue> curve =
        Table(5, {1.0f, 1.0f, 0.5f, 0.0f, 0.0f, 1.0f, 2.0f, 1.0f, 0.0f, 1.0f});
    std::unique_ptr<CValue> none = Table(2, {});
    CPSamplePoints node;
    RunNode(node, R"({"x_column": 2})", {image.get(), curve.get()});
    const CValueVector& values = *node.StackOutput(1)->Vector();
    EXPECT_TRUE(values.Size() == 2 && values[0]->Double() == 32767.5);
    EXPECT_EQ(Samples<float>(OutputImage(node)),
              (std::vector<float>{0.5f, 0.0f, 32767.5f, 1.0f, 0.0f, 65535.0f}));
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 2, 1));
    RunNode(node, R"({"x_column": 0})", {image.get(), none.get()});
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 0, 1));
    EXPECT_EQ(node.StackOutput(1)->Vector()->Size(), 0u);
}

TEST(SamplePoints, Failures) {
    std::unique_ptr<CValue> image = Ramp();
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 2), {0});
    std::unique_ptr<CValue> points = Table(3, {1.0f, 1.0f, 0.0f});
    ExpectJsonFailures<CPSamplePoints>(
        "(utility plugins) SamplePoints::Run",
        {{"{}", {nullptr, points.get()}, "input image is NULL"},
         {"{}",
          {colour.get(), points.get()},
          "input image must have a single channel, but it is IMAGE_RGB_8I"},
         {"{}", {image.get()}, "input 1 (the table of points) is NULL"},
         {R"({"z_column": 3})",
          {image.get(), points.get()},
          "input 1 must be an IMAGE_GREY_F table of at least 4 columns, but it is an "
          "IMAGE_GREY_F image of size (3, 1, 1)"},
         {R"({"z_column": -2})",
          {image.get(), points.get()},
          "parameter z_column must be -1 (none) or more, but it is -2"},
         {R"({"interpolation": "CUBIC"})",
          {image.get(), points.get()},
          "parameter interpolation must be NEAREST or BILINEAR, but it is 'CUBIC'"}});
}
