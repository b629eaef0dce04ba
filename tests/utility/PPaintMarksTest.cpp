#include "PPaintMarks.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::vector<std::string> Marks(CSize size, const std::string& json, const CValue& table) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, size, {0});
    CPPaintMarks node;
    RunNode(node, json, {input.get(), &table});
    return Picture(OutputImage(node));
}

const char* const SHAPE_NAMES[] = {"CROSS", "PLUS", "POINT", "SQUARE", "CIRCLE"};

std::string Shape(const char* shape, int size) {
    return std::string(R"({"shape": ")") + shape + R"(", "size": )" + std::to_string(size) + "}";
}

}  // namespace

TEST(PaintMarks, EachShapeReachesSizePixelsFromItsPoint) {
    const std::vector<std::string> pictures[] = {
        {".......", ".#...#.", "..#.#..", "...#...", "..#.#..", ".#...#.", "......."},
        {".......", "...#...", "...#...", ".#####.", "...#...", "...#...", "......."},
        {".......", ".......", ".......", "...#...", ".......", ".......", "......."},
        {".......", ".#####.", ".#...#.", ".#...#.", ".#...#.", ".#####.", "......."},
        {".......", "..###..", ".#...#.", ".#...#.", ".#...#.", "..###..", "......."},
    };
    // Points are rounded to the nearest pixel centre.
    std::unique_ptr<CValue> point = Table(2, {3.4f, 2.5f});
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Marks(CSize(7, 7), Shape(SHAPE_NAMES[i], 2), *point), pictures[i])
            << SHAPE_NAMES[i];
        EXPECT_EQ(Marks(CSize(7, 7), Shape(SHAPE_NAMES[i], 0), *point), pictures[2])
            << SHAPE_NAMES[i] << " of size 0";
    }
}

TEST(PaintMarks, PointsFromTheColumnsAtXColumnAndRowsWithoutAPointSkipped) {
    // label, x, y, z as GetCoordinates writes them with its label and 3d options.
    std::unique_ptr<CValue> table = Table(4, {9.0f, 1.0f, 0.0f, 5.0f,       //
                                              9.0f, NAN, 1.0f, 0.0f,        //
                                              9.0f, 2.0f, -INFINITY, 0.0f,  //
                                              9.0f, 3.0f, 2.0f, 0.0f});
    EXPECT_EQ(Marks(CSize(5, 3), R"({"shape": "POINT", "x_column": 1})", *table),
              (std::vector<std::string>{".#...", ".....", "...#."}));
}

TEST(PaintMarks, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 4), {0});
    std::unique_ptr<CValue> points = Table(2, {1.0f, 1.0f});
    ExpectJsonFailures<CPPaintMarks>(
        "(utility plugins) PaintMarks::Run", {image.get(), points.get()},
        {{"{}", "input 1 (the table of points) is NULL", {image.get()}},
         {R"({"x_column": 1})",
          "input 1 must be an IMAGE_GREY_F table of at least 3 columns, but it is an IMAGE_GREY_F "
          "image of size (2, 1, 1)"},
         {R"({"x_column": -1})", "parameter x_column must be 0 or more, but it is -1"},
         {R"({"size": -3})", "parameter size must be 0 or more, but it is -3"},
         {R"({"shape": "cross"})",
          "parameter shape must be one of CROSS, PLUS, POINT, SQUARE or CIRCLE, but it is "
          "'cross'"}});
}
