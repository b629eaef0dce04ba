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

}  // namespace

TEST(SamplePoints, ColumnsModesAndTheOutsideValue) {
    // Rows of label, x, y, z: without a z column the first plane is sampled.
    std::unique_ptr<CValue> ramp = Ramp();
    std::unique_ptr<CValue> points = Table(4, {7, 1.0f, 0.0f, 0.7f,  //
                                               7, 0.5f, 1.0f, 1.0f,  //
                                               7, 2.5f, 0.0f, 0.0f});
    const struct {
        const char* json;
        std::vector<float> values;
    } cases[] = {
        {R"({"x_column": 1})", {10, 105, -99}},
        {R"({"x_column": 1, "z_column": 3})", {710, 1105, -99}},
        {R"({"x_column": 1, "interpolation": "NEAREST", "outside_value": 7.5})", {10, 110, 7.5}},
    };
    for (const auto& c : cases) {
        CPSamplePoints node;
        RunNode(node, c.json, {ramp.get(), points.get()});
        const std::vector<float> table = NaNAs99(Samples<float>(OutputImage(node)));
        EXPECT_EQ(table, (std::vector<float>{1.0f, 0.0f, c.values[0], 0.5f, 1.0f, c.values[1], 2.5f,
                                             0.0f, c.values[2]}))
            << c.json;
    }
}

TEST(SamplePoints, Failures) {
    std::unique_ptr<CValue> image = Ramp();
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 2), {0});
    std::unique_ptr<CValue> points = Table(3, {1.0f, 1.0f, 0.0f});
    ExpectJsonFailures<CPSamplePoints>(
        "(utility plugins) SamplePoints::Run", {image.get(), points.get()},
        {{"{}", "input image is NULL", {nullptr, points.get()}},
         {"{}",
          "input image must have a single channel, but it is IMAGE_RGB_8I",
          {colour.get(), points.get()}},
         {"{}", "input 1 (the table of points) is NULL", {image.get()}},
         {R"({"z_column": 3})",
          "input 1 must be an IMAGE_GREY_F table of at least 4 columns, but it is an IMAGE_GREY_F "
          "image of size (3, 1, 1)"},
         {R"({"z_column": -2})", "parameter z_column must be -1 (none) or more, but it is -2"},
         {R"({"interpolation": "CUBIC"})",
          "parameter interpolation must be NEAREST or BILINEAR, but it is 'CUBIC'"}});
}
