#include "Preview.h"

#include <gtest/gtest.h>
#include <png.h>

#include <cmath>
#include <limits>
#include <vector>

namespace orva {
namespace {

using namespace ORVA;
using T = IImage::CType;

struct SDecoded {
    int width = 0, height = 0, channels = 0;
    std::vector<uint8_t> pixels;
};

SDecoded Decode(const std::string& png) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    EXPECT_TRUE(png_image_begin_read_from_memory(&image, png.data(), png.size()));
    SDecoded decoded{static_cast<int>(image.width),
                     static_cast<int>(image.height),
                     static_cast<int>(PNG_IMAGE_SAMPLE_CHANNELS(image.format)),
                     {}};
    decoded.pixels.resize(PNG_IMAGE_SIZE(image));
    EXPECT_TRUE(png_image_finish_read(&image, nullptr, decoded.pixels.data(), 0, nullptr));
    return decoded;
}

template <class E>
CImage Make(T type, CSize size, std::vector<E> samples) {
    CImage image(type, size);
    EXPECT_EQ(static_cast<size_t>(image.Samples()), samples.size());
    std::copy(samples.begin(), samples.end(), image.Data<E>());
    return image;
}

SDecoded Preview(const CImage& image, bool labels = false, int64_t plane = 0, int64_t longest = 0) {
    return Decode(
        PreviewPng(image, Summarize(image), PreviewMode(image.Type(), labels), plane, longest));
}

TEST(Preview, ModeByTypeAndProducer) {
    struct {
        T type;
        bool labels;
        EnPreviewMode mode;
    } cases[] = {
        {T::GREY_8, false, EnPreviewMode::AS_IS},    {T::GREY_32, true, EnPreviewMode::LABELS},
        {T::GREY_16, false, EnPreviewMode::STRETCH}, {T::GREY_F, true, EnPreviewMode::STRETCH},
        {T::RGB_8, true, EnPreviewMode::AS_IS},      {T::RGB_FI, false, EnPreviewMode::STRETCH},
        {T::BINARY_FG, true, EnPreviewMode::BINARY},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PreviewMode(c.type, c.labels), c.mode) << c.type.Name() << " " << c.labels;
}

TEST(Preview, StretchesFromMinimumToMaximum) {
    // 1 * 255 / 4 + 0.5 rounds down, 2 * 255 / 4 + 0.5 up
    SDecoded grey = Preview(Make<float>(T::GREY_F, CSize(4, 1), {0.f, 1.f, 2.f, 4.f}));
    EXPECT_EQ(grey.channels, 1);
    EXPECT_EQ(grey.pixels, (std::vector<uint8_t>{0, 64, 128, 255}));
    SDecoded wide = Preview(Make<uint16_t>(T::GREY_16, CSize(3, 1), {1000, 1100, 2000}));
    EXPECT_EQ(wide.pixels, (std::vector<uint8_t>{0, 26, 255}));
    // one value everywhere: nothing to stretch
    EXPECT_EQ(Preview(Make<double>(T::GREY_D, CSize(2, 1), {7.0, 7.0})).pixels,
              (std::vector<uint8_t>{0, 0}));
}

TEST(Preview, NonFiniteSamplesAreMarked) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    SDecoded marked = Preview(Make<float>(T::GREY_F, CSize(4, 1), {-1.f, nan, 3.f, -inf}));
    EXPECT_EQ(marked.channels, 3);
    EXPECT_EQ(marked.pixels,
              (std::vector<uint8_t>{0, 0, 0, 255, 0, 255, 255, 255, 255, 255, 0, 255}));
    // a colour pixel with one bad channel is marked whole
    SDecoded colour = Preview(Make<float>(T::RGB_FI, CSize(2, 1), {0.f, 1.f, 2.f, 2.f, nan, 0.f}));
    EXPECT_EQ(colour.pixels, (std::vector<uint8_t>{0, 128, 255, 255, 0, 255}));
}

