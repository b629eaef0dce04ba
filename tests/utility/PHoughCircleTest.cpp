#include "PHoughCircle.h"

#include <random>
#include <set>
#include <utility>

#include "CircleRaster.h"
#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Draws the outline of radius `r` around (cx, cy), clipped, with `value`.
template <class T>
void DrawOutline(std::vector<T>& image, int64_t width, int64_t cx, int64_t cy, int64_t r, T value) {
    const auto height = static_cast<int64_t>(image.size()) / width;
    for (const SCircleOffset& p : CircleOutline(r)) {
        const int64_t x = cx + p.dx, y = cy + p.dy;
        if (x >= 0 && y >= 0 && x < width && y < height) image[y * width + x] = value;
    }
}

struct SRun {
    std::vector<float> accumulator;
    CSize size;
    std::vector<float> circles;  // rows of x, y, r, votes
};

SRun RunHoughCircle(std::unique_ptr<CValue> input, const CValueMap& parameters = {}) {
    CPHoughCircle node;
    Configure(node, parameters);
    node.SetStackInput(0, std::move(input));
    node.Run();
    EXPECT_EQ(OutputImage(node, 1).Size().x, 4);
    return {Samples<float>(OutputImage(node, 0)), OutputImage(node, 0).Size(),
            Samples<float>(OutputImage(node, 1))};
}

CValueMap Radii(int32_t low, int32_t high, int32_t step = 1) {
    CValueMap parameters;
    parameters.SetEntry("radius_min", new CValueLong(low));
    parameters.SetEntry("radius_max", new CValueLong(high));
    parameters.SetEntry("radius_step", new CValueLong(step));
    return parameters;
}

}  // namespace

TEST(CircleRaster, OutlinesAreSymmetricDistinctAndClose) {
    EXPECT_EQ(CircleOutline(0), (std::vector<SCircleOffset>{{0, 0}}));
    EXPECT_EQ(CircleOutline(1), (std::vector<SCircleOffset>{{0, -1}, {-1, 0}, {1, 0}, {0, 1}}));
    EXPECT_EQ(CircleOutline(2).size(), 12u);
    for (int64_t r = 1; r <= 60; ++r) {
        const std::vector<SCircleOffset> outline = CircleOutline(r);
        std::set<std::pair<int64_t, int64_t>> pixels;
        for (const SCircleOffset& p : outline) {
            pixels.insert({p.dx, p.dy});
            // The midpoint rule keeps every pixel within half a pixel of the circle.
            const double distance =
                std::hypot(static_cast<double>(p.dx), static_cast<double>(p.dy));
            EXPECT_LT(std::fabs(distance - static_cast<double>(r)), 0.5) << r;
        }
        EXPECT_EQ(pixels.size(), outline.size()) << r;
        for (const auto& [dx, dy] : pixels) {
            EXPECT_TRUE(pixels.count({dy, dx}) && pixels.count({-dx, dy}) &&
                        pixels.count({dx, -dy}))
                << r << ": " << dx << ", " << dy;
            // 8-connected: every pixel has a neighbour on either side.
            int neighbours = 0;
            for (int64_t ny = -1; ny <= 1; ++ny)
                for (int64_t nx = -1; nx <= 1; ++nx)
                    neighbours += (nx || ny) && pixels.count({dx + nx, dy + ny});
            EXPECT_GE(neighbours, 2) << r;
        }
        // The spans of the disc reach the outline in every row.
        const std::vector<int64_t> spans = CircleSpans(r);
        ASSERT_EQ(spans.size(), static_cast<size_t>(2 * r + 1));
        for (int64_t dy = -r; dy <= r; ++dy) {
            const int64_t span = spans[static_cast<size_t>(dy + r)];
            EXPECT_TRUE(pixels.count({span, dy}) && !pixels.count({span + 1, dy})) << r << dy;
        }
    }
}

TEST(HoughCircle, VotesMatchTheDefinition) {
    // Cell c of plane r counts the edge pixels e with e - c on the outline of radius r.
    std::mt19937 random(3);
    for (const CSize size : {CSize(23, 17), CSize(5, 40), CSize(1, 1), CSize(30, 2)}) {
        std::vector<float> image(static_cast<size_t>(size.x * size.y));
        for (float& pixel : image)
            pixel = random() % 7 == 0 ? 1.0f : 0.0f;
        const std::vector<SEdgePixel> edges = EdgePixels(image.data(), size.x, size.y);
        for (const int64_t radius : {1, 3, 8, 20}) {
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
            // The node counts in 16 bits; its plane must be the same.
            SRun run =
                RunHoughCircle(ImageValue(IMAGE_GREY_F, size, image),
                               Radii(static_cast<int32_t>(radius), static_cast<int32_t>(radius)));
            EXPECT_EQ(run.accumulator, literal) << size.ToString() << " radius " << radius;
        }
    }
}

