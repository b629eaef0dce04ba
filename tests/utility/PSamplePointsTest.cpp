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

// The values output 1 holds.
std::vector<double> Values(CPNode& node) {
    std::vector<double> values;
    for (const auto& value : *node.StackOutput(1)->Vector())
        values.push_back(value->Double());
    return values;
}

// Equal, NaN included.
bool Same(double a, double b) {
    return (std::isnan(a) && std::isnan(b)) || a == b;
}

}  // namespace

TEST(SamplePoints, InterpolationAtCentresBetweenThemAndOutside) {
    struct Case {
        const char* json;
        float x, y, z;
        double expected;
    } cases[] = {
        // Pixel centres lie at integers; the last centre is still inside.
        {R"({"interpolation": "BILINEAR"})", 2.0f, 1.0f, 0.0f, 120.0},
        {R"({"interpolation": "BILINEAR"})", 0.5f, 0.0f, 0.0f, 5.0},
        {R"({"interpolation": "BILINEAR"})", 0.5f, 0.5f, 0.0f, 55.0},
        {R"({"interpolation": "BILINEAR"})", 1.75f, 1.0f, 0.0f, 117.5},
        {R"({"interpolation": "BILINEAR"})", 2.001f, 1.0f, 0.0f, NAN},
        {R"({"interpolation": "BILINEAR"})", 0.0f, -0.001f, 0.0f, NAN},
        {R"({"interpolation": "BILINEAR", "outside_value": -1})", 0.0f, 1.5f, 0.0f, -1.0},
        {R"({"interpolation": "BILINEAR"})", NAN, 0.0f, 0.0f, NAN},
        // Halves round up; half a pixel around the centres is inside.
        {R"({"interpolation": "NEAREST"})", 0.5f, 0.0f, 0.0f, 10.0},
        {R"({"interpolation": "NEAREST"})", -0.5f, 0.0f, 0.0f, 0.0},
        {R"({"interpolation": "NEAREST"})", 2.49f, 1.49f, 0.0f, 120.0},
        {R"({"interpolation": "NEAREST"})", -0.51f, 0.0f, 0.0f, NAN},
        {R"({"interpolation": "NEAREST", "outside_value": 7.5})", 2.5f, 0.0f, 0.0f, 7.5},
        // Without a z column the first plane; with one, linear along z as well.
        {R"({"interpolation": "BILINEAR", "z_column": 2})", 1.0f, 0.0f, 0.25f, 260.0},
        {R"({"interpolation": "BILINEAR", "z_column": 2})", 0.5f, 1.0f, 1.0f, 1105.0},
        {R"({"interpolation": "BILINEAR", "z_column": 2})", 1.0f, 0.0f, 1.01f, NAN},
        {R"({"interpolation": "NEAREST", "z_column": 2})", 1.0f, 0.0f, 0.5f, 1010.0},
        {R"({"interpolation": "NEAREST"})", 1.0f, 0.0f, 0.7f, 10.0},
    };
    std::unique_ptr<CValue> image = Ramp();
    for (const Case& c : cases) {
        std::unique_ptr<CValue> points = Table(3, {c.x, c.y, c.z});
        CPSamplePoints node;
        RunNode(node, c.json, {image.get(), points.get()});
        const double value = Values(node).at(0);
        EXPECT_TRUE(Same(value, c.expected))
            << c.json << " at " << c.x << ", " << c.y << ", " << c.z << ": " << value;
        const std::vector<float> row = Samples<float>(OutputImage(node));
        EXPECT_TRUE(Same(row[0], c.x));
        EXPECT_TRUE(Same(row[2], static_cast<float>(c.expected)));
    }
}

TEST(SamplePoints, NonFiniteNeighboursStayOutOfPixelCentres) {
    std::unique_ptr<CValue> image =
        ImageValue<double>(IMAGE_GREY_D, CSize(3, 1), {4.0, NAN, INFINITY});
    std::unique_ptr<CValue> points = Table(2, {0.0f, 0.0f, 0.5f, 0.0f, 2.0f, 0.0f, 1.5f, 0.0f});
    CPSamplePoints node;
    RunNode(node, "{}", {image.get(), points.get()});
    std::vector<double> values = Values(node);
    ASSERT_EQ(values.size(), 4u);
    EXPECT_EQ(values[0], 4.0);
    EXPECT_TRUE(std::isnan(values[1]));
    EXPECT_EQ(values[2], INFINITY);
    EXPECT_TRUE(std::isnan(values[3]));
}

TEST(SamplePoints, IntegerImagesAndTheColumnsOfOtherTables) {
    // curve, index, x, y, arc length as CurveIndex writes them: x in column 2.
    std::unique_ptr<CValue> image = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {0, 65535});
    std::unique_ptr<CValue> curve =
        Table(5, {1.0f, 1.0f, 0.5f, 0.0f, 0.0f, 1.0f, 2.0f, 1.0f, 0.0f, 1.0f});
    CPSamplePoints node;
    RunNode(node, R"({"x_column": 2})", {image.get(), curve.get()});
    EXPECT_EQ(Values(node), (std::vector<double>{32767.5, 65535.0}));
    EXPECT_EQ(Samples<float>(OutputImage(node)),
              (std::vector<float>{0.5f, 0.0f, 32767.5f, 1.0f, 0.0f, 65535.0f}));
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 2, 1));

    std::unique_ptr<CValue> none = Table(2, {});
    RunNode(node, R"({"x_column": 0})", {image.get(), none.get()});
    EXPECT_EQ(OutputImage(node).Size(), CSize(3, 0, 1));
    EXPECT_EQ(node.StackOutput(1)->Vector()->Size(), 0u);
}

TEST(SamplePoints, Failures) {
    std::unique_ptr<CValue> image = Ramp();
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 2), {0});
    std::unique_ptr<CValue> points = Table(3, {1.0f, 1.0f, 0.0f});
    struct Case {
        std::string json;
        const CValue* image;
        const CValue* table;
        const char* message;
    } cases[] = {
        {"{}", nullptr, points.get(), "input image is NULL"},
        {"{}", colour.get(), points.get(),
         "input image must have a single channel, but it is IMAGE_RGB_8I"},
        {"{}", image.get(), nullptr, "input 1 (the table of points) is NULL"},
        {R"({"z_column": 3})", image.get(), points.get(),
         "input 1 must be an IMAGE_GREY_F table of at least 4 columns, but it is an "
         "IMAGE_GREY_F image of size (3, 1, 1)"},
        {R"({"z_column": -2})", image.get(), points.get(),
         "parameter z_column must be -1 (none) or more, but it is -2"},
        {R"({"interpolation": "CUBIC"})", image.get(), points.get(),
         "parameter interpolation must be NEAREST or BILINEAR, but it is 'CUBIC'"},
    };
    for (const Case& c : cases) {
        CPSamplePoints node;
        EXPECT_EQ(ErrorOf(
                      [&] {
                          RunNode(node, c.json, {c.image, c.table});
                      },
                      true),
                  std::string("(utility plugins) SamplePoints::Run | ") + c.message);
    }
}