TEST(Preview, ColourPlanarAndInterleavedAgree) {
    SDecoded planar = Preview(Make<uint8_t>(T::RGB_8, CSize(2, 1), {10, 20, 30, 40, 50, 60}));
    SDecoded interleaved = Preview(Make<uint8_t>(T::RGB_8I, CSize(2, 1), {10, 30, 50, 20, 40, 60}));
    EXPECT_EQ(planar.pixels, (std::vector<uint8_t>{10, 30, 50, 20, 40, 60}));
    EXPECT_EQ(interleaved.pixels, planar.pixels);
}

TEST(Preview, LabelsAndBinary) {
    SDecoded labels = Preview(Make<uint16_t>(T::GREY_16, CSize(4, 1), {0, 1, 2, 1}), true);
    ASSERT_EQ(labels.channels, 3);
    uint8_t one[3], two[3];
    LabelColour(1, one);
    LabelColour(2, two);
    EXPECT_EQ(labels.pixels, (std::vector<uint8_t>{0, 0, 0, one[0], one[1], one[2], two[0], two[1],
                                                   two[2], one[0], one[1], one[2]}));
    EXPECT_EQ(Preview(Make<uint8_t>(T::BINARY_FG, CSize(3, 1), {0, 1, 7})).pixels,
              (std::vector<uint8_t>{0, 255, 255}));
}

TEST(Preview, LabelColoursAreNeverBlackAndNeighboursDiffer) {
    uint8_t previous[3] = {0, 0, 0};
    for (uint64_t label = 1; label < 2000; ++label) {
        uint8_t rgb[3];
        LabelColour(label, rgb);
        EXPECT_GT(rgb[0] + rgb[1] + rgb[2], 0) << label;
        EXPECT_GT(std::abs(rgb[0] - previous[0]) + std::abs(rgb[1] - previous[1]) +
                      std::abs(rgb[2] - previous[2]),
                  30)
            << label;
        std::copy_n(rgb, 3, previous);
    }
}

TEST(Preview, ShrinksByWholeStepsAndPicksPlanes) {
    std::vector<uint8_t> ramp(10 * 3 * 2);
    for (size_t i = 0; i < ramp.size(); ++i)
        ramp[i] = static_cast<uint8_t>(i);
    const CImage image = Make<uint8_t>(T::GREY_8, CSize(10, 3, 2), ramp);
    SDecoded small = Preview(image, false, 0, 4);  // step 3: columns 0, 3, 6, 9
    EXPECT_EQ((std::vector<int>{small.width, small.height}), (std::vector<int>{4, 1}));
    EXPECT_EQ(small.pixels, (std::vector<uint8_t>{0, 3, 6, 9}));
    SDecoded second = Preview(image, false, 1, 5);  // step 2, plane 1 starts at 30
    EXPECT_EQ((std::vector<int>{second.width, second.height}), (std::vector<int>{5, 2}));
    EXPECT_EQ(second.pixels, (std::vector<uint8_t>{30, 32, 34, 36, 38, 50, 52, 54, 56, 58}));
    EXPECT_EQ(Preview(image, false, 0, 10).width, 10);
    for (int64_t plane : {-1, 2})
        EXPECT_THROW(PreviewPng(image, Summarize(image), EnPreviewMode::AS_IS, plane, 0),
                     CException);
    const CImage empty(T::GREY_8, CSize(0, 0, 0));
    EXPECT_THROW(PreviewPng(empty, Summarize(empty), EnPreviewMode::AS_IS, 0, 0), CException);
}

