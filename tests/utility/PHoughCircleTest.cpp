#include "PHoughCircle.h"

#include <random>

#include "CircleRaster.h"
#include "DrawingTesting.h"

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

std::string Radii(int64_t low, int64_t high, const std::string& more = "") {
    return R"({"radius_min": )" + std::to_string(low) + R"(, "radius_max": )" +
           std::to_string(high) + more + "}";
}

}  // namespace

TEST(HoughCircle, VotesMatchTheDefinition) {
    // Cell c of plane r counts the edge pixels e with e - c on the outline of radius r; the
    // node counts in 16 bits and must give the same planes, for bytes as for floats, one per
    // radius from 1 by 6 up to 20 (which is not reached).
    std::mt19937 random(3);
    for (const CSize size : {CSize(23, 17), CSize(5, 40)}) {
        std::vector<float> image(static_cast<size_t>(size.x * size.y));
        for (float& pixel : image)
            pixel = random() % 7 == 0 ? 1.0f : 0.0f;
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
        const std::string radii = Radii(1, 20, R"(, "radius_step": 6)");
        const std::vector<uint8_t> bytes(image.begin(), image.end());
        EXPECT_EQ(RunHoughCircle(ImageValue(IMAGE_GREY_F, size, image), radii).accumulator, planes)
            << size.ToString();
        EXPECT_EQ(RunHoughCircle(ImageValue(IMAGE_GREY_8, size, bytes), radii).accumulator, planes)
            << size.ToString();
    }
}

TEST(HoughCircle, OrdersByFractionAndSuppressesNearCentres) {
    // A full circle of radius 8 and a larger one of radius 14 with a gap: the small one is
    // complete, so it comes first although it has fewer votes.
    const int64_t width = 80, height = 40;
    std::vector<float> image(width * height, 0.0f);
    DrawOutline(image, width, 15, 15, 8);
    DrawOutline(image, width, 60, 20, 14);
    float large = static_cast<float>(CircleOutline(14).size());
    for (int64_t x = 58; x <= 62; ++x) {  // the top of the large circle loses a few pixels
        large -= image[6 * width + x];
        image[6 * width + x] = 0.0f;
    }
    const auto small = static_cast<float>(CircleOutline(8).size());
    const std::vector<float> both = {15, 15, 8, small, 60, 20, 14, large};
    const std::vector<float> first = {15, 15, 8, small};
    const struct {
        std::string more;
        std::vector<float> circles;
    } cases[] = {
        {"", both},
        {R"(, "max_count": 1)", first},
        {R"(, "threshold": 0.99)", first},  // above the large circle's fraction
        // The neighbours of each circle qualify too; only the suppression, by radius_min by
        // default, keeps them out.
        {R"(, "threshold": 0.3)", both},
        {R"(, "min_distance": 46)", first},  // the centres are 45.3 apart
    };
    for (const auto& c : cases)
        EXPECT_EQ(RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image),
                                 Radii(8, 14, c.more))
                      .circles,
                  c.circles)
            << c.more;
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
        "(utility plugins) HoughCircle::Run",
        {{"{}", {nullptr}, "input image is NULL"},
         {"{}",
          {words.get()},
          "input image is of type IMAGE_GREY_16; IMAGE_GREY_F or IMAGE_GREY_8 expected"},
         {Radii(0, 5),
          {image.get()},
          "radius_min 0, radius_max 5, radius_step 1: radii from 1 up and a step of 1 or more "
          "expected"},
         {R"({"threshold": {"@double": "nan"}})",
          {image.get()},
          "threshold is nan; a fraction from 0 to 1 expected"},
         {R"({"min_distance": -1})",
          {image.get()},
          "min_distance -1, max_count 0: 0 or more expected"},
         {Radii(1, 2200),
          {large.get()},
          "an accumulator of 1000 x 1000 x 2200 cells is too large; 2147483647 cells at most"}});
}
