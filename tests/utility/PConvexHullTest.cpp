#include "PConvexHull.h"

#include <cmath>

#include "DrawingTesting.h"
#include "algorithms/ConvexHull.h"

using namespace ORVA;
using namespace testing_support;

namespace {

struct SHullRun {
    std::vector<float> vertices;  // rows x, y
    const CImage* mask;
    double area, perimeter;
    int32_t count;
};

SHullRun RunHull(CPConvexHull& node, std::unique_ptr<CValue> input,
                 const std::string& json = "{}") {
    RunNode(node, json, {input.get()});
    EXPECT_EQ(OutputImage(node, 0).Size().x, 2);
    const CValueMap* measures = node.StackOutput(2)->Map();
    return {Samples<float>(OutputImage(node, 0)), UnwrapPointer<CImage>(node.StackOutput(1)),
            measures->EntryDouble("area"), measures->EntryDouble("perimeter"),
            measures->EntryLong("count")};
}

}  // namespace

TEST(ConvexHull, SmallPointSets) {
    struct Case {
        const char* what;
        std::vector<SHullPoint> points, hull;
    } cases[] = {
        {"none", {}, {}},
        {"duplicates", {{3, 4}, {3, 4}, {3, 4}}, {{3, 4}}},
        {"collinear", {{2, 2}, {0, 0}, {3, 3}, {1, 1}, {3, 3}}, {{0, 0}, {3, 3}}},
        {"vertical", {{5, 9}, {5, 1}, {5, 4}}, {{5, 1}, {5, 9}}},
        // y grows downwards in an image: the vertex of smallest y comes first, then the order
        // is counter-clockwise in (x, y), the leftmost of two lowest starting.
        {"triangle", {{0, 5}, {4, 5}, {2, 1}}, {{2, 1}, {4, 5}, {0, 5}}},
        {"square with inner and edge points",
         {{0, 0}, {2, 0}, {4, 0}, {4, 4}, {0, 4}, {2, 2}, {0, 2}, {4, 1}, {1, 3}, {0, 0}},
         {{0, 0}, {4, 0}, {4, 4}, {0, 4}}},
        {"lowest row of two", {{1, 3}, {6, 3}, {9, 8}, {0, 8}}, {{1, 3}, {6, 3}, {9, 8}, {0, 8}}},
        {"negative and fractional",
         {{-1.5, 0.25}, {2, -3}, {0, 0}, {3.5, 2}},
         {{2, -3}, {3.5, 2}, {-1.5, 0.25}}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ConvexHull(c.points), c.hull) << c.what;
}

TEST(ConvexHull, ImageModeMaskAndMeasures) {
    // An L of pixels in the first plane (the second plane is ignored): the hull is the triangle
    // (1, 1), (4, 4), (1, 4) in pixel centres, its mask the pixels on or inside it.
    std::vector<float> image(6 * 5 * 2, 0.0f);
    for (int64_t i = 1; i <= 4; ++i) {
        image[i * 6 + 1] = 1.0f;
        image[4 * 6 + i] = NAN;  // NaN is non-zero
    }
    image[6 * 5 + 5] = 1.0f;
    CPConvexHull node;
    SHullRun run = RunHull(node, ImageValue(IMAGE_GREY_F, CSize(6, 5, 2), image));
    EXPECT_EQ(run.vertices, (std::vector<float>{1, 1, 4, 4, 1, 4}));
    EXPECT_EQ(run.area, 4.5);
    EXPECT_DOUBLE_EQ(run.perimeter, 6.0 + std::sqrt(18.0));
    EXPECT_EQ(run.count, 3);
    ASSERT_EQ(run.mask->Size(), CSize(6, 5, 2));
    std::vector<uint8_t> expected(60, 0);
    for (int64_t y = 1; y <= 4; ++y)
        for (int64_t x = 1; x <= y; ++x)
            expected[y * 6 + x] = 1;
    EXPECT_EQ(Samples<uint8_t>(*run.mask), expected);

    // The same node object runs again with new results.
    run = RunHull(node, ImageValue<uint16_t>(IMAGE_GREY_16, CSize(3, 3), {0}));
    EXPECT_TRUE(run.vertices.empty());
    EXPECT_EQ(Samples<uint8_t>(*run.mask), std::vector<uint8_t>(9, 0));
    EXPECT_EQ(run.count, 0);
}

TEST(ConvexHull, PointsModeReadsTheChosenColumns) {
    // A GetCoordinates table with a label column: label, x, y.
    const std::vector<float> table = {7, 0, 0, 7, 5, 0, 7, 5, 5, 7, 0, 5, 7, 2, 2};
    CPConvexHull node;
    SHullRun run = RunHull(node, ImageValue(IMAGE_GREY_F, CSize(3, 5), table),
                           R"({"input_mode": "POINTS", "x_column": 1})");
    EXPECT_EQ(run.vertices, (std::vector<float>{0, 0, 5, 0, 5, 5, 0, 5}));
    EXPECT_EQ(run.area, 25.0);
    EXPECT_EQ(run.perimeter, 20.0);
    EXPECT_EQ(run.mask, nullptr);
}

TEST(ConvexHull, Failures) {
    std::unique_ptr<CValue> square = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1});
    std::unique_ptr<CValue> colour = ImageValue<float>(IMAGE_RGB_FI, CSize(2, 2), {1});
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 2), {1});
    std::unique_ptr<CValue> nan =
        ImageValue<float>(IMAGE_GREY_F, CSize(2, 3), {1, 2, 3, 4, 5, NAN});
    const std::string points = R"({"input_mode": "POINTS")";
    ExpectJsonFailures<CPConvexHull>(
        "(utility plugins) ConvexHull", {square.get()},
        {{"{}", "input image is NULL", {nullptr}},
         {R"({"input_mode": "points"})", "input_mode is 'points'; IMAGE or POINTS expected"},
         {"{}",
          "input image is of type IMAGE_RGB_FI; a grey or binary type expected",
          {colour.get()}},
         {points + "}",
          "point table is of type IMAGE_GREY_8; IMAGE_GREY_F expected",
          {bytes.get()}},
         {points + R"(, "x_column": -1})", "x_column is -1; 0 or more expected"},
         {points + R"(, "x_column": 1})",
          "point table has 2 columns; x in column 1 and y in column 2 expected"},
         {points + "}",
          "row 2 of the point table holds a coordinate that is not a finite number",
          {nan.get()}}});
}