TEST(Preview, PixelValues) {
    const CImage grey = Make<uint8_t>(T::GREY_8, CSize(2, 2, 2), {1, 2, 3, 4, 5, 6, 7, 8});
    const CImage big = Make<uint64_t>(T::GREY_64, CSize(2, 1), {5, uint64_t(1) << 40});
    const CImage wide = Make<uint32_t>(T::GREY_32, CSize(1, 1), {4000000000u});
    const CImage real =
        Make<float>(T::GREY_F, CSize(1, 1), {std::numeric_limits<float>::quiet_NaN()});
    const CImage planar = Make<uint8_t>(T::RGB_8, CSize(2, 1), {10, 20, 30, 40, 50, 60});
    const CImage interleaved = Make<float>(T::RGB_FI, CSize(1, 1), {0.5f, 1.5f, 2.5f});
    auto text = [](const CImage& image, int64_t x, int64_t y, int64_t z) {
        return CTextSerializer::ToText(*PixelValue(image, x, y, z), 0);
    };
    struct {
        const CImage& image;
        int64_t x, y, z;
        std::string value;
    } cases[] = {
        {grey, 1, 0, 0, "2"},
        {grey, 0, 1, 1, "7"},
        {grey, 2, 0, 0, "null"},
        {grey, 0, -1, 0, "null"},
        {grey, 0, 0, 2, "null"},
        {big, 0, 0, 0, "5"},
        {big, 1, 0, 0, "1099511627776.0"},
        {wide, 0, 0, 0, "4e+09"},
        {real, 0, 0, 0, "{\"@double\": \"nan\"}"},
        {planar, 1, 0, 0, "[20, 40, 60]"},
        {interleaved, 0, 0, 0, "[0.5, 1.5, 2.5]"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(text(c.image, c.x, c.y, c.z), c.value) << c.image.Type().Name() << " " << c.x;
}

TEST(Summary, RangeMeanAndNonFiniteSamples) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float inf = std::numeric_limits<float>::infinity();
    struct {
        const char* name;
        std::vector<float> samples;
        double minimum, maximum, mean;
        int64_t nonFinite;
    } cases[] = {
        // fewer samples than lanes, and more with a tail
        {"short", {3.f, -2.f, 5.f}, -2.0, 5.0, 2.0, 0},
        {"tail", {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, 1.0, 11.0, 6.0, 0},
        // the extremes in the last lane and the tail
        {"extremes late", {0, 0, 0, 0, 0, 0, 0, -9, 0, 4}, -9.0, 4.0, -0.5, 0},
        {"nan", {1.f, nan, 3.f, 4.f}, 1.0, 4.0, 8.0 / 3.0, 1},
        {"infinities", {inf, 2.f, -inf, 6.f, 0, 0, 0, 0, nan}, 0.0, 6.0, 8.0 / 6.0, 3},
        {"nothing finite", {nan, inf}, NAN, NAN, NAN, 2},
    };
    for (const auto& c : cases) {
        const CImage image =
            Make<float>(T::GREY_F, CSize(static_cast<int64_t>(c.samples.size()), 1), c.samples);
        const SImageSummary summary = Summarize(image);
        auto same = [](double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; };
        EXPECT_TRUE(same(summary.minimum, c.minimum)) << c.name << " " << summary.minimum;
        EXPECT_TRUE(same(summary.maximum, c.maximum)) << c.name << " " << summary.maximum;
        EXPECT_TRUE(same(summary.mean, c.mean)) << c.name << " " << summary.mean;
        EXPECT_EQ(summary.nonFinite, c.nonFinite) << c.name;
    }
}

TEST(Summary, WholeNumbersAndColour) {
    const SImageSummary wide = Summarize(
        Make<uint64_t>(T::GREY_64, CSize(3, 1), {uint64_t(1) << 60, 7, uint64_t(1) << 61}));
    EXPECT_EQ(wide.minimum, 7.0);
    EXPECT_EQ(wide.maximum, std::ldexp(1.0, 61));
    // every channel of every pixel counts
    const SImageSummary colour =
        Summarize(Make<uint8_t>(T::RGB_8, CSize(3, 1), {0, 10, 20, 30, 40, 50, 60, 70, 255}));
    EXPECT_EQ((std::vector<double>{colour.minimum, colour.maximum, colour.mean}),
              (std::vector<double>{0.0, 255.0, 535.0 / 9.0}));
    // the checked pass gives the sum the plain one would: the same samples, one NaN more
    std::vector<float> many(1001);
    for (size_t i = 0; i < many.size(); ++i)
        many[i] = 0.1f * static_cast<float>(i % 97) - 3.f;
    const double plain = Summarize(Make<float>(T::GREY_F, CSize(1001, 1), many)).mean;
    many.push_back(std::numeric_limits<float>::quiet_NaN());
    EXPECT_EQ(Summarize(Make<float>(T::GREY_F, CSize(1002, 1), many)).mean, plain);
}

}  // namespace
}  // namespace orva
