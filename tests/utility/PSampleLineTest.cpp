#include "PSampleLine.h"

#include <cmath>

#include "DrawingTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// 0 10 20 30 / 100 110 120 130.
std::unique_ptr<CValue> Ramp() {
    return ImageValue<uint16_t>(IMAGE_GREY_16, CSize(4, 2), {0, 10, 20, 30, 100, 110, 120, 130});
}

}  // namespace

TEST(SampleLine, SamplesFromStartToEndBothIncluded) {
    // Rows 0 to 200 of 6 columns, each pixel 10 x + y.
    std::vector<float> tall(6 * 201);
    for (size_t i = 0; i < tall.size(); ++i)
        tall[i] = static_cast<float>(10 * (i % 6) + i / 6);
    std::unique_ptr<CValue> ramp = Ramp(), high = ImageValue(IMAGE_GREY_F, CSize(6, 201), tall);
    struct Case {
        const CValue* image;
        const char* json;
        std::vector<float> table;  // x, y, value per sample
    } cases[] = {
        // count 0: ceil(length) + 1 samples; the last lands exactly on the end.
        {ramp.get(),
         R"({"x0": 0, "y0": 0, "x1": 3, "y1": 0})",
         {0, 0, 0, 1, 0, 10, 2, 0, 20, 3, 0, 30}},
        {ramp.get(),
         R"({"x0": 0, "y0": 0, "x1": 2.5, "y1": 1})",
         {0, 0, 0, 0.8333333f, 0.3333333f, 41.66666f, 1.6666666f, 0.6666667f, 83.33333f, 2.5f, 1,
          125}},
        {ramp.get(),
         R"({"x0": 2, "y0": 0, "x1": 5, "y1": 0, "interpolation": "NEAREST",
             "outside_value": -1})",
         {2, 0, 20, 3, 0, 30, 4, 0, -1, 5, 0, -1}},
        // Whole-number positions stay on their pixels: the second sample is pixel (0, 200).
        {high.get(),
         R"({"x0": -1, "y0": 200, "x1": 5, "y1": 200, "count": 7})",
         {-1,  200, -99, 0,   200, 200, 1,   200, 210, 2,  200,
          220, 3,   200, 230, 4,   200, 240, 5,   200, 250}},
    };
    for (const Case& c : cases) {
        CPSampleLine node;
        RunNode(node, c.json, {c.image});
        const std::vector<float> table = NaNAs99(Samples<float>(OutputImage(node, 0)));
        ASSERT_EQ(table.size(), c.table.size()) << c.json;
        for (size_t i = 0; i < table.size(); ++i)
            EXPECT_NEAR(table[i], c.table[i], 1e-4) << c.json << " cell " << i;
        // Output 1 is the profile of values alone, one row.
        std::vector<float> profile;
        for (size_t i = 2; i < table.size(); i += 3)
            profile.push_back(table[i]);
        EXPECT_EQ(NaNAs99(Samples<float>(OutputImage(node, 1))), profile);
        EXPECT_EQ(OutputImage(node, 1).Size().y, 1);
    }
}

TEST(SampleLine, SegmentFromTheFirstRowOfATableAndNaNOutside) {
    std::unique_ptr<CValue> image = Ramp();
    std::unique_ptr<CValue> segment = Table(5, {3, 0, 3, 2, 99, 0, 0, 0, 0, 0});
    CPSampleLine node;
    RunNode(node, R"({"x0": 0, "y0": 0, "x1": 1, "y1": 0})", {image.get(), segment.get()});
    EXPECT_EQ(NaNAs99(Samples<float>(OutputImage(node, 0))),
              (std::vector<float>{3, 0, 30, 3, 1, 130, 3, 2, -99}));
}

TEST(SampleLine, Failures) {
    std::unique_ptr<CValue> image = Ramp();
    std::unique_ptr<CValue> empty = Table(4, {});
    ExpectJsonFailures<CPSampleLine>(
        "(utility plugins) SampleLine::Run", {image.get()},
        {{R"({"count": -2})", "parameter count must be 0 or more, but it is -2"},
         {R"({"x1": {"@double": "inf"}})",
          "the segment from (0, 0) to (inf, 0) has an end that is not finite"},
         {R"({"x1": 1e12})",
          "the segment asks for 1000000000001 samples; at most 16777216 are taken"},
         {R"({"interpolation": "CUBIC"})",
          "parameter interpolation must be NEAREST or BILINEAR, but it is 'CUBIC'"},
         {"{}", "input 1 has no rows", {image.get(), empty.get()}},
         {"{}",
          "input 1 must be an IMAGE_GREY_F table of at least 4 columns, but it is an IMAGE_GREY_16 "
          "image of size (4, 2, 1)",
          {image.get(), image.get()}}});
}
