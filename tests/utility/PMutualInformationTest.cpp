#include "PMutualInformation.h"

#include <cmath>
#include <random>

#include "DrawingTesting.h"
#include "PHistogram2d.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Output 0 of `node` run with `json` on two one-row images of `type`.
template <class T>
double Information(CPMutualInformation& node, const std::string& json, IImage::CType type,
                   std::vector<T> a, std::vector<T> b) {
    const CSize size(static_cast<int64_t>(a.size()), 1);
    std::unique_ptr<CValue> first = ImageValue<T>(type, size, a);
    std::unique_ptr<CValue> second = ImageValue<T>(type, size, b);
    RunNode(node, json, {first.get(), second.get()});
    node.ClearStackInputs();
    return node.StackOutput(0)->Double();
}

}  // namespace

TEST(MutualInformation, BitsAndNormalizedValue) {
    const double h = -0.75 * std::log2(0.75) - 0.25 * std::log2(0.25);  // H(1/4)
    struct Case {
        std::vector<uint8_t> a, b;
        double mutual, normalized;
    } cases[] = {
        {{0, 0, 1, 1}, {0, 0, 1, 1}, 1, 2},                        // identical
        {{0, 0, 1, 1}, {0, 1, 0, 1}, 0, 1},                        // independent
        {{5, 5, 5}, {7, 7, 7}, 0, 2},                              // one bin
        {{0, 0, 0, 1}, {0, 0, 1, 1}, h + 1 - 1.5, (h + 1) / 1.5},  // H(A) + H(B) - H(A, B)
    };
    for (const Case& c : cases) {
        CPMutualInformation node;
        EXPECT_NEAR(Information(node, "{}", IMAGE_GREY_8, c.a, c.b), c.mutual, 1e-15);
        EXPECT_NEAR(Information(node, R"({"normalized": true})", IMAGE_GREY_8, c.a, c.b),
                    c.normalized, 1e-15);
    }
}

TEST(MutualInformation, CountsAsHistogram2d) {
    // Values around and outside the range, and NaN, which Histogram2d puts in bin 0.
    std::mt19937 random(7);
    std::uniform_real_distribution<float> value(-1.5f, 3.5f);
    std::vector<float> a(500), b(500);
    for (size_t i = 0; i < a.size(); ++i) {
        a[i] = i % 50 == 0 ? std::nanf("") : value(random);
        b[i] = i % 3 == 0 ? std::floor(a[i]) : value(random);
    }
    const std::string json = R"({"range_min": -1.0, "range_max": 3.0, "bin_count": 7})";
    CPMutualInformation node;
    Information<float>(node, json, IMAGE_GREY_F, a, b);
    std::unique_ptr<CValue> first = ImageValue<float>(IMAGE_GREY_F, CSize(500, 1), a);
    std::unique_ptr<CValue> second = ImageValue<float>(IMAGE_GREY_F, CSize(500, 1), b);
    CPHistogram2d histogram;
    RunNode(histogram, json, {first.get(), second.get()});
    EXPECT_EQ(Samples<float>(OutputImage(node, 1)), Samples<float>(OutputImage(histogram)));

    // Nothing in range: an empty histogram gives 0.
    EXPECT_EQ(
        Information<float>(
            node, R"({"normalized": true, "range_min": 10.0, "range_max": 20.0, "bin_count": 256})",
            IMAGE_GREY_F, {1, 2}, {3, 30}),
        0.0);
    EXPECT_EQ(Samples<float>(OutputImage(node, 1)), std::vector<float>(65536, 0.0f));
}

TEST(MutualInformation, Failures) {
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    std::unique_ptr<CValue> binary = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(1, 1), {1});
    ExpectJsonFailures<CPMutualInformation>(
        "(utility plugins) MutualInformation::Run",
        {{R"({"range_min": 5.0, "range_max": 5.0})",
          {bytes.get(), bytes.get()},
          "range_min (5) must be less than range_max (5)"},
         {R"({"bin_count": 5000})",
          {bytes.get(), bytes.get()},
          "bin_count 5000 is too large (at most 4096)"},
         {"{}",
          {bytes.get(), binary.get()},
          "input 1 is not of type IMAGE_GREY_8 but IMAGE_BINARY_FG"}});
}
