#include "PDrawString.h"

#include <set>

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

TEST(DrawString, FontHasADistinctGlyphForEveryPrintableCharacter) {
    std::set<std::vector<uint8_t>> seen;
    for (int c = 32; c <= 127; ++c) {
        const SGlyph& glyph = Glyph(static_cast<unsigned char>(c));  // 127: the box
        std::vector<uint8_t> rows(glyph.rows, glyph.rows + SGlyph::HEIGHT);
        EXPECT_TRUE(seen.insert(rows).second) << "glyph of " << c << " repeats another";
        EXPECT_EQ(rows == std::vector<uint8_t>(SGlyph::HEIGHT, 0), c == ' ') << c;
    }
    for (int c : {0, 9, 31, 127, 128, 200, 255})
        EXPECT_EQ(&Glyph(static_cast<unsigned char>(c)), &Glyph(127)) << c;
}

TEST(DrawString, LinesUnknownCharactersAndScale) {
    // A line feed or a typed backslash-n starts a line 10 rows down at x; a character without
    // a glyph is a box, once per UTF-8 character.
    const std::vector<std::string> twoLines = Text(CSize(8, 20), At("\\u0001\\nI", 1, 0));
    EXPECT_EQ(Text(CSize(8, 20), At("\\u0001\\\\nI", 1, 0)), twoLines);
    EXPECT_EQ(Crop(twoLines, 0, 0, 8, 10), Text(CSize(8, 10), At("\\t", 1, 0)));
    EXPECT_EQ(Crop(twoLines, 0, 10, 8, 10), Text(CSize(8, 10), At("I", 1, 0)));
    EXPECT_EQ(Crop(twoLines, 0, 0, 7, 7),
              (std::vector<std::string>{".#####.", ".#...#.", ".#...#.", ".#...#.", ".#...#.",
                                        ".#...#.", ".#####."}));
    EXPECT_EQ(Text(CSize(14, 8), At("\u00e9\u20ac!", 0, 0)),
              Text(CSize(14, 8), At("\\u0001\\u0002!", 0, 0)));

    // Each font pixel becomes a block of scale x scale.
    const std::vector<std::string> small = Text(CSize(12, 10), At("k%", 0, 0));
    std::vector<std::string> doubled;
    for (const std::string& row : small) {
        std::string wide;
        for (char c : row)
            wide += std::string(2, c);
        doubled.push_back(wide);
        doubled.push_back(wide);
    }
    EXPECT_EQ(Text(CSize(24, 20), At("k%", 0, 0, R"(, "scale": 2)")), doubled);
}

TEST(DrawString, ClippedAtEveryBorder) {
    const int64_t offset = 30;
    for (int scale : {1, 2})
        for (auto [x, y] : {std::pair{-4, 3},
                            {9, 3},
                            {2, -6},
                            {2, 7},
                            {-7, -8},
                            {11, 9},
                            {-30, 2},
                            {20, 2},
                            {2, 15},
                            {2, -25}}) {
            const std::string text = "Hi\\nqy", more = R"(, "scale": )" + std::to_string(scale);
            std::vector<std::string> large =
                Text(CSize(75, 75), At(text, x + offset, y + offset, more));
            EXPECT_EQ(Text(CSize(15, 12), At(text, x, y, more)),
                      Crop(large, offset, offset, 15, 12))
                << x << ", " << y << " at scale " << scale;
        }
    // The second column of 'A', 2^31 - 1 pixels wide, covers the whole image.
    EXPECT_EQ(Text(CSize(5, 4), At("A", -2147483647, 0, R"(, "scale": 2147483647)")),
              std::vector<std::string>(4, "#####"));
}

TEST(DrawString, BackgroundFillsTheCellsAndPlanesAreChosen) {
    std::unique_ptr<CValue> input = Filled(IMAGE_GREY_8, CSize(8, 11, 2), 7.0);
    CPDrawString node;
    RunNode(node, At("-", 1, 0, R"(, "background": true, "background_value": 300)"), {input.get()});
    std::vector<double> expected(176, 7.0);
    for (int64_t y = 0; y < 10; ++y)
        for (int64_t x = 1; x < 7; ++x)
            expected[static_cast<size_t>(y * 8 + x)] = x < 6 && y == 3 ? 255.0 : 44.0;
    EXPECT_EQ(AllSamples(OutputImage(node)), expected);

    RunNode(node, At("-", 1, 0, R"(, "all_planes": true, "value": 1)"), {input.get()});
    const std::vector<std::string> line = {"........", "........", "........", ".#####..",
                                           "........", "........", "........", "........",
                                           "........", "........", "........"};
    for (int64_t plane : {0, 1}) {
        std::vector<std::string> ones;
        const uint8_t* data = OutputImage(node).Data<uint8_t>() + plane * 88;
        for (int64_t y = 0; y < 11; ++y) {
            ones.emplace_back();
            for (int64_t x = 0; x < 8; ++x)
                ones.back() += data[y * 8 + x] == 1 ? '#' : '.';
        }
        EXPECT_EQ(ones, line) << "plane " << plane;
    }
}

TEST(DrawString, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 4), {0});
    CPDrawString node;
    EXPECT_EQ(ErrorOf([&] { RunNode(node, "{}", {nullptr}); }, true),
              "(utility plugins) DrawString::Run | input image is NULL");
    EXPECT_EQ(ErrorOf([&] { RunNode(node, R"({"scale": 0})", {image.get()}); }, true),
              "(utility plugins) DrawString::Run | parameter scale must be 1 or more, but it is 0");
}
