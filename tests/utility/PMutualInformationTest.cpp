#include "PMutualInformation.h"

#include <cmath>
#include <random>

#include "NodeTesting.h"
#include "PHistogram2d.h"

using namespace ORVA;
using namespace testing_support;

namespace {

CValueMap Settings(bool normalized, double rangeMin = 0, double rangeMax = 255,
                   int32_t bins = 256) {
    CValueMap parameters;
    parameters.SetEntry("normalized", new CValueBool(normalized));
    parameters.SetEntry("range_min", new CValueDouble(rangeMin));
    parameters.SetEntry("range_max", new CValueDouble(rangeMax));
    parameters.SetEntry("bin_count", new CValueLong(bins));
    return parameters;
}

// Output 0 of the node, and its node for output 1.
template <class T>
double Information(CPMutualInformation& node, const CValueMap& parameters, IImage::CType type,
                   std::vector<T> a, std::vector<T> b) {
    Configure(node, parameters);
    const CSize size(static_cast<int64_t>(a.size()), 1);
    std::unique_ptr<CValue> first = ImageValue<T>(type, size, a);
    std::unique_ptr<CValue> second = ImageValue<T>(type, size, b);
    node.SetStackInput(0, first.get());
    node.SetStackInput(1, second.get());
    node.Run();
    node.ClearStackInputs();
    return node.StackOutput(0)->Double();
}

double Information(bool normalized, std::vector<uint8_t> a, std::vector<uint8_t> b) {
    CPMutualInformation node;
    return Information<uint8_t>(node, Settings(normalized), IMAGE_GREY_8, a, b);
}

}  // namespace

TEST(MutualInformation, BitsAndNormalizedValue) {
    struct Case {
        std::vector<uint8_t> a, b;
        double mutual, normalized;
    } cases[] = {
        {{0, 0, 1, 1}, {0, 0, 1, 1}, 1, 2},  // identical
        {{0, 0, 1, 1}, {0, 1, 0, 1}, 0, 1},  // independent
        {{5, 5, 5}, {7, 7, 7}, 0, 2},        // one bin
        {{0, 0, 0, 1},
         {0, 0, 1, 1},  // H(A) + H(B) - H(A, B)
         -0.75 * std::log2(0.75) - 0.25 * std::log2(0.25) + 1 - 1.5,
         (-0.75 * std::log2(0.75) - 0.25 * std::log2(0.25) + 1) / 1.5},
    };
    for (const Case& c : cases) {
        EXPECT_NEAR(Information(false, c.a, c.b), c.mutual, 1e-15);
        EXPECT_NEAR(Information(true, c.a, c.b), c.normalized, 1e-15);
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
    CValueMap parameters = Settings(false, -1, 3, 7);
    CPMutualInformation node;
    Information<float>(node, parameters, IMAGE_GREY_F, a, b);
    CPHistogram2d histogram;
    Configure(histogram, parameters);
    std::unique_ptr<CValue> first = ImageValue<float>(IMAGE_GREY_F, CSize(500, 1), a);
    std::unique_ptr<CValue> second = ImageValue<float>(IMAGE_GREY_F, CSize(500, 1), b);
    histogram.SetStackInput(0, first.get());
    histogram.SetStackInput(1, second.get());
    histogram.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node, 1)), Samples<float>(OutputImage(histogram)));

    // Nothing in range: an empty histogram gives 0.
    EXPECT_EQ(Information<float>(node, Settings(true, 10, 20), IMAGE_GREY_F, {1, 2}, {3, 30}), 0.0);
    EXPECT_EQ(Samples<float>(OutputImage(node, 1)), std::vector<float>(65536, 0.0f));
}

TEST(MutualInformation, RefusesBadRangesAndInputs) {
    CPMutualInformation node;
    const std::string where = "(utility plugins) MutualInformation::Run | ";
    auto error = [&](const CValueMap& parameters, IImage::CType secondType) {
        Configure(node, parameters);
        std::unique_ptr<CValue> first = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
        std::unique_ptr<CValue> second = ImageValue<uint8_t>(secondType, CSize(1, 1), {1});
        node.SetStackInput(0, first.get());
        node.SetStackInput(1, second.get());
        std::string message = ErrorOf([&] { node.Run(); }, true);
        node.ClearStackInputs();
        return message;
    };
    EXPECT_EQ(error(Settings(false, 5, 5), IMAGE_GREY_8),
              where + "range_min (5) must be less than range_max (5)");
    EXPECT_EQ(error(Settings(false, 0, 1, 5000), IMAGE_GREY_8),
              where + "bin_count 5000 is too large (at most 4096)");
    EXPECT_EQ(error(Settings(false), IMAGE_BINARY_FG),
              where + "input 1 is not of type IMAGE_GREY_8 but IMAGE_BINARY_FG");
}
