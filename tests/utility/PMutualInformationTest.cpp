#include "PMutualInformation.h"

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(MutualInformation, BitsOrNormalizedValueAndTheCounts) {
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 1), {0, 0, 1, 1});
    const struct {
        const char* json;
        double result;
        std::vector<float> histogram;
    } cases[] = {
        {R"({"range_min": 0, "range_max": 1, "bin_count": 2})", 1, {2, 0, 0, 2}},
        {R"({"range_min": 0, "range_max": 1, "bin_count": 2, "normalized": true})",
         2,
         {2, 0, 0, 2}},
        // Nothing in range.
        {R"({"range_min": 10.0, "range_max": 20, "bin_count": 2, "normalized": true})",
         0,
         {0, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        CPMutualInformation node;
        RunNode(node, c.json, {image.get(), image.get()});
        EXPECT_EQ(node.StackOutput(0)->Double(), c.result) << c.json;
        EXPECT_EQ(Samples<float>(OutputImage(node, 1)), c.histogram) << c.json;
    }
}

TEST(MutualInformation, Failures) {
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    std::unique_ptr<CValue> binary = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(1, 1), {1});
    CValueLong number(1);
    ExpectJsonFailures<CPMutualInformation>(
        "(utility plugins) MutualInformation::Run", {bytes.get(), bytes.get()},
        {{R"({"range_min": 5.0, "range_max": 5.0})",
          "range_min (5) must be less than range_max (5)"},
         {R"({"bin_count": 5000})", "bin_count 5000 is too large (at most 4096)"},
         {"{}", "input 1 is NULL", {bytes.get()}},
         {"{}", "input 0 is not an image", {&number, bytes.get()}},
         {"{}",
          "input 1 is not of type IMAGE_GREY_8 but IMAGE_BINARY_FG",
          {bytes.get(), binary.get()}}});
}
