#include "PStatistics.h"

#include <cmath>
#include <random>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::pair<double, double> Measure(std::unique_ptr<CValue> image) {
    CPStatistics node;
    SetInputs(node, {image.get()});
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
    EXPECT_EQ(Measure(Grey8(CSize(4, 1), {0, 2, 4, 6})), std::make_pair(3.0, std::sqrt(5.0)));
    EXPECT_EQ(Measure(ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1})),
              std::make_pair(0.5, 0.5));
    EXPECT_EQ(Measure(GreyF(CSize(2, 2), {2.0f})), std::make_pair(2.0, 0.0));
    EXPECT_EQ(Measure(GreyF(CSize(0, 3), {})), std::make_pair(0.0, 0.0));
    // Squares that leave the mean square below the squared mean, so the deviation is NaN:
    // floats squared in single precision (4097^2 rounds to 16785408), 65535^2 taken as signed
    // 32 bits (-131071), 65536^2 modulo 2^32 (0).
    std::pair<std::unique_ptr<CValue>, double> negative[] = {
        {GreyF(CSize(1, 1), {4097.0f}), 4097.0},
        {ImageValue<uint16_t>(IMAGE_GREY_16, CSize(3, 1), {65535}), 65535.0},
        {ImageValue<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {65536, 0}), 32768.0}};
    for (auto& [image, mean] : negative) {
        auto [measured, deviation] = Measure(std::move(image));
        EXPECT_EQ(measured, mean);
        EXPECT_TRUE(std::isnan(deviation)) << mean;
    }
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
    auto image = Grey8(CSize(4, 1), {0, 2, 4, 6});
    SetInputs(node, {image.get()});
    EXPECT_EQ(CapturedStdout([&] { node.Run(); }), "");
    Configure(node, {{"verbose", true}});
    EXPECT_EQ(CapturedStdout([&] { node.Run(); }), "Mean:  3\nStandard deviation: 2.23607\n");

    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2));
    EXPECT_EQ(RunError(node, {}), "(utility plugins) Statistics::Run | input image is NULL");
    EXPECT_EQ(RunError(node, {doubles.get()}),
              "CPStatistics::Run() | input image is not of type IMAGE_GREY_F, IMAGE_GREY_8, "
              "IMAGE_GREY_16, IMAGE_GREY_32, nor IMAGE_MONO_BINARY.");
}