TEST(HoughCircle, FindsASingleCircleAtItsCentreAndRadius) {
    const int64_t width = 64, height = 48;
    std::vector<uint8_t> image(width * height, 0);
    DrawOutline<uint8_t>(image, width, 30, 25, 12, 255);
    const auto pixels = static_cast<float>(CircleOutline(12).size());
    SRun run = RunHoughCircle(ImageValue(IMAGE_GREY_8, CSize(width, height), image), Radii(10, 15));
    EXPECT_EQ(run.circles, (std::vector<float>{30, 25, 12, pixels}));
    EXPECT_EQ(run.size, CSize(width, height, 6));
    EXPECT_EQ(run.accumulator[2 * width * height + 25 * width + 30], pixels);

    // The same edges as floats; radii 10, 12, 14 by a step of 2, so 15 is not searched.
    std::vector<float> floats(image.begin(), image.end());
    run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), floats), Radii(10, 15, 2));
    EXPECT_EQ(run.circles, (std::vector<float>{30, 25, 12, pixels}));
    EXPECT_EQ(run.size, CSize(width, height, 3));
}

TEST(HoughCircle, OrdersByFractionAndSuppressesNearCentres) {
    // A full circle of radius 8 and a larger one of radius 14 with a gap: the small one is
    // complete, so it comes first although it has fewer votes.
    const int64_t width = 80, height = 40;
    std::vector<float> image(width * height, 0.0f);
    DrawOutline(image, width, 15, 15, 8, 1.0f);
    DrawOutline(image, width, 60, 20, 14, 1.0f);
    float large = static_cast<float>(CircleOutline(14).size());
    for (int64_t x = 58; x <= 62; ++x) {  // the top of the large circle loses a few pixels
        large -= image[6 * width + x];
        image[6 * width + x] = 0.0f;
    }
    const auto small = static_cast<float>(CircleOutline(8).size());

    CValueMap parameters = Radii(8, 14);
    SRun run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image), parameters);
    EXPECT_EQ(run.circles, (std::vector<float>{15, 15, 8, small, 60, 20, 14, large}));

    parameters.SetEntry("max_count", new CValueLong(1));
    run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image), parameters);
    EXPECT_EQ(run.circles, (std::vector<float>{15, 15, 8, small}));

    // A threshold above the large circle's fraction leaves the small one only.
    parameters.SetEntry("max_count", new CValueLong(0));
    parameters.SetEntry("threshold", new CValueDouble(0.99));
    run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image), parameters);
    EXPECT_EQ(run.circles, (std::vector<float>{15, 15, 8, small}));

    // At a lower threshold the neighbours of each circle qualify too; only the suppression
    // keeps them out.
    parameters.SetEntry("threshold", new CValueDouble(0.3));
    run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image), parameters);
    EXPECT_EQ(run.circles, (std::vector<float>{15, 15, 8, small, 60, 20, 14, large}));
    parameters.SetEntry("min_distance", new CValueLong(1));
    run = RunHoughCircle(ImageValue(IMAGE_GREY_F, CSize(width, height), image), parameters);
    EXPECT_GT(run.circles.size(), 8u);
    EXPECT_EQ(std::vector<float>(run.circles.begin(), run.circles.begin() + 4),
              (std::vector<float>{15, 15, 8, small}));
}

TEST(HoughCircle, EmptyAndTinyImagesFindNothing) {
    for (const CSize size : {CSize(0, 0), CSize(3, 0), CSize(1, 1), CSize(4, 3, 2)}) {
        SRun run = RunHoughCircle(ImageValue<float>(IMAGE_GREY_F, size, {1.0f}));
        EXPECT_TRUE(run.circles.empty()) << size.ToString();
        EXPECT_EQ(run.size, CSize(size.x, size.y, 11)) << size.ToString();
    }
}

TEST(HoughCircle, Failures) {
    struct Case {
        std::unique_ptr<CValue> input;
        CValueMap parameters;
        const char* message;
    };
    auto image = [] { return ImageValue<float>(IMAGE_GREY_F, CSize(8, 8), {0.0f}); };
    auto with = [](const char* key, CValue* value) {
        CValueMap parameters;
        parameters.SetEntry(key, value);
        return parameters;
    };
    Case cases[] = {
        {nullptr, {}, "input image is NULL"},
        {ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 2), {1}),
         {},
         "input image is of type IMAGE_GREY_16; IMAGE_GREY_F or IMAGE_GREY_8 expected"},
        {image(), Radii(0, 5),
         "radius_min 0, radius_max 5, radius_step 1: radii from 1 up and a step of 1 or more "
         "expected"},
        {image(), with("threshold", new CValueDouble(NAN)),
         "threshold is nan; a fraction from 0 to 1 expected"},
        {image(), with("min_distance", new CValueLong(-1)),
         "min_distance -1, max_count 0: 0 or more expected"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1000, 1000), {0.0f}), Radii(1, 2200),
         "an accumulator of 1000 x 1000 x 2200 cells is too large; 2147483647 cells at most"},
        {ImageValue<float>(IMAGE_GREY_F, CSize(1 << 20, 1 << 20, 0), {}), Radii(1, 1),
         "an accumulator of 1048576 x 1048576 x 1 cells is too large; 2147483647 cells at most"},
    };
    for (Case& c : cases) {
        CPHoughCircle node;
        Configure(node, c.parameters);
        node.SetStackInput(0, c.input.get());
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  std::string("(utility plugins) HoughCircle::Run | ") + c.message);
    }
}
