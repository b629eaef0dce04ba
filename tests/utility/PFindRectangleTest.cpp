#include "PFindRectangle.h"

#include <cmath>
#include <limits>

#include "DrawingTesting.h"
#include "PFindAndCutRectangle.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The table row and the map of FindRectangle, as one text.
std::string Rectangle(const CValue& image, double threshold) {
    CPFindRectangle node;
    RunNode(node, R"({"threshold": )" + std::to_string(threshold) + "}", {&image});
    std::string text;
    for (float cell : Samples<float>(OutputImage(node)))
        text += std::to_string(static_cast<int>(cell)) + " ";
    for (const auto& [key, value] : *node.StackOutput(1)->Map())
        text += key + "=" + value->String() + " ";
    return text;
}

}  // namespace

TEST(FindRectangle, PixelsAboveTheThresholdInTheFirstPlane) {
    // 2 at (1, 2), NaN at (3, 1); the second plane is not searched.
    std::vector<float> values(40, 0.0f);
    values[11] = 2;
    values[8] = NaN;
    for (size_t i = 20; i < 40; ++i)
        values[i] = 9;
    std::unique_ptr<CValue> floats = ImageValue<float>(IMAGE_GREY_F, CSize(5, 4, 2), values);
    std::unique_ptr<CValue> words =
        ImageValue<uint32_t>(IMAGE_GREY_32, CSize(3, 1), {16777216, 16777217, 0});
    // Planar colour: channel means 1 and 0.
    std::unique_ptr<CValue> colour =
        ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 1), {3, 0, 0, 0, 0, 0});
    struct Case {
        const CValue* image;
        double threshold;
        const char* expected;
    } cases[] = {
        {floats.get(), 0, "1 3 1 2 ax=1 ay=1 bx=3 by=2 height=2 width=3 "},
        {floats.get(), 2, "3 3 1 1 ax=3 ay=1 bx=3 by=1 height=1 width=1 "},
        {words.get(), 16777216.5, "1 1 0 0 ax=1 ay=0 bx=1 by=0 height=1 width=1 "},
        {colour.get(), 0.5, "0 0 0 0 ax=0 ay=0 bx=0 by=0 height=1 width=1 "},
        {colour.get(), 1, "-1 -1 -1 -1 ax=-1 ay=-1 bx=-1 by=-1 height=0 width=0 "},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Rectangle(*c.image, c.threshold), c.expected) << c.threshold;
}

TEST(FindAndCutRectangle, CutsEveryPlaneOfTheGrownRectangle) {
    // Selected: (2, 1) and (3, 2) of the first plane; the second plane counts up from 100.
    std::vector<uint16_t> values(60, 0);
    values[8] = 1;
    values[15] = 1;
    for (size_t i = 30; i < 60; ++i)
        values[i] = static_cast<uint16_t>(70 + i);
    std::unique_ptr<CValue> image = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(6, 5, 2), values);
    // The cut, its size and the rectangle's row.
    auto cut = [&](const char* json) {
        CPFindAndCutRectangle node;
        RunNode(node, json, {image.get()});
        const CImage& out = OutputImage(node);
        return std::make_tuple(out.Size(), Samples<uint16_t>(out),
                               Samples<float>(OutputImage(node, 1)));
    };
    // Grown to the right edge, shrunk by one row at the bottom.
    EXPECT_EQ(cut(R"({"expand_left": 1, "expand_right": 5, "expand_bottom": -1})"),
              std::make_tuple(CSize(5, 1, 2),
                              std::vector<uint16_t>{0, 1, 0, 0, 0, 107, 108, 109, 110, 111},
                              std::vector<float>{1, 5, 1, 1}));
    const auto nothing = std::make_tuple(CSize(0, 0, 2), std::vector<uint16_t>{},
                                         std::vector<float>{-1, -1, -1, -1});
    EXPECT_EQ(cut(R"({"expand_top": -1, "expand_bottom": -1})"), nothing);  // shrunk away
    EXPECT_EQ(cut(R"({"threshold": 1.0})"), nothing);                       // nothing above 1
    ExpectJsonFailures<CPFindAndCutRectangle>("(utility plugins) FindAndCutRectangle::Run",
                                              {{R"({"threshold": {"@double": "nan"}})",
                                                "threshold is NaN, not a number",
                                                {image.get()}}});
}
