#include "PDrawString.h"

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::vector<std::string> Text(CSize size, const std::string& json) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, size, {0});
    CPDrawString node;
    RunNode(node, json, {input.get()});
    return Picture(OutputImage(node));
}

// The settings of `text` (JSON-escaped) at (x, y), and `more` settings.
std::string At(const std::string& text, int64_t x, int64_t y, const std::string& more = "") {
    return R"({"text": ")" + text + R"(", "x": )" + std::to_string(x) + R"(, "y": )" +
           std::to_string(y) + more + "}";
}

}  // namespace

TEST(DrawString, GlyphsSitInCellsOfSixByTenWithDescendersBelow) {
    EXPECT_EQ(Text(CSize(13, 11), At("Ag", 1, 0)),
              (std::vector<std::string>{"..###........", ".#...#.......", ".#...#..####.",
                                        ".#####.#...#.", ".#...#.#...#.", ".#...#.#...#.",
                                        ".#...#..####.", "...........#.", "........###..",
                                        ".............", "............."}));
}

TEST(DrawString, LinesAndUnknownCharacters) {
    // A line feed or a typed backslash-n starts a line 10 rows down at x; a character without
    // a glyph is a box, once per UTF-8 character.
    const std::vector<std::string> twoLines = Text(CSize(8, 20), At("\\u0001\\nI", 1, 0));
    EXPECT_EQ(Text(CSize(8, 20), At("\\u0001\\\\nI", 1, 0)), twoLines);
    EXPECT_EQ(Crop(twoLines, 0, 10, 8, 10), Text(CSize(8, 10), At("I", 1, 0)));
    EXPECT_EQ(Crop(twoLines, 0, 0, 7, 7),
              (std::vector<std::string>{".#####.", ".#...#.", ".#...#.", ".#...#.", ".#...#.",
                                        ".#...#.", ".#####."}));
    EXPECT_EQ(Text(CSize(14, 8), At("\u00e9\u20ac!", 0, 0)),
              Text(CSize(14, 8), At("\\u0001\\u0002!", 0, 0)));
}

TEST(DrawString, ClippedAtEveryBorder) {
    for (const std::string scale : {"1", "2"})
        ExpectClipped(CSize(15, 12),
                      {-4, 3, 9, 3, 2, -6, 2, 7, -7, -8, 11, 9, -30, 2, 20, 2, 2, 15, 2, -25},
                      [&](CSize size, int64_t x, int64_t y) {
                          return Text(size, At("Hi\\nqy", x, y, R"(, "scale": )" + scale));
                      });
    // The second column of 'A', 2^31 - 1 pixels wide, covers the whole image.
    EXPECT_EQ(Text(CSize(5, 4), At("A", -2147483647, 0, R"(, "scale": 2147483647)")),
              std::vector<std::string>(4, "#####"));
}

TEST(DrawString, BackgroundScaleAndPlanes) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(8, 11, 2), {7});
    CPDrawString node;
    RunNode(node, At("-", 1, 0, R"(, "background": true, "background_value": 300)"), {input.get()});
    std::vector<uint8_t> expected(176, 7);
    for (int64_t y = 0; y < 10; ++y)
        for (int64_t x = 1; x < 7; ++x)
            expected[static_cast<size_t>(y * 8 + x)] = x < 6 && y == 3 ? 255 : 44;
    EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), expected);

    // Each font pixel becomes a block of scale x scale, in every plane with all_planes.
    std::unique_ptr<CValue> zeros = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(12, 9, 2), {0});
    CPDrawString scaled;
    RunNode(scaled, At("-", 1, 0, R"(, "all_planes": true, "scale": 2)"), {zeros.get()});
    std::vector<std::string> line(9, std::string(12, '.'));
    line[6] = line[7] = ".##########.";
    EXPECT_EQ(Picture(OutputImage(scaled), 0), line);
    EXPECT_EQ(Picture(OutputImage(scaled), 1), line);
}

TEST(DrawString, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 4), {0});
    ExpectJsonFailures<CPDrawString>(
        "(utility plugins) DrawString::Run",
        {{"{}", "input image is NULL", {nullptr}},
         {R"({"scale": 0})", "parameter scale must be 1 or more, but it is 0", {image.get()}}});
}
