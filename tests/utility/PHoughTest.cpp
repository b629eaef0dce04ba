#include "PHough.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <random>

#include "NodeTesting.h"
#include "algorithms/HoughLines.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// The forward transform as written down: column by column, row by row, angle by angle, with
// the angle accumulated in single precision.
std::vector<float> LiteralForward(const std::vector<float>& image, int64_t width, int64_t height) {
    std::vector<float> out(image.size(), 0.0f);
    std::vector<float> sines, cosines;
    const float step = static_cast<float>(std::numbers::pi / static_cast<double>(height));
    float angle = 0.0f;
    for (int64_t k = 0; k < height; ++k) {
        sines.push_back(sinf(angle));
        cosines.push_back(cosf(angle));
        angle += step;
    }
    const float d = sqrtf(static_cast<float>(height * height + width * width));
    for (int64_t x = 0; x < width; ++x)
        for (int64_t y = 0; y < height; ++y) {
            if (!(image[y * width + x] > 0.0f)) continue;
            for (int64_t k = 0; k < height; ++k) {
                int64_t xc = x - width / 2, yc = y - height / 2;
                float r = static_cast<float>(xc) * cosines[k] + static_cast<float>(yc) * sines[k];
                int64_t column =
                    static_cast<int64_t>(truncf(static_cast<float>(width) * r / d)) + width / 2;
                if (column >= 0 && column < width) out[k * width + column] += 1.0f;
            }
        }
    return out;
}

// A 9 x 8 image with a vertical line of 2.5 in column 6 and a horizontal one of 1.5 in row 6.
std::vector<float> CrossedLines() {
    std::vector<float> image(72, 0.0f);
    for (int i = 0; i < 8; ++i)
        image[i * 9 + 6] += 2.5f;
    for (int i = 0; i < 9; ++i)
        image[6 * 9 + i] += 1.5f;
    return image;
}

std::vector<float> RunHough(const CValue& input, const char* direction, const char* inType,
                            CSize* size) {
    CPHough node;
    Configure(node, {{"direction", direction}, {"in_type", inType}});
    const CImage& out = RunImage(node, {const_cast<CValue*>(&input)});
    *size = out.Size();
    return Samples<float>(out);
}

}  // namespace

TEST(HoughLines, ForwardMatchesTheLiteralTransform) {
    std::mt19937 random(7);
    std::uniform_real_distribution<float> uniform(-1.0f, 1.0f);
    // 300 x 250 has more positive pixels than one batch of the kernel.
    const CSize sizes[] = {{1, 1},   {1, 9},   {12, 1},  {7, 5},
                           {64, 48}, {33, 70}, {3, 900}, {300, 250}};
    for (const CSize& size : sizes) {
        std::vector<float> image(static_cast<size_t>(size.x * size.y));
        for (float& pixel : image)
            pixel = uniform(random);
        image[0] = NAN;
        std::vector<float> ours(image.size(), 0.0f);
        HoughForward(image.data(), size.x, size.y, ours.data());
        std::vector<float> literal = LiteralForward(image, size.x, size.y);
        EXPECT_EQ(std::memcmp(ours.data(), literal.data(), ours.size() * sizeof(float)), 0)
            << size.ToString();
    }
}

TEST(HoughLines, BackwardDrawsOnePixelPerColumnOrRow) {
    // Distance bin 6 of 9 at angle row 0 (vertical line) and row 4 (horizontal line, pi/2); a
    // cell that is not positive is not drawn.
    std::vector<float> accumulator(72, 0.0f), image(72, 0.0f);
    accumulator[0 * 9 + 6] = 2.5f;
    accumulator[4 * 9 + 6] = 1.5f;
    accumulator[2 * 9 + 3] = -4.0f;
    HoughBackward(accumulator.data(), 9, 8, image.data());
    EXPECT_EQ(image, CrossedLines());

    // The same two lines as a list: distance bins 6, 6; angle bins 0, 4 of 8; weights.
    const std::vector<float> list = {9.9f, 6, 6, 8, 0, 4, 0, 2.5f, 1.5f};
    std::fill(image.begin(), image.end(), 0.0f);
    HoughBackwardSmart(list.data(), 3, image.data(), 9, 8);
    EXPECT_EQ(image, CrossedLines());
}

TEST(Hough, DirectionsAndTheSizesTheyMake) {
    // A centred pixel lies at distance 0 from the centre under every angle; only the positive
    // pixels of the first plane vote.
    std::vector<float> image(70, -1.0f), centred(70, 0.0f);
    image[2 * 7 + 3] = 0.25f;
    image[35] = 5.0f;
    for (int64_t k = 0; k < 5; ++k)
        centred[k * 7 + 3] = 1.0f;
    auto input = GreyF(CSize(7, 5, 2), image);
    auto list = GreyF(CSize(2, 3), {4, 1, 2, 0.5f, 0, -1});
    auto small = GreyF(CSize(1, 3), {-0.5f, 2.0f, 0.0f});
    struct Case {
        const CValue* input;
        const char *direction, *inType;
        CSize size;
        std::vector<float> expected;
    } cases[] = {
        {input.get(), "FORWARD", "SMART", {7, 5, 2}, centred},
        // The size of a list is in its column 0; a fraction below 0 truncates to 0.
        {list.get(), "BACKWARD", "SMART", {4, 2, 1}, {0, 0, -1, 0, -1, -1, 0, 0}},
        {small.get(), "BACKWARD", "SMART", {0, 2, 1}, {}},
        // Any other direction: zeros of the input's size.
        {input.get(), "backward", "SMART", {7, 5, 2}, std::vector<float>(70, 0.0f)},
    };
    for (const Case& c : cases) {
        CSize size;
        EXPECT_EQ(RunHough(*c.input, c.direction, c.inType, &size), c.expected) << c.direction;
        EXPECT_EQ(size, c.size) << c.direction;
    }
}

TEST(Hough, Failures) {
    CValueOwnedPointer<CImage> none;
    auto bytes = Grey8(CSize(2, 2), {1}), short4x2 = GreyF(CSize(4, 2), {3});
    auto wide = GreyF(CSize(2, 3), {1e12f, 0, 1e12f, 0, 0, 0});
    auto negative = GreyF(CSize(1, 3), {4, -1, 0}), nan = GreyF(CSize(1, 3), {NAN, 1, 0});
    auto big = GreyF(CSize(1, 3), {50000, 50000, 0});
    const std::string limits = "; it must be a number from 0 to 2147483647!";
    const std::vector<SParameter> smart = {{"direction", "BACKWARD"}, {"in_type", "SMART"}};
    const SFailure failures[] = {
        {{}, "Input image is NULL."},
        {{&none}, "Input image is NULL."},
        {{bytes.get()}, "Input image is not of type IMAGE_GREY_F!"},
        {{short4x2.get()},
         "SMART line list must have at least one column and three rows, but it has 4 x 2!",
         smart},
        {{wide.get()}, "SMART line list asks for an output width of 1e+12" + limits, smart},
        {{negative.get()}, "SMART line list asks for an output height of -1" + limits, smart},
        {{nan.get()}, "SMART line list asks for an output width of nan" + limits, smart},
        {{big.get()},
         "SMART line list asks for an output of 50000 x 50000 pixels; more than 2147483647 "
         "pixels are not supported!",
         smart},
    };
    ExpectFailures<CPHough>("(utility plugins) Hough::Run | ", failures);
}
