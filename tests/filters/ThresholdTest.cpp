#include "Threshold.h"

#include "FilterTesting.h"

using namespace ORVA::Filters;
using FilterTesting::SImage;

namespace {

TEST(Threshold, ModesFloorTheThresholdAndRoundTheMaximumOnIntegers) {
    // t = 100.5 acts as 100 on bytes; the maximum 200.5 rounds half to even, to 200.
    const std::vector<uint8_t> in = {0, 100, 101, 255};
    struct SCase {
        EnThreshold mode;
        std::vector<uint8_t> expected;
    } cases[] = {
        {EnThreshold::BINARY, {0, 0, 200, 200}},   {EnThreshold::BINARY_INV, {200, 200, 0, 0}},
        {EnThreshold::TRUNC, {0, 100, 100, 100}},  {EnThreshold::TOZERO, {0, 0, 101, 255}},
        {EnThreshold::TOZERO_INV, {0, 100, 0, 0}},
    };
    for (const SCase& c : cases) {
        SImage<uint8_t> src(4, 1, in), dst(4, 1);
        Threshold(src.In(), dst.Plane(), 100.5, 200.5, c.mode);
        EXPECT_EQ(dst.Values(), c.expected) << int(c.mode);
    }
}

TEST(Threshold, ThresholdsOutsideTheRangeOfTheType) {
    struct SCase {
        double t;
        std::vector<uint8_t> expected;
    } cases[] = {{-3.0, {1, 1, 1}}, {-0.5, {1, 1, 1}}, {255.0, {0, 0, 0}}, {1e9, {0, 0, 0}}};
    for (const SCase& c : cases) {
        SImage<uint8_t> src(3, 1, {0, 128, 255}), dst(3, 1);
        ThresholdMask(src.In(), dst.Plane(), c.t, false);
        EXPECT_EQ(dst.Values(), c.expected) << c.t;
    }
    // Floats compare with the float value of t: 0.1f is above 0.1, 0.1f itself is not above 0.1f.
    SImage<float> f(2, 1, {0.1f, 0.10000001f}), mask(2, 1);
    Threshold(f.In(), mask.Plane(), 0.1, 1.0, EnThreshold::BINARY);
    EXPECT_EQ(mask.Values(), (std::vector<float>{0.0f, 1.0f}));
}

TEST(Threshold, OtsuOfBytesIsTheFirstBestSplit) {
    struct SCase {
        std::vector<uint8_t> samples;
        double expected;
    } cases[] = {
        {{10, 10, 10, 200, 200}, 10},  // every split between the groups is as good: the first
        {{0, 1, 2, 3, 100, 101, 102, 103}, 3},
        {{7, 7, 7, 7}, 0},  // one class: nothing beats a variance of 0
    };
    for (const SCase& c : cases) {
        SImage<uint8_t> src(int64_t(c.samples.size()), 1, c.samples);
        EXPECT_EQ(OtsuThreshold(src.In()), c.expected);
    }
    // 16-bit samples use the full 65536-bin histogram.
    SImage<uint16_t> wide(4, 1, {1000, 1001, 60000, 60001});
    EXPECT_EQ(OtsuThreshold(wide.In()), 1001);
}

// Byte histograms against a plain count: planes large enough to count pairs of neighbours,
// odd widths (a sample per row left out of the pairs), runs of one value, padded rows.
TEST(Threshold, ByteHistogramsMatchAPlainCount) {
    struct SCase {
        int64_t width, height;
        bool noise;
    } cases[] = {{1, 1, true},     {7, 3, true},      {1, 300000, true}, {2, 131072, true},
                 {513, 600, true}, {1001, 301, true}, {1001, 301, false}};
    for (const SCase& c : cases) {
        SImage<uint8_t> src =
            c.noise
                ? FilterTesting::Random<uint8_t>(c.width, c.height, 0, 255.99, 5, 3)
                : FilterTesting::Filled<uint8_t>(
                      c.width, c.height, [](int64_t x, int64_t y) { return (x / 40 + y) % 7; }, 3);
        for (int64_t y = 0; y < c.height; ++y)  // the padding must not be counted
            for (int64_t x = c.width; x < src.stride; ++x)
                src.At(x, y) = 200;
        std::vector<int64_t> expected(256, 0);
        for (uint8_t v : src.Values())
            ++expected[v];
        EXPECT_EQ(Detail::FullHistogram(src.In()), expected) << c.width << "x" << c.height;
    }
}

TEST(Threshold, OtsuOfFloatsMatchesScikitImage) {
    // threshold_otsu of this 5 x 8 image, as float32 and as float64 (different bin edges).
    std::vector<float> samples(40);
    for (int i = 0; i < 40; ++i)
        samples[size_t(i)] = static_cast<float>(std::pow(double(i), 1.5) / 7);
    samples[0] = 90.25f;
    SImage<float> single(8, 5, samples);
    EXPECT_EQ(OtsuThreshold(single.In()), 34.81298828125);
    SImage<double> twice(8, 5, std::vector<double>(samples.begin(), samples.end()));
    EXPECT_EQ(OtsuThreshold(twice.In()), 34.81298828517902);
    SImage<float> constant(3, 1, {2.5f, 2.5f, 2.5f});
    EXPECT_EQ(OtsuThreshold(constant.In()), 2.5);
}

TEST(Threshold, TriangleRunsTowardsTheLongerTail) {
    // Peak at 2 with its tail to the right, so the histogram is mirrored first.
    std::vector<uint8_t> samples;
    auto add = [&](uint8_t v, int n) { samples.insert(samples.end(), size_t(n), v); };
    add(2, 10);
    add(3, 8);
    add(4, 2);
    add(5, 1);
    add(9, 1);
    SImage<uint8_t> src(int64_t(samples.size()), 1, samples);
    // Mirrored: peak at 253, bound 245 (one past the tail at 9); a i + b h[i] with a = 10,
    // b = -8 is greatest at 251 (value 4: 2510 - 16); one bin lower, 250, is 5 mirrored back.
    EXPECT_EQ(TriangleThreshold(src.In()), 5);
    // A single value: the bound one beyond it decides.
    SImage<uint8_t> flat(3, 1, {0, 0, 0});
    EXPECT_EQ(TriangleThreshold(flat.In()), 1);
}

}  // namespace
