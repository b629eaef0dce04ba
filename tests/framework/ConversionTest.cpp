#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "tarsel.h"

using namespace ORVA;

namespace {

template <class T>
CImage Make(IImage::CType type, std::vector<T> samples, CSize size) {
    CImage image(type, size);
    std::copy(samples.begin(), samples.end(), image.Data<T>());
    return image;
}

template <class T>
std::vector<T> Samples(const CImage& image) {
    const T* data = image.Data<T>();
    return std::vector<T>(data, data + image.Samples());
}

template <class D, class S>
std::vector<D> Convert(IImage::CType from, std::vector<S> samples, IImage::CType to,
                       bool saturate) {
    CSize size(static_cast<int64_t>(samples.size() / static_cast<size_t>(from.Channels())), 1);
    CImage source = Make(from, samples, size);
    CImage target(to, size);
    CImageConversion::FastConvert(target, source, saturate);
    return Samples<D>(target);
}

const float NaN = std::numeric_limits<float>::quiet_NaN();

}  // namespace

TEST(FastConvert, FloatToIntegerRoundsAndClampsWhenSaturating) {
    std::vector<float> in = {0.5f, -0.5f, 1.49f, 254.5f, 300.0f, -1.0f, NaN};
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_F, in, IMAGE_GREY_8, true)),
              (std::vector<uint8_t>{1, 0, 1, 255, 255, 0, 0}));
    EXPECT_EQ((Convert<uint32_t>(IMAGE_GREY_D, std::vector<double>{4294967295.4, 1e300},
                                 IMAGE_GREY_32, true)),
              (std::vector<uint32_t>{4294967295u, 4294967295u}));
}

TEST(FastConvert, FloatToIntegerTruncatesAndWrapsAsATypecast) {
    std::vector<float> in = {0.9f, 300.4f, -1.0f, 256.0f, NaN, 1e30f};
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_F, in, IMAGE_GREY_8, false)),
              (std::vector<uint8_t>{0, 44, 255, 0, 0, 0}));
}

TEST(FastConvert, IntegerToIntegerClampsOrKeepsLowBits) {
    std::vector<uint16_t> in = {258, 255, 65535};
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_16, in, IMAGE_GREY_8, true)),
              (std::vector<uint8_t>{255, 255, 255}));
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_16, in, IMAGE_GREY_8, false)),
              (std::vector<uint8_t>{2, 255, 255}));
    EXPECT_EQ((Convert<uint64_t>(IMAGE_GREY_8, std::vector<uint8_t>{200}, IMAGE_GREY_64, true)),
              (std::vector<uint64_t>{200}));
}

TEST(FastConvert, IntoFloatKeepsValues) {
    EXPECT_EQ(
        (Convert<float>(IMAGE_GREY_32, std::vector<uint32_t>{4294967295u}, IMAGE_GREY_F, true)),
        (std::vector<float>{4294967296.0f}));
    std::vector<float> wide =
        Convert<float>(IMAGE_GREY_D, std::vector<double>{1e300, -1e300, 0.1}, IMAGE_GREY_F, true);
    EXPECT_EQ(wide[0], std::numeric_limits<float>::infinity());
    EXPECT_EQ(wide[1], -std::numeric_limits<float>::infinity());
    EXPECT_EQ(wide[2], 0.1f);
}

TEST(FastConvert, BinaryIsNonZero) {
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_F, std::vector<float>{0.0f, -0.0f, 0.25f, NaN},
                                IMAGE_BINARY_FG, true)),
              (std::vector<uint8_t>{0, 0, 1, 1}));
    EXPECT_EQ((Convert<float>(IMAGE_BINARY_FG, std::vector<uint8_t>{0, 255}, IMAGE_GREY_F, true)),
              (std::vector<float>{0.0f, 255.0f}));
    EXPECT_EQ((Convert<uint8_t>(IMAGE_RGB_8I, std::vector<uint8_t>{0, 0, 0, 0, 0, 1},
                                IMAGE_BINARY_BG, true)),
              (std::vector<uint8_t>{0, 1}));
}

TEST(FastConvert, GreyAndColour) {
    // Grey into colour replicates; planar output lays the channels out one plane each.
    EXPECT_EQ((Convert<uint8_t>(IMAGE_GREY_8, std::vector<uint8_t>{1, 2}, IMAGE_RGB_8, true)),
              (std::vector<uint8_t>{1, 2, 1, 2, 1, 2}));
    EXPECT_EQ(
        (Convert<uint8_t>(IMAGE_GREY_F, std::vector<float>{1.6f, 300.0f}, IMAGE_RGB_8I, true)),
        (std::vector<uint8_t>{2, 2, 2, 255, 255, 255}));
    // Colour into grey takes the channel mean in double.
    EXPECT_EQ((Convert<float>(IMAGE_RGB_8I, std::vector<uint8_t>{1, 1, 2}, IMAGE_GREY_F, true)),
              (std::vector<float>{static_cast<float>(4.0 / 3.0)}));
    EXPECT_EQ(
        (Convert<uint8_t>(IMAGE_RGB_FI, std::vector<float>{1, 1, 2, 0, 0, 1}, IMAGE_GREY_8, true)),
        (std::vector<uint8_t>{1, 0}));
    // Planar and interleaved are rearranged.
    EXPECT_EQ(
        (Convert<uint8_t>(IMAGE_RGB_8, std::vector<uint8_t>{1, 2, 3, 4, 5, 6}, IMAGE_RGB_8I, true)),
        (std::vector<uint8_t>{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(
        (Convert<float>(IMAGE_RGB_8I, std::vector<uint8_t>{1, 3, 5, 2, 4, 6}, IMAGE_RGB_FI, true)),
        (std::vector<float>{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(
        (Convert<uint8_t>(IMAGE_RGB_FI, std::vector<float>{1, 3, 5, 2, 4, 6}, IMAGE_RGB_8, true)),
        (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(FastConvert, EveryPairOfTypesConverts) {
    for (int i = 0; i < IImage::CType::COUNT; ++i) {
        for (int j = 0; j < IImage::CType::COUNT; ++j) {
            CImage source(IImage::CType::All()[i], CSize(3, 2));
            source.Buffer().Set(1);
            CImage target(IImage::CType::All()[j], CSize(3, 2));
            EXPECT_NO_THROW(CImageConversion::FastConvert(target, source, i % 2 == 0))
                << source.Type().Name() << " -> " << target.Type().Name();
        }
    }
    CImage a(IMAGE_GREY_8, CSize(2, 2)), b(IMAGE_GREY_F, CSize(2, 3));
    EXPECT_THROW(CImageConversion::FastConvert(b, a, true), CException);
}
