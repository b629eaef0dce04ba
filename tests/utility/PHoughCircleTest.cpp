#include "PHoughCircle.h"

#include <random>
#include <string>

#include "DrawingTesting.h"
#include "algorithms/HoughCircles.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Sets the outline of radius `r` around (cx, cy) to 1, clipped.
void DrawOutline(std::vector<float>& image, int64_t width, int64_t cx, int64_t cy, int64_t r) {
    const auto height = static_cast<int64_t>(image.size()) / width;
    for (const SCircleOffset& p : CircleOutline(r)) {
        const int64_t x = cx + p.dx, y = cy + p.dy;
        if (x >= 0 && y >= 0 && x < width && y < height) image[y * width + x] = 1.0f;
    }
}

struct SRun {
    std::vector<float> accumulator;
    CSize size;
    std::vector<float> circles;  // rows of x, y, r, votes
};

SRun RunHoughCircle(std::unique_ptr<CValue> input, const std::string& json) {
    CPHoughCircle node;
    RunNode(node, json, {input.get()});
    EXPECT_EQ(OutputImage(node, 1).Size().x, 4);
    return {Samples<float>(OutputImage(node, 0)), OutputImage(node, 0).Size(),
            Samples<float>(OutputImage(node, 1))};
}

}  // namespace

TEST(HoughCircles, VotesMatchTheDefinition) {
    // Cell c of plane r counts the edge pixels e with e - c on the outline of radius r, whether
    // counted in 16 bits (the accumulator's planes) or in floats; one plane per radius from 1
    // by 6 up to 20 (which is not reached), and nothing beyond the diagonal.
    std::mt19937 random(3);
    for (const CSize size : {CSize(23, 17), CSize(5, 40), CSize(4, 3)}) {
        std::vector<uint8_t> image(static_cast<size_t>(size.x * size.y));
        for (uint8_t& pixel : image)
            pixel = random() % 7 == 0 ? 1 : 0;
        const std::vector<SEdgePixel> edges = EdgePixels(image.data(), size.x, size.y);
        std::vector<float> planes;
        for (const int64_t radius : {1, 7, 13, 19}) {
            std::vector<float> ours(image.size(), 0.0f), literal(image.size(), 0.0f);
            HoughCircleVote(edges, radius, ours.data(), size.x, size.y);
            for (int64_t cy = 0; cy < size.y; ++cy)
                for (int64_t cx = 0; cx < size.x; ++cx)
                    for (const SCircleOffset& p : CircleOutline(radius)) {
                        const int64_t x = cx + p.dx, y = cy + p.dy;
                        if (x >= 0 && y >= 0 && x < size.x && y < size.y)
                            literal[cy * size.x + cx] += image[y * size.x + x];
                    }
            EXPECT_EQ(ours, literal) << size.ToString() << " radius " << radius;
            planes.insert(planes.end(), literal.begin(), literal.end());
        }
        std::vector<float> accumulator(planes.size(), -1.0f);
        HoughCircleAccumulate(edges, size.x, size.y, 1, 6, 4, accumulator.data());
        EXPECT_EQ(accumulator, planes) << size.ToString();
    }
}

TEST(HoughCircles, PeaksByFractionAndApart) {
    // A full circle of radius 8 and a larger one of radius 14 with a gap: the small one is
    // complete, so it comes first although it has fewer votes.
    const int64_t width = 80, height = 40;
    std::vector<float> image(width * height, 0.0f);
    DrawOutline(image, width, 15, 15, 8);
    DrawOutline(image, width, 60, 20, 14);
    auto large = static_cast<double>(CircleOutline(14).size());
    for (int64_t x = 58; x <= 62; ++x) {  // the top of the large circle loses a few pixels
        large -= image[6 * width + x];
        image[6 * width + x] = 0.0f;
    }
    const auto small = static_cast<double>(CircleOutline(8).size());
    std::vector<float> planes(width * height * 7);
    HoughCircleAccumulate(EdgePixels(image.data(), width, height), width, height, 8, 1, 7,
                          planes.data());
    const SHoughCircle first{15, 15, 8, small}, second{60, 20, 14, large};
    const struct {
        double threshold;
        int64_t minDistance, maxCount;
        std::vector<SHoughCircle> circles;
    } cases[] = {
        {0.5, 8, 0, {first, second}},
        {0.5, 8, 1, {first}},
        {0.99, 8, 0, {first}},  // above the large circle's fraction
        // The neighbours of each circle qualify too; only the suppression keeps them out.
        {0.3, 8, 0, {first, second}},
        {0.5, 46, 0, {first}},  // the centres are 45.3 apart
    };
    for (const auto& c : cases)
        EXPECT_EQ(HoughCirclePeaks(planes.data(), width, height, 7, 8, 1, c.threshold,
                                   c.minDistance, c.maxCount),
                  c.circles)
            << c.threshold << " " << c.minDistance << " " << c.maxCount;
}

TEST(HoughCircle, BytesOrFloatsAndCentresApartByRadiusMin) {
    // A ring of radius 5: with a low threshold the cells around its centre qualify as well,
    // and min_distance 0 keeps them out by radius_min.
    std::vector<float> ring(21 * 21, 0.0f);
    DrawOutline(ring, 21, 10, 10, 5);
    const std::vector<uint8_t> bytes(ring.begin(), ring.end());
    const std::string json = R"({"radius_min": 5, "radius_max": 6, "threshold": 0.3})";
    const SRun floats = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(21, 21), ring), json);
    EXPECT_EQ(floats.size, CSize(21, 21, 2));
    EXPECT_EQ(floats.circles, (std::vector<float>{10, 10, 5, 28}));  // every pixel voted
    EXPECT_EQ(RunHoughCircle(ImageValue(IMAGE_GREY_8, CSize(21, 21), bytes), json).accumulator,
              floats.accumulator);
}

TEST(HoughCircle, EmptyAndTinyImagesFindNothing) {
    for (const CSize size : {CSize(3, 0), CSize(4, 3, 2)}) {
        SRun run = RunHoughCircle(ImageValue<float>(IMAGE_GREY_F, size, {1.0f}), "{}");
        EXPECT_TRUE(run.circles.empty()) << size.ToString();
        EXPECT_EQ(run.size, CSize(size.x, size.y, 11)) << size.ToString();
    }
}

TEST(HoughCircle, Failures) {
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(8, 8), {0.0f});
    std::unique_ptr<CValue> words = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 2), {1});
    std::unique_ptr<CValue> large = ImageValue<float>(IMAGE_GREY_F, CSize(1000, 1000), {0.0f});
    ExpectJsonFailures<CPHoughCircle>(
        "(utility plugins) HoughCircle::Run", {image.get()},
        {{"{}", "input image is NULL", {nullptr}},
         {"{}",
          "input image is of type IMAGE_GREY_16; IMAGE_GREY_F or IMAGE_GREY_8 expected",
          {words.get()}},
         {R"({"radius_min": 0, "radius_max": 5})",
          "radius_min 0, radius_max 5, radius_step 1: radii from 1 up and a step of 1 or more "
          "expected"},
         {R"({"threshold": {"@double": "nan"}})",
          "threshold is nan; a fraction from 0 to 1 expected"},
         {R"({"min_distance": -1})", "min_distance -1, max_count 0: 0 or more expected"},
         {R"({"radius_min": 1, "radius_max": 2200})",
          "an accumulator of 1000 x 1000 x 2200 cells is too large; 2147483647 cells at most",
          {large.get()}}});
}
