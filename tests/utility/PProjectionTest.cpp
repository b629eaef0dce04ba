#include "PProjection.h"

#include <cmath>
#include <random>
#include <string>

#include "DrawingTesting.h"
#include "algorithms/AxisProjection.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::vector<float> Projected(const std::vector<float>& image, CSize size, int axis,
                             EnProjection mode) {
    std::vector<float> out(static_cast<size_t>(size.Elements() / std::max<int64_t>(size[axis], 1)));
    Project(image.data(), size, axis, mode, out.data());
    return NaNAs99(out);
}

std::vector<float> RunProjection(std::unique_ptr<CValue> input, const char* axis, const char* mode,
                                 CSize* size = nullptr) {
    CPProjection node;
    RunNode(node, std::string(R"({"axis": ")") + axis + R"(", "mode": ")" + mode + "\"}",
            {input.get()});
    EXPECT_EQ(OutputImage(node).Type(), IMAGE_GREY_F);
    if (size) *size = OutputImage(node).Size();
    return NaNAs99(Samples<float>(OutputImage(node)));
}

}  // namespace

TEST(AxisProjection, EveryModeAlongEveryAxisAsOneByOneInDouble) {
    // 19 rows fold eight at a time, then one by one: the same as a plain loop in double, in
    // which a NaN makes SUM and MEAN NaN and is skipped by MAX and MIN (NaN where all are). The
    // first column is all NaN; 2^24 + 1 + 1 is lost in float arithmetic, not in double.
    const CSize size(5, 19, 3);
    std::mt19937 random(5);
    std::uniform_real_distribution<float> uniform(-4.0f, 4.0f);
    std::vector<float> image(static_cast<size_t>(size.Elements()));
    for (size_t i = 0; i < image.size(); ++i)
        image[i] = i % 5 == 0 || random() % 9 == 0 ? NAN : uniform(random);
    image[1] = 16777216.0f;
    image[6] = image[11] = 1.0f;
    using enum EnProjection;
    for (int axis = 0; axis < 3; ++axis)
        for (EnProjection mode : {SUM, MEAN, MAX, MIN}) {
            CSize reduced = size;
            reduced[axis] = 1;
            const bool sum = mode == SUM || mode == MEAN;
            std::vector<double> literal(static_cast<size_t>(reduced.Elements()), sum ? 0.0 : NAN);
            for (int64_t z = 0; z < size.z; ++z)
                for (int64_t y = 0; y < size.y; ++y)
                    for (int64_t x = 0; x < size.x; ++x) {
                        int64_t at[3] = {x, y, z};
                        at[axis] = 0;
                        double& result = literal[(at[2] * reduced.y + at[1]) * reduced.x + at[0]];
                        const double v = image[(z * size.y + y) * size.x + x];
                        if (sum)
                            result += v;
                        else if (!std::isnan(v) &&
                                 (std::isnan(result) || (mode == MAX ? v > result : v < result)))
                            result = v;
                    }
            std::vector<float> expected;
            for (double result : literal)
                expected.push_back(static_cast<float>(mode == MEAN ? result / size[axis] : result));
            EXPECT_EQ(Projected(image, size, axis, mode), NaNAs99(expected))
                << axis << " " << static_cast<int>(mode);
        }
}

TEST(Projection, AxesAndTypes) {
    CSize size;
    const std::vector<double> wide = {1e300, -1e300, 7.0, 1.0, 2.0, 3.0};
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_GREY_D, CSize(3, 1, 2), wide), "X", "MAX", &size),
              (std::vector<float>{INFINITY, 3}));  // beyond float
    EXPECT_EQ(size, CSize(1, 1, 2));
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_GREY_D, CSize(3, 1, 2), wide), "Z", "MIN", &size),
              (std::vector<float>{1, -INFINITY, 3}));
    EXPECT_EQ(size, CSize(3, 1, 1));
    const std::vector<uint8_t> mask = {1, 0, 1, 1};
    EXPECT_EQ(RunProjection(ImageValue(IMAGE_BINARY_FG, CSize(2, 2), mask), "Y", "MEAN", &size),
              (std::vector<float>{1, 0.5f}));
    EXPECT_EQ(size, CSize(2, 1, 1));
}

TEST(Projection, EmptyExtents) {
    // Collapsing nothing: SUM is 0, the others NaN; an empty other extent gives no output pixels,
    // at once however many lines there are.
    CSize size;
    EXPECT_EQ(RunProjection(ImageValue<float>(IMAGE_GREY_F, CSize(0, 2), {}), "X", "SUM", &size),
              (std::vector<float>{0, 0}));
    EXPECT_EQ(size, CSize(1, 2, 1));
    for (const char* mode : {"MEAN", "MAX", "MIN"})
        EXPECT_EQ(RunProjection(ImageValue<float>(IMAGE_GREY_F, CSize(2, 0), {}), "Y", mode),
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
        "(utility plugins) Projection::Run", {image.get()},
        {{"{}", "input image is NULL", {nullptr}},
         {"{}",
          "input image is of type IMAGE_RGB_8; a grey or binary type expected",
          {colour.get()}},
         {R"({"axis": "W"})", "axis is 'W'; X, Y or Z expected"},
         {R"({"mode": "sum"})", "mode is 'sum'; SUM, MEAN, MAX or MIN expected"}});
}
