#include "PTJHoughCircle.h"

#include "CircleRaster.h"
#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// A width x height image of `background` with a disc (or, with `ring`, an outline) of
// `value` around (cx, cy).
std::vector<uint8_t> Circle(int64_t width, int64_t height, int64_t cx, int64_t cy, int64_t r,
                            bool ring, uint8_t value, uint8_t background = 0) {
    std::vector<uint8_t> image(static_cast<size_t>(width * height), background);
    if (ring) {
        for (const SCircleOffset& p : CircleOutline(r))
            image[(cy + p.dy) * width + cx + p.dx] = value;
        return image;
    }
    const std::vector<int64_t> spans = CircleSpans(r);
    for (int64_t dy = -r; dy <= r; ++dy)
        for (int64_t dx = -spans[dy + r]; dx <= spans[dy + r]; ++dx)
            image[(cy + dy) * width + cx + dx] = value;
    return image;
}

std::vector<float> RunTJ(std::unique_ptr<CValue> input, const CValueMap& parameters = {}) {
    CPTJHoughCircle node;
    Configure(node, parameters);
    node.SetStackInput(0, std::move(input));
    node.Run();
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
    };
    const Case cases[] = {
        {40, 31, 10, false, 200, 0, 10.5}, {40, 31, 15, false, 200, 0, 15.5},
        {35, 30, 19, false, 0, 200, 19.5}, {40, 31, 10, true, 200, 0, 10.0},
        {44, 33, 15, true, 255, 0, 15.0},  {40, 31, 19, true, 80, 200, 19.0},
    };
    for (const Case& c : cases) {
        const std::vector<uint8_t> image =
            Circle(80, 64, c.cx, c.cy, c.r, c.ring, c.value, c.background);
        const std::vector<float> circles = RunTJ(ImageValue(IMAGE_GREY_8, CSize(80, 64), image));
        ASSERT_EQ(circles.size(), 4u) << c.r << (c.ring ? " ring" : " disc");
        EXPECT_EQ(circles[0], static_cast<float>(c.cx));
        EXPECT_EQ(circles[1], static_cast<float>(c.cy));
        EXPECT_NEAR(circles[2], c.radius, 0.5) << c.r << (c.ring ? " ring" : " disc");
    }
}

TEST(HoughCircleTJ, KeepsCentresApartAndCounts) {
    std::vector<uint8_t> image = Circle(80, 64, 20, 20, 12, true, 255);
    const std::vector<uint8_t> second = Circle(80, 64, 55, 38, 17, true, 255);
    for (size_t i = 0; i < image.size(); ++i)
        image[i] = std::max(image[i], second[i]);
    auto centres = [&](const CValueMap& parameters) {
        std::vector<float> circles =
            RunTJ(ImageValue(IMAGE_GREY_8, CSize(80, 64), image), parameters);
        std::vector<float> xy;
        for (size_t i = 0; i + 3 < circles.size(); i += 4) {
            xy.insert(xy.end(), {circles[i], circles[i + 1]});
            if (i > 0) {
                EXPECT_GE(circles[i - 1], circles[i + 3]);  // strongest first
            }
        }
        return xy;
    };
    CValueMap parameters;
    EXPECT_EQ(centres(parameters), (std::vector<float>{20, 20, 55, 38}));
    parameters.SetEntry("max_count", new CValueLong(1));
    EXPECT_EQ(centres(parameters), (std::vector<float>{20, 20}));
    // The centres are 39.4 pixels apart.
    parameters.SetEntry("max_count", new CValueLong(0));
    parameters.SetEntry("min_distance", new CValueLong(40));
    EXPECT_EQ(centres(parameters), (std::vector<float>{20, 20}));
    parameters.SetEntry("min_distance", new CValueLong(39));
    EXPECT_EQ(centres(parameters), (std::vector<float>{20, 20, 55, 38}));
    // Above both circles' votes nothing is left.
    parameters.SetEntry("threshold", new CValueLong(5000));
    EXPECT_EQ(centres(parameters), (std::vector<float>{}));
}

