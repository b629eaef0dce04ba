#include "PMeanValueDifference.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

template <class T>
std::pair<double, double> Compare(IImage::CType type, CSize size, std::vector<T> a,
                                  std::vector<T> b) {
    std::unique_ptr<CValue> first = ImageValue<T>(type, size, a);
    std::unique_ptr<CValue> second = ImageValue<T>(type, size, b);
    CPMeanValueDifference node;
    RunNode(node, "{}", {first.get(), second.get()});
    return {node.StackOutput(0)->Double(), node.StackOutput(1)->Double()};
}

}  // namespace

TEST(MeanValueDifference, MeansAndMeanAbsoluteDifference) {
    EXPECT_EQ(Compare<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {1, 2, 3, 10}, {3, 2, 1, 0}),
              std::make_pair(2.5, 3.5));
    // Unsigned samples: |1 - 4294967295| does not wrap.
    EXPECT_EQ(Compare<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {1, 4294967295u}, {4294967295u, 1}),
              std::make_pair(0.0, 4294967294.0));
    EXPECT_EQ(Compare<uint16_t>(IMAGE_GREY_16, CSize(0, 3), {}, {}), std::make_pair(0.0, 0.0));
    auto [difference, absolute] =
        Compare<float>(IMAGE_GREY_F, CSize(2, 1), {std::nanf(""), 1}, {0, 1});
    EXPECT_TRUE(std::isnan(difference));
    EXPECT_TRUE(std::isnan(absolute));
}

TEST(MeanValueDifference, Failures) {
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {1});
    std::unique_ptr<CValue> words = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {1});
    std::unique_ptr<CValue> column = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 2), {1});
    ExpectJsonFailures<CPMeanValueDifference>(
        "(utility plugins) MeanValueDifference::Run",
        {{"{}", "input 1 is NULL", {bytes.get()}},
         {"{}",
          "input 1 is not of type IMAGE_GREY_8 but IMAGE_GREY_16",
          {bytes.get(), words.get()}},
         {"{}",
          "input 1 has size (1, 2, 1), but input 0 has size (2, 1, 1)",
          {bytes.get(), column.get()}}});
}
