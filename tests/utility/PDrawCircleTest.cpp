#include "PDrawCircle.h"

#include <chrono>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

using CPixels = std::set<std::pair<int64_t, int64_t>>;

// The midpoint circle as textbooks write it: one octant stepped with the integer decision
// variable, mirrored eight ways.
CPixels TextbookCircle(int64_t r) {
    CPixels pixels;
    int64_t x = 0, y = r, d = 1 - r;
    while (x <= y) {
        for (auto [a, b] : {std::pair{x, y}, std::pair{y, x}})
            for (int64_t sa : {-1, 1})
                for (int64_t sb : {-1, 1})
                    pixels.insert({sa * a, sb * b});
        if (d < 0) {
            d += 2 * x + 3;
        } else {
            d += 2 * (x - y) + 5;
            --y;
        }
        ++x;
    }
    return pixels;
}

// The offsets from the centre that DrawMidpointCircle sets.
CPixels Drawn(int64_t r, bool fill) {
    CImage image(IMAGE_GREY_8, CSize(2 * r + 3, 2 * r + 3));
    DrawMidpointCircle(MakeCanvas<uint8_t>(image, false, 1.0), r + 1, r + 1, r, fill);
    CPixels pixels;
    const uint8_t* data = image.Data<uint8_t>();
    for (int64_t i = 0; i < image.Pixels(); ++i)
        if (data[i]) pixels.insert({i % image.Size().x - r - 1, i / image.Size().x - r - 1});
    return pixels;
}

std::vector<std::string> Draw(CSize size, const std::string& json, const CValue* table = nullptr) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, size, {0});
    CPDrawCircle node;
    RunNode(node, json, {input.get(), table});
    return Picture(OutputImage(node));
}

}  // namespace

TEST(DrawCircle, OutlineIsTheMidpointAlgorithms) {
    for (int64_t r = 0; r <= 120; ++r)
        EXPECT_EQ(Drawn(r, false), TextbookCircle(r)) << "radius " << r;
    for (int64_t r : {255, 1000, 1001})
        EXPECT_EQ(Drawn(r, false), TextbookCircle(r)) << "radius " << r;
}

TEST(DrawCircle, FillSpansEachRowBetweenTheOutlinesEnds) {
    for (int64_t r = 0; r <= 80; ++r) {
        std::map<int64_t, std::pair<int64_t, int64_t>> ends;  // row: leftmost, rightmost
        for (auto [x, y] : TextbookCircle(r)) {
            auto [it, fresh] = ends.try_emplace(y, x, x);
            it->second = {std::min(it->second.first, x), std::max(it->second.second, x)};
        }
        CPixels expected;
        for (auto [y, span] : ends)
            for (int64_t x = span.first; x <= span.second; ++x)
                expected.insert({x, y});
        EXPECT_EQ(Drawn(r, true), expected) << "radius " << r;
    }
}

TEST(DrawCircle, FromParametersOrFromTheRowsOfATable) {
    const std::vector<std::string> outline = {"..###..", ".#...#.", "#.....#", "#.....#",
                                              "#.....#", ".#...#.", "..###.."};
    EXPECT_EQ(Draw(CSize(7, 7), R"({"x": 3, "y": 3, "radius": 3})"), outline);
    EXPECT_EQ(Draw(CSize(7, 7), R"({"x": 3, "y": 3, "radius": 3, "fill": true})"),
              (std::vector<std::string>{"..###..", ".#####.", "#######", "#######", "#######",
                                        ".#####.", "..###.."}));

    // Rows x, y, r and a column to ignore, rounded to the nearest pixel; the parameters are not
    // used. Rows with a value that is not finite or a negative radius draw nothing.
    std::unique_ptr<CValue> table = Table(4, {2.6f, 3.4f, 2.5f, 99.0f,  //
                                              NAN, 1.0f, 1.0f, 0.0f,    //
                                              1.0f, 1.0f, -0.2f, 0.0f,  //
                                              5.0f, 5.0f, INFINITY, 0.0f});
    EXPECT_EQ(Draw(CSize(7, 7), R"({"x": 0, "y": 0, "radius": 1})", table.get()), outline);
}

