#include "PTJHoughCircle.h"

#include <cmath>

#include "DrawingTesting.h"
#include "algorithms/CircleRaster.h"
#include "algorithms/GradientCircles.h"

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

}  // namespace

TEST(GradientCircles, GradientIsTheSlopePerPixel) {
    // A ramp rising by 3 per pixel to the right and by 4 downwards: two pixels from the border
    // the gradient is exactly (3, 4), of length 5; nearer the border the repeated pixels
    // flatten it. The threshold is strict; a NaN or an infinity makes no edges around it.
    std::vector<int32_t> ramp;
    for (int64_t i = 0; i < 42; ++i)
        ramp.push_back(static_cast<int32_t>(3 * (i % 7) + 4 * (i / 7)));
    std::vector<int64_t> strong;
    for (const SGradientPixel& e : GradientEdges(ramp.data(), 7, 6, 4.99)) {
        strong.push_back(e.y * 7 + e.x);
        EXPECT_TRUE(e.gx == 3.0 && e.gy == 4.0) << e.x << ", " << e.y;
    }
    EXPECT_EQ(strong, (std::vector<int64_t>{16, 17, 18, 23, 24, 25}));
    EXPECT_EQ(GradientEdges(ramp.data(), 7, 6, 0.0).size(), 42u);
    EXPECT_TRUE(GradientEdges(ramp.data(), 7, 6, 5.0).empty());
    std::vector<float> broken(25, 5.0f);
    broken[12] = NAN;
    broken[0] = INFINITY;
    EXPECT_TRUE(GradientEdges(broken.data(), 5, 5, 0.0).empty());
}

TEST(GradientCircles, VotesAlongTheGradientInBothSenses) {
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

TEST(GradientCircles, SpreadVotesWeighsTheNeighbourhood) {
    // Votes at a corner and inside of a 4 x 3 accumulator: 4 at their own cell, 2 beside, 1 on
    // the diagonals, nothing beyond the border.
    std::vector<float> votes = {1, 0, 0, 0,  //
                                0, 0, 2, 0,  //
                                0, 0, 0, 0};
    SpreadVotes(votes.data(), 4, 3);
    EXPECT_EQ(votes, (std::vector<float>{4, 4, 4, 2,  //
                                         2, 5, 8, 4,  //
                                         0, 2, 4, 2}));
}

TEST(HoughCircleTJ, CentresRadiiAndTheirLimits) {
    // A thin ring's radius is its own; a disc's edge lies half a pixel beyond its outermost
    // pixel centres; bright and dark circles vote alike. Two rings 39.4 pixels apart: the
    // stronger first.
    const std::vector<uint8_t> two =
        Circle(55, 38, 17, true, 255, 0, Circle(20, 20, 12, true, 255));
    const struct {
        std::vector<uint8_t> image;
        const char* json;
        std::vector<float> circles;  // x, y, r, rounded to half pixels
    } cases[] = {
        {Circle(40, 31, 10, false, 200), "{}", {40, 31, 10.5f}},
        {Circle(35, 30, 19, false, 0, 200), "{}", {35, 30, 19.5f}},
        {Circle(44, 33, 15, true, 255), "{}", {44, 33, 15}},
        {two, "{}", {20, 20, 12, 55, 38, 17}},
        {two, R"({"max_count": 1})", {20, 20, 12}},
        {two, R"({"min_distance": 40})", {20, 20, 12}},
        {two, R"({"min_distance": 39})", {20, 20, 12, 55, 38, 17}},
        {two, R"({"threshold": 5000})", {}},  // above both circles' votes
    };
    for (const auto& c : cases) {
        std::unique_ptr<CValue> input = ImageValue(IMAGE_GREY_8, CSize(80, 64), c.image);
        CPTJHoughCircle node;
        RunNode(node, c.json, {input.get()});
        EXPECT_EQ(OutputImage(node, 0).Size(), CSize(80, 64, 1));
        std::vector<float> circles;
        const std::vector<float> rows = Samples<float>(OutputImage(node, 1));
        for (size_t i = 0; i + 3 < rows.size(); i += 4)
            circles.insert(circles.end(), {rows[i], rows[i + 1], std::round(rows[i + 2] * 2) / 2});
        EXPECT_EQ(circles, c.circles) << c.json;
    }
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
        "(utility plugins) HoughCircleTJ::Run", {image.get()},
        {{"{}", "input image is NULL", {nullptr}},
         {"{}",
          "input image is of type IMAGE_RGB_8I; a grey or binary type expected",
          {colour.get()}},
         {R"({"radius_min": 0})", "radius_min 0, radius_max 20: radii from 1 up expected"},
         {R"({"edge_threshold": {"@double": "nan"}})",
          "edge_threshold nan, threshold 200: numbers of 0 or more expected"},
         {R"({"max_count": -2})", "min_distance 0, max_count -2: 0 or more expected"}});
}
