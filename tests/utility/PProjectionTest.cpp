#include "PProjection.h"

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::vector<float> RunProjection(std::unique_ptr<CValue> input, const char* axis, const char* mode,
                                 CSize* size = nullptr) {
    CPProjection node;
    RunNode(node, std::string(R"({"axis": ")") + axis + R"(", "mode": ")" + mode + "\"}",
            {input.get()});
    EXPECT_EQ(OutputImage(node).Type(), IMAGE_GREY_F);
    if (size) *size = OutputImage(node).Size();
    return Samples<float>(OutputImage(node));
}

}  // namespace

TEST(Projection, EveryModeAlongEveryAxisWithNaN) {
    // A 3 x 2 x 2 image; plane 0 holds a NaN at (1, 0), plane 1 a whole column of NaN at x 2.
    const float N = NAN;
    const std::vector<float> image = {1, N, 3,   //
                                      4, 5, -6,  //
                                      2, 0, N,   //
                                      8, 1, N};
    struct Case {
        const char* axis;
        const char* mode;
        CSize size;
        std::vector<float> expected;
    };
    const Case cases[] = {
        {"X", "SUM", {1, 2, 2}, {N, 3, N, N}},
        {"X", "MEAN", {1, 2, 2}, {N, 1, N, N}},
        {"X", "MAX", {1, 2, 2}, {3, 5, 2, 8}},
        {"X", "MIN", {1, 2, 2}, {1, -6, 0, 1}},
        {"Y", "SUM", {3, 1, 2}, {5, N, -3, 10, 1, N}},
        {"Y", "MEAN", {3, 1, 2}, {2.5f, N, -1.5f, 5, 0.5f, N}},
        {"Y", "MAX", {3, 1, 2}, {4, 5, 3, 8, 1, N}},
        {"Y", "MIN", {3, 1, 2}, {1, 5, -6, 2, 0, N}},
        {"Z", "SUM", {3, 2, 1}, {3, N, N, 12, 6, N}},
        {"Z", "MEAN", {3, 2, 1}, {1.5f, N, N, 6, 3, N}},
        {"Z", "MAX", {3, 2, 1}, {2, 0, 3, 8, 5, -6}},
        {"Z", "MIN", {3, 2, 1}, {1, 0, 3, 4, 1, -6}},
    };
    for (const Case& c : cases) {
        CSize size;
        const std::vector<float> result =
            RunProjection(ImageValue(IMAGE_GREY_F, CSize(3, 2, 2), image), c.axis, c.mode, &size);
        const std::string what = std::string(c.axis) + " " + c.mode;
        EXPECT_EQ(size, c.size) << what;
        EXPECT_EQ(NaNAs99(result), NaNAs99(c.expected)) << what;
    }
}

TEST(Projection, SumsInDoubleAndTakesEveryGreyType) {
    // 2^24 + 1 + 1 is lost in float arithmetic, not in double.
    const std::vector<float> large = {16777216.0f, 1.0f, 1.0f};
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_GREY_F, CSize(1, 3), large), "Y", "SUM"),
              std::vector<float>{16777218.0f});
    const std::vector<double> wide = {1e300, -1e300, 7.0};
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_GREY_D, CSize(3, 1), wide), "X", "MAX"),
              std::vector<float>{INFINITY});  // beyond float
    const std::vector<uint8_t> mask = {1, 0, 1, 1};
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_BINARY_FG, CSize(4, 1), mask), "X", "MEAN"),
              std::vector<float>{0.75f});
}

TEST(Projection, EmptyExtents) {
    // Collapsing nothing: SUM is 0, the others NaN; an empty other extent gives no output pixels,
    // at once however many lines there are.
    CSize size;
    EXPECT_EQ(RunProjection(ImageValue<float>(IMAGE_GREY_F, CSize(0, 2), {}), "X", "SUM", &size),
              (std::vector<float>{0, 0}));
    EXPECT_EQ(size, CSize(1, 2, 1));
    for (const char* mode : {"MEAN", "MAX", "MIN"})
        EXPECT_EQ(
            NaNAs99(RunProjection(ImageValue<float>(IMAGE_GREY_F, CSize(2, 0), {}), "Y", mode)),
            (std::vector<float>{-99, -99}))
            << mode;
    EXPECT_TRUE(RunProjection(ImageValue<float>(IMAGE_GREY_F, CSize(0, 1 << 20, 1 << 20), {}), "Y",
                              "MAX", &size)
                    .empty());
    EXPECT_EQ(size, CSize(0, 1, 1 << 20));
}

TEST(Projection, Failures) {
    std::unique_ptr<CValue> colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 2), {1});
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {1});
    ExpectJsonFailures<CPProjection>(
        "(utility plugins) Projection::Run",
        {{"{}", {nullptr}, "input image is NULL"},
         {"{}",
          {colour.get()},
          "input image is of type IMAGE_RGB_8; a grey or binary type expected"},
         {R"({"axis": "W"})", {image.get()}, "axis is 'W'; X, Y or Z expected"},
         {R"({"mode": "sum"})", {image.get()}, "mode is 'sum'; SUM, MEAN, MAX or MIN expected"}});
}
