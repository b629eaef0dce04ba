#include "PDrawCircle.h"

#include <chrono>
#include <cmath>
#include <map>
#include <set>
#include <utility>

#include "CircleRaster.h"
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

TEST(CircleRaster, OutlinesAndDiscsAreTheMidpointAlgorithms) {
    // CircleOutline lists each pixel of the textbook circle once; CircleSpans and a filled
    // drawing reach its outermost pixel in every row.
    std::vector<int64_t> radii = {255, 1000, 1001};
    for (int64_t r = 0; r <= 100; ++r)
        radii.push_back(r);
    for (int64_t r : radii) {
        const CPixels textbook = TextbookCircle(r);
        const std::vector<SCircleOffset> outline = CircleOutline(r);
        CPixels listed, disc;
        for (const SCircleOffset& p : outline)
            listed.insert({p.dx, p.dy});
        std::map<int64_t, int64_t> extents;  // row: largest |x|
        for (auto [x, y] : textbook)
            extents[y] = std::max(extents[y], x);
        std::vector<int64_t> spans;
        for (auto [y, extent] : extents) {
            spans.push_back(extent);
            for (int64_t x = -extent; x <= extent; ++x)
                disc.insert({x, y});
        }
        EXPECT_EQ(listed, textbook) << "radius " << r;
        EXPECT_EQ(outline.size(), textbook.size()) << "radius " << r;
        EXPECT_EQ(CircleSpans(r), spans) << "radius " << r;
        EXPECT_EQ(Drawn(r, false), textbook) << "radius " << r;
        EXPECT_EQ(Drawn(r, true), disc) << "radius " << r;
    }
}

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

TEST(DrawCircle, ClippedAtEveryBorder) {
    for (const std::string fill : {"false", "true"})
        ExpectClipped(
            CSize(12, 9), {-2, 4, 10, 4, 5, -3, 5, 9, -1, -1, 11, 8, -6, 4, 17, 4, 5, 13, 5, -8},
            [&](CSize size, int64_t x, int64_t y) {
                return Draw(size, R"({"radius": 5, "fill": )" + fill + ", \"x\": " +
                                      std::to_string(x) + ", \"y\": " + std::to_string(y) + "}");
            });
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
        {{"{}", {nullptr}, "input image is NULL"},
         {R"({"radius": -1})", {image.get()}, "parameter radius must be 0 or more, but it is -1"},
         {"{}",
          {image.get(), narrow.get()},
          table + "it is an IMAGE_GREY_F image of size (2, 1, 1)"},
         {"{}",
          {image.get(), image.get()},
          table + "it is an IMAGE_GREY_8 image of size (4, 4, 1)"}});
}