TEST(HoughCircleTJ, GradientIsTheSlopePerPixel) {
    // A ramp rising by 3 per pixel to the right and by 4 downwards: two pixels from the border
    // the gradient is exactly (3, 4), of length 5; nearer the border the repeated pixels
    // flatten it.
    std::vector<int32_t> ramp;
    for (int64_t y = 0; y < 6; ++y)
        for (int64_t x = 0; x < 7; ++x)
            ramp.push_back(static_cast<int32_t>(3 * x + 4 * y));
    auto inner = [](const std::vector<SGradientPixel>& edges) {
        std::vector<SGradientPixel> found;
        for (const SGradientPixel& e : edges)
            if (e.x >= 2 && e.x <= 4 && e.y >= 2 && e.y <= 3) found.push_back(e);
        return found;
    };
    const std::vector<SGradientPixel> all = GradientEdges(ramp.data(), 7, 6, 0.0);
    EXPECT_EQ(all.size(), 42u);
    ASSERT_EQ(inner(all).size(), 6u);
    for (const SGradientPixel& e : inner(all))
        EXPECT_TRUE(e.gx == 3.0 && e.gy == 4.0) << e.x << ", " << e.y;
    // The threshold is strict.
    EXPECT_EQ(inner(GradientEdges(ramp.data(), 7, 6, 4.99)).size(), 6u);
    EXPECT_TRUE(GradientEdges(ramp.data(), 7, 6, 5.0).empty());
    // A flat image has no edges at all; a NaN or an infinity makes none around it.
    const std::vector<float> flat(12, 5.0f);
    EXPECT_TRUE(GradientEdges(flat.data(), 4, 3, 0.0).empty());
    std::vector<float> broken(25, 0.0f);
    broken[12] = NAN;
    broken[0] = INFINITY;
    EXPECT_TRUE(GradientEdges(broken.data(), 5, 5, 0.0).empty());
}

TEST(HoughCircleTJ, VotesAlongTheGradientInBothSenses) {
    // One edge pixel at (10, 4) with a horizontal gradient votes at distances 3 to 5 on both
    // sides of its row; a diagonal one steps by sqrt 2 per cell.
    std::vector<float> votes(20 * 9, 0.0f);
    GradientVote({{10, 4, 2.0, 0.0}}, 3, 5, votes.data(), 20, 9);
    std::vector<float> expected(votes.size(), 0.0f);
    for (int64_t x : {5, 6, 7, 13, 14, 15})
        expected[4 * 20 + x] = 1.0f;
    EXPECT_EQ(votes, expected);

    std::fill(votes.begin(), votes.end(), 0.0f);
    GradientVote({{4, 4, -1.0, 1.0}}, 2, 5, votes.data(), 20, 9);  // steps 2 (2.83) and 3 (4.24)
    std::fill(expected.begin(), expected.end(), 0.0f);
    for (int64_t k : {2, 3}) {
        expected[(4 + k) * 20 + 4 - k] = 1.0f;
        expected[(4 - k) * 20 + 4 + k] = 1.0f;
    }
    EXPECT_EQ(votes, expected);
}

TEST(HoughCircleTJ, EmptyImagesFindNothing) {
    for (const CSize size : {CSize(0, int64_t{1} << 40), CSize(5, 0), CSize(4, 3, 0)}) {
        CPTJHoughCircle node;
        Configure(node);
        node.SetStackInput(0, ImageValue<uint8_t>(IMAGE_GREY_8, size, {}));
        node.Run();
        EXPECT_EQ(OutputImage(node, 0).Size(), CSize(size.x, size.y)) << size.ToString();
        EXPECT_EQ(OutputImage(node, 1).Size(), CSize(4, 0)) << size.ToString();
    }
}

TEST(HoughCircleTJ, Failures) {
    struct Case {
        std::unique_ptr<CValue> input;
        const char* key;
        CValue* value;
        const char* message;
    };
    auto image = [] { return ImageValue<float>(IMAGE_GREY_F, CSize(8, 8), {0.0f}); };
    Case cases[] = {
        {nullptr, nullptr, nullptr, "input image is NULL"},
        {ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(2, 2), {1}), nullptr, nullptr,
         "input image is of type IMAGE_RGB_8I; a grey or binary type expected"},
        {image(), "radius_min", new CValueLong(0),
         "radius_min 0, radius_max 20: radii from 1 up expected"},
        {image(), "edge_threshold", new CValueDouble(NAN),
         "edge_threshold nan, threshold 200: numbers of 0 or more expected"},
        {image(), "max_count", new CValueLong(-2),
         "min_distance 0, max_count -2: 0 or more expected"},
    };
    for (Case& c : cases) {
        CPTJHoughCircle node;
        CValueMap parameters;
        if (c.key) parameters.SetEntry(c.key, c.value);
        Configure(node, parameters);
        node.SetStackInput(0, c.input.get());
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  std::string("(utility plugins) HoughCircleTJ::Run | ") + c.message);
    }
}

TEST(HoughCircleTJ, Document) {
    CPTJHoughCircle node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString("name"), "HoughCircleTJ");
    EXPECT_EQ(setup.EntryString("subType"), "Transformation");
    EXPECT_EQ(setup.EntryString("__vimbroDocumentation"),
              "%ORVADIR%/doc/vimbro/html/utility/PTJHoughCircle/index.html");
    EXPECT_EQ(setup.EntryString("gui/order/2"), "edge_threshold");
    EXPECT_EQ(setup.EntryString("parameters/threshold/desc").substr(0, 52),
              "The type of this parameter is of type double or long");
}
