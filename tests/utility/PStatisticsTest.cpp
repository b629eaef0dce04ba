#include "PStatistics.h"

#include <cmath>
#include <random>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::pair<double, double> Measure(std::unique_ptr<CValue> image) {
    CPStatistics node;
    Configure(node);
    node.SetStackInput(0, image.get());
    node.Run();
    return {node.StackOutput(0)->Double(), node.StackOutput(1)->Double()};
}

// The sums in their plain form: pixel by pixel, in double.
template <class T>
std::pair<double, double> LiteralSums(const std::vector<T>& values) {
    double s = 0.0, q = 0.0;
    for (T v : values) {
        s += static_cast<double>(v);
        if constexpr (sizeof(T) == 1)
            q += static_cast<double>(int32_t(v) * int32_t(v));
        else if constexpr (sizeof(T) == 2)
            q += static_cast<double>(static_cast<int32_t>(uint32_t(v) * uint32_t(v)));
        else
            q += static_cast<double>(uint32_t(v * v));
    }
    return {s, q};
}

template <class T>
void ExpectLiteralSums(const std::vector<T>& values) {
    double s = -1, q = -1;
    CPStatistics::Sums(values.data(), static_cast<int64_t>(values.size()), s, q);
    auto [literalS, literalQ] = LiteralSums(values);
    EXPECT_EQ(s, literalS) << values.size();
    EXPECT_EQ(q, literalQ) << values.size();
}

}  // namespace

TEST(Statistics, MeanAndDeviationPerType) {
    EXPECT_EQ(Measure(ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 2, 4, 6})),
              std::make_pair(3.0, std::sqrt(5.0)));
    EXPECT_EQ(Measure(ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1})),
              std::make_pair(0.5, 0.5));
    EXPECT_EQ(Measure(ImageValue<float>(IMAGE_GREY_F, CSize(2, 2), {2.0f})),
              std::make_pair(2.0, 0.0));
    EXPECT_EQ(Measure(ImageValue<float>(IMAGE_GREY_F, CSize(0, 3), {})), std::make_pair(0.0, 0.0));
    // Floats are squared in single precision: 4097^2 rounds to 16785408.
    auto [mean, deviation] = Measure(ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {4097.0f}));
    EXPECT_EQ(mean, 4097.0);
    EXPECT_TRUE(std::isnan(deviation));  // 16785408 - 4097^2 < 0
    // 65535^2 taken as signed 32 bits is -131071.
    std::tie(mean, deviation) = Measure(ImageValue<uint16_t>(IMAGE_GREY_16, CSize(3, 1), {65535}));
    EXPECT_EQ(mean, 65535.0);
    EXPECT_TRUE(std::isnan(deviation));
    // 65536^2 is 0 modulo 2^32.
    std::tie(mean, deviation) =
        Measure(ImageValue<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {65536, 0}));
    EXPECT_EQ(mean, 32768.0);
    EXPECT_TRUE(std::isnan(deviation));
}

TEST(Statistics, IntegerSumsEqualThePixelByPixelSums) {
    std::mt19937 random(3);
    std::vector<uint8_t> bytes(100003);
    for (uint8_t& v : bytes)
        v = static_cast<uint8_t>(random());
    ExpectLiteralSums(bytes);
    std::vector<uint16_t> shorts(100003);
    for (uint16_t& v : shorts)
        v = static_cast<uint16_t>(random());
    ExpectLiteralSums(shorts);
    std::vector<uint32_t> longs(1000);
    for (uint32_t& v : longs)
        v = static_cast<uint32_t>(random());
    ExpectLiteralSums(longs);
    // Sums beyond 2^53, where the double additions round.
    longs.resize(size_t(1) << 22);
    for (uint32_t& v : longs)
        v = 0x80000000u | static_cast<uint32_t>(random());
    ExpectLiteralSums(longs);
    shorts.assign(size_t(1) << 23, 0);
    for (uint16_t& v : shorts)
        v = static_cast<uint16_t>(46341 + random() % 19000);
    ExpectLiteralSums(shorts);
}

TEST(Statistics, PrintsAndFails) {
    CPStatistics node;
    CValueMap parameters;
    parameters.SetEntry("verbose", new CValueBool(true));
    Configure(node, parameters);
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 2, 4, 6});
    node.SetStackInput(0, image.get());
    EXPECT_EQ(CapturedStdout([&] { node.Run(); }), "Mean:  3\nStandard deviation: 2.23607\n");
    parameters.SetEntry("verbose", new CValueBool(false));
    Configure(node, parameters);
    EXPECT_EQ(CapturedStdout([&] { node.Run(); }), "");

    node.ClearStackInputs();
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Statistics::Run | input image is NULL");
    for (IImage::CType type : {IMAGE_RGB_8, IMAGE_GREY_D}) {
        CValueOwnedPointer<CImage> other(std::make_unique<CImage>(type, CSize(2, 2)));
        node.SetStackInput(0, &other);
        EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
                  "CPStatistics::Run() | input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, "
                  "IMAGE_GREY_16, IMAGE_GREY_32, nor IMAGE_MONO_BINARY.");
    }
}
