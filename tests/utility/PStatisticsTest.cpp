#include "PStatistics.h"

#include <cmath>

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
