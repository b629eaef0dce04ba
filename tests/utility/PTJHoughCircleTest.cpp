#include "PTJHoughCircle.h"

#include "CircleRaster.h"
#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// An 80 x 64 image of `background` with a disc (or, with `ring`, an outline) of `value` around
// (cx, cy), drawn over `image` when given.
std::vector<uint8_t> Circle(int64_t cx, int64_t cy, int64_t r, bool ring, uint8_t value,
                            uint8_t background = 0, std::vector<uint8_t> image = {}) {
    image.resize(80 * 64, background);
    const std::vector<int64_t> spans = CircleSpans(r);
    for (const SCircleOffset& p : CircleOutline(r))
        for (int64_t dx = ring ? p.dx : -spans[p.dy + r]; dx <= p.dx; ++dx)
            image[(cy + p.dy) * 80 + cx + dx] = value;
    return image;
}

// The circles found in an 80 x 64 image, rows of x, y, r, votes.
std::vector<float> RunTJ(const std::vector<uint8_t>& image, const std::string& json = "{}") {
    std::unique_ptr<CValue> input = ImageValue(IMAGE_GREY_8, CSize(80, 64), image);
    CPTJHoughCircle node;
    RunNode(node, json, {input.get()});
    EXPECT_EQ(OutputImage(node, 0).Size(), CSize(80, 64, 1));
    return Samples<float>(OutputImage(node, 1));
}

}  // namespace

TEST(HoughCircleTJ, FindsOneCircleAtItsCentreWithItsRadius) {
    // A thin ring's radius is its own; a disc's edge lies half a pixel beyond its outermost
    // pixel centres. Bright and dark circles vote alike.
    struct Case {
        int64_t cx, cy, r;
        bool ring;
        uint8_t value, background;
        double radius;
    } cases[] = {
        {40, 31, 10, false, 200, 0, 10.5},
        {35, 30, 19, false, 0, 200, 19.5},
        {44, 33, 15, true, 255, 0, 15.0},
    };
    for (const Case& c : cases) {
        const std::vector<float> circles =
            RunTJ(Circle(c.cx, c.cy, c.r, c.ring, c.value, c.background));
        ASSERT_EQ(circles.size(), 4u) << c.r;
        EXPECT_EQ(circles[0], static_cast<float>(c.cx)) << c.r;
        EXPECT_EQ(circles[1], static_cast<float>(c.cy)) << c.r;
        EXPECT_NEAR(circles[2], c.radius, 0.5) << c.r;
    }
}

TEST(HoughCircleTJ, KeepsCentresApartAndCounts) {
    // Two rings whose centres are 39.4 pixels apart; the stronger comes first.
    const std::vector<uint8_t> image =
        Circle(55, 38, 17, true, 255, 0, Circle(20, 20, 12, true, 255));
    const std::vector<float> both = {20, 20, 55, 38}, first = {20, 20};
    const struct {
        const char* json;
        std::vector<float> centres;
    } cases[] = {
        {"{}", both},
        {R"({"max_count": 1})", first},
        {R"({"min_distance": 40})", first},
        {R"({"min_distance": 39})", both},
        {R"({"threshold": 5000})", {}},  // above both circles' votes
    };
    for (const auto& c : cases) {
        const std::vector<float> circles = RunTJ(image, c.json);
        std::vector<float> centres;
        for (size_t i = 0; i + 3 < circles.size(); i += 4)
            centres.insert(centres.end(), {circles[i], circles[i + 1]});
        EXPECT_EQ(centres, c.centres) << c.json;
        if (circles.size() == 8) {
            EXPECT_GE(circles[3], circles[7]) << c.json;
        }
    }
}

TEST(HoughCircleTJ, GradientIsTheSlopePerPixel) {
    // A ramp rising by 3 per pixel to the right and by 4 downwards: two pixels from the border
    // the gradient is exactly (3, 4), of length 5; nearer the border the repeated pixels
    // flatten it.
    std::vector<int32_t> ramp;
    for (int64_t y = 0; y < 6; ++y)
        for (int64_t x = 0; x < 7; ++x)
            ramp.push_back(static_cast<int32_t>(3 * x + 4 * y));
    auto inner = [&](double threshold) {
        std::vector<SGradientPixel> found;
        for (const SGradientPixel& e : GradientEdges(ramp.data(), 7, 6, threshold))
            if (e.x >= 2 && e.x <= 4 && e.y >= 2 && e.y <= 3) found.push_back(e);
        return found;
    };
    EXPECT_EQ(GradientEdges(ramp.data(), 7, 6, 0.0).size(), 42u);
    ASSERT_EQ(inner(4.99).size(), 6u);
    for (const SGradientPixel& e : inner(4.99))
        EXPECT_TRUE(e.gx == 3.0 && e.gy == 4.0) << e.x << ", " << e.y;
    EXPECT_TRUE(GradientEdges(ramp.data(), 7, 6, 5.0).empty());  // the threshold is strict
    // A flat image has no edges; a NaN or an infinity makes none around it.
    std::vector<float> broken(25, 5.0f);
    EXPECT_TRUE(GradientEdges(broken.data(), 5, 5, 0.0).empty());
    broken[12] = NAN;
    broken[0] = INFINITY;
    EXPECT_TRUE(GradientEdges(broken.data(), 5, 5, 0.0).empty());
}

TEST(HoughCircleTJ, VotesAlongTheGradientInBothSenses) {
    // An edge pixel at (10, 4) with a horizontal gradient votes at distances 2 to 5 on both
    // sides in its row; one at (4, 4) with a diagonal one steps by sqrt 2 per cell, so 2 (2.83)
    // and 3 (4.24) steps lie from 2 to 5.
    std::vector<float> votes(20 * 9, 0.0f), expected = votes;
    GradientVote({{10, 4, 2.0, 0.0}, {4, 4, -1.0, 1.0}}, 2, 5, votes.data(), 20, 9);
    for (int64_t x : {5, 6, 7, 8, 12, 13, 14, 15})
        expected[4 * 20 + x] += 1.0f;
    for (int64_t k : {2, 3}) {
        expected[(4 + k) * 20 + 4 - k] += 1.0f;
        expected[(4 - k) * 20 + 4 + k] += 1.0f;
    }
    EXPECT_EQ(votes, expected);
}

TEST(HoughCircleTJ, EmptyImagesFindNothing) {
    for (const CSize size : {CSize(0, int64_t{1} << 40), CSize(4, 3, 0)}) {
        std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, size, {});
        CPTJHoughCircle node;
        RunNode(node, "{}", {input.get()});
        EXPECT_EQ(OutputImage(node, 0).Size(), CSize(size.x, size.y)) << size.ToString();
        EXPECT_EQ(OutputImage(node, 1).Size(), CSize(4, 0)) << size.ToString();
    }
}

TEST(HoughCircleTJ, Failures) {
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(8, 8), {0.0f});
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 2), {1});
    ExpectJsonFailures<CPTJHoughCircle>(
        "(utility plugins) HoughCircleTJ::Run",
        {{"{}", {nullptr}, "input image is NULL"},
         {"{}",
          {colour.get()},
          "input image is of type IMAGE_RGB_8I; a grey or binary type expected"},
         {R"({"radius_min": 0})",
          {image.get()},
          "radius_min 0, radius_max 20: radii from 1 up expected"},
         {R"({"edge_threshold": {"@double": "nan"}})",
          {image.get()},
          "edge_threshold nan, threshold 200: numbers of 0 or more expected"},
         {R"({"max_count": -2})",
          {image.get()},
          "min_distance 0, max_count -2: 0 or more expected"}});
}