TEST(DrawCircle, ClippedAtEveryBorder) {
    // A circle crossing the borders of a small image is the window of the same circle in a
    // large one.
    const int64_t offset = 20;
    for (bool fill : {false, true})
        for (auto [x, y] : {std::pair{-2, 4},
                            {10, 4},
                            {5, -3},
                            {5, 9},
                            {-1, -1},
                            {11, 8},
                            {-6, 4},
                            {17, 4},
                            {5, 13},
                            {5, -8}}) {
            std::string json = R"({"radius": 5, "fill": )" + std::string(fill ? "true" : "false");
            auto at = [&](int64_t cx, int64_t cy) {
                return json + ", \"x\": " + std::to_string(cx) + ", \"y\": " + std::to_string(cy) +
                       "}";
            };
            std::vector<std::string> large = Draw(CSize(52, 49), at(x + offset, y + offset));
            EXPECT_EQ(Draw(CSize(12, 9), at(x, y)), Crop(large, offset, offset, 12, 9))
                << x << ", " << y << (fill ? " filled" : "");
        }
}

TEST(DrawCircle, HugeCirclesVisitOnlyTheRowsOfTheImage) {
    // The top of a circle of radius 2^31 - 1 is flat across 12 pixels.
    const std::string json = R"({"x": 3, "y": 2147483647, "radius": 2147483647)";
    auto start = std::chrono::steady_clock::now();
    std::vector<std::string> outline = Draw(CSize(12, 6), json + "}");
    std::vector<std::string> filled = Draw(CSize(12, 6), json + R"(, "fill": true})");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    std::vector<std::string> expected(6, std::string(12, '.'));
    expected[0] = std::string(12, '#');
    EXPECT_EQ(outline, expected);
    for (size_t row = 1; row < 6; ++row)
        expected[row] = std::string(12, '#');
    EXPECT_EQ(filled, expected);
}

TEST(DrawCircle, ValueIsCastToThePixelTypeInEveryChannelOfTheFirstPlane) {
    struct Case {
        IImage::CType type;
        double value;
        double expected;
    } cases[] = {
        {IMAGE_GREY_8, 300.7, 44},         {IMAGE_GREY_16, -1.0, 65535},
        {IMAGE_GREY_32, -2.9, 4294967294}, {IMAGE_GREY_64, 1e10, 1e10},
        {IMAGE_GREY_F, 300.7, 300.7f},     {IMAGE_GREY_D, 300.7, 300.7},
        {IMAGE_BINARY_FG, 0.5, 1},         {IMAGE_BINARY_BG, NAN, 1},
        {IMAGE_RGB_8, 258.0, 2},           {IMAGE_RGB_8I, 65.0, 65},
        {IMAGE_RGB_FI, -0.25, -0.25f},
    };
    for (const Case& c : cases) {
        // A 3 x 1 x 2 image of 7s with a radius-0 circle on the middle pixel of its first plane.
        std::unique_ptr<CValue> input = Filled(c.type, CSize(3, 1, 2), 7.0);
        CValueMap settings = Settings(R"({"x": 1, "y": 0, "radius": 0})");
        settings.SetEntry("value", new CValueDouble(c.value));
        CPDrawCircle node;
        Configure(node, settings);
        node.SetStackInput(0, input.get());
        node.Run();

        std::vector<double> expected = AllSamples(*UnwrapPointer<CImage>(input.get()));
        for (int channel = 0; channel < c.type.Channels(); ++channel)
            expected[c.type.IsPlanar() ? channel * 6 + 1 : c.type.Channels() + channel] =
                c.expected;
        EXPECT_EQ(AllSamples(OutputImage(node)), expected) << c.type.Name();
    }
}

TEST(DrawCircle, Failures) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 4), {0});
    std::unique_ptr<CValue> narrow = Table(2, {1.0f, 1.0f});
    struct Case {
        std::string json;
        const CValue* input;
        const CValue* table;
        const char* message;
    } cases[] = {
        {"{}", nullptr, nullptr, "input image is NULL"},
        {R"({"radius": -1})", image.get(), nullptr,
         "parameter radius must be 0 or more, but it is -1"},
        {"{}", image.get(), narrow.get(),
         "input 1 must be an IMAGE_GREY_F table of at least 3 columns, but it is an "
         "IMAGE_GREY_F image of size (2, 1, 1)"},
        {"{}", image.get(), image.get(),
         "input 1 must be an IMAGE_GREY_F table of at least 3 columns, but it is an "
         "IMAGE_GREY_8 image of size (4, 4, 1)"},
    };
    for (const Case& c : cases) {
        CPDrawCircle node;
        EXPECT_EQ(ErrorOf(
                      [&] {
                          RunNode(node, c.json, {c.input, c.table});
                      },
                      true),
                  std::string("(utility plugins)DrawCircle::Run | ") + c.message);
    }
}
