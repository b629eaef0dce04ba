#include "PLabeling.h"

#include <algorithm>
#include <limits>

#include "NodeTesting.h"
#include "PPixelLabel.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

std::vector<uint8_t> RunLabeling(std::unique_ptr<CValue> image, int neighbourhood,
                                 uint64_t* printedCount = nullptr) {
    CPLabeling node;
    Configure(node, {{"neighbourhood", neighbourhood}, {"verbose", true}});
    SetInputs(node, {image.get()});
    std::string printed = CapturedStdout([&] { node.Run(); });
    if (printedCount) *printedCount = std::stoull(printed.substr(printed.find(": ") + 2));
    return Samples<uint8_t>(OutputImage(node));
}

}  // namespace

TEST(Labeling, SmallCases) {
    // Images of digits, one row after the other.
    auto digits = [](std::string_view text) {
        std::vector<uint8_t> values;
        for (char c : text)
            if (c != ' ') values.push_back(static_cast<uint8_t>(c - '0'));
        return values;
    };
    struct Case {
        const char* what;
        CSize size;
        const char* values;
        int neighbourhood;
        const char* expected;
    } cases[] = {
        {"diagonal step, 4", CSize(2, 2), "10 01", 4, "10 02"},
        {"diagonal step, 8", CSize(2, 2), "10 01", 8, "10 01"},
        // Column 0 does not look up-right unless up is equal.
        {"up-right only, 8", CSize(2, 2), "01 10", 8, "01 20"},
        // A merge in 8-neighbourhood also takes in the 5 above: one region.
        {"other values merged, 8", CSize(4, 2), "3035 3330", 8, "1011 1110"},
        {"other values apart, 4", CSize(4, 2), "3035 3330", 4, "1012 1110"},
        {"numbered by first pixel", CSize(4, 3), "0002 1002 1111", 4, "0001 2001 2222"},
        {"width 1, 8", CSize(1, 4), "1101", 8, "1102"},
        // Three planes with 1, 3 and 2 regions: each starts at 1.
        {"planes", CSize(4, 1, 3), "1101 1020 0404", 4, "1102 1020 0102"},
    };
    for (const Case& c : cases) {
        uint64_t count = 0;
        std::vector<uint8_t> expected = digits(c.expected);
        EXPECT_EQ(RunLabeling(Grey8(c.size, digits(c.values)), c.neighbourhood, &count), expected)
            << c.what;
        // The count printed is that of the last plane.
        EXPECT_EQ(count, *std::max_element(expected.end() - c.size.x * c.size.y, expected.end()));
    }
}

TEST(Labeling, BytesWrapUpcastKeepsAndPlanesRestart) {
    // 300 single pixels: labels 256..300 wrap to 0..44 in bytes.
    std::vector<uint8_t> dots(600, 0);
    for (size_t i = 0; i < dots.size(); i += 2)
        dots[i] = 1;
    uint64_t count = 0;
    std::vector<uint8_t> labels = RunLabeling(Grey8(CSize(600, 1), dots), 4, &count);
    EXPECT_EQ(count, 300u);
    EXPECT_EQ(labels[2 * 254], 255);
    EXPECT_EQ(labels[2 * 255], 0);
    EXPECT_EQ(labels[2 * 299], 44);

    CPLabeling node;
    Configure(node, {{"upcast", true}});
    auto image = Grey8(CSize(600, 1), dots);
    const CImage& wide = RunImage(node, {image.get()});
    EXPECT_EQ(wide.Type(), IMAGE_GREY_F);
    EXPECT_EQ(wide.Data<float>()[2 * 299], 300.0f);
}

TEST(Labeling, FailuresAndTheEmptyImage) {
    auto colour = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 2), {1}),
         grey = Grey8(CSize(2, 2), {1});
    CValueLong number(1);
    const SFailure failures[] = {
        {{}, "(utility plugins) Labeling::Run | input image is NULL"},
        {{&number}, "(utility plugins) Labeling::Run | input image is NULL"},
        {{colour.get()}, "Labeling::Run | input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
        {{grey.get()}, "Labeling::Run | 6-neighbourhood not implemented", {{"neighbourhood", 6}}},
        {{grey.get()},
         "Labeling::Run | 4294967295-neighbourhood not implemented",
         {{"neighbourhood", -1}}},
    };
    ExpectFailures<CPLabeling>("", failures);

    // An empty input ends as an empty label image; of a wrong type, the stand-in stays.
    CPLabeling node;
    auto empty = GreyF(CSize(0, 3), {});
    SetInputs(node, {empty.get()});
    EXPECT_EQ(CapturedStderr([&] { node.Run(); }), "PLabeling: empty image \n");
    EXPECT_EQ(OutputImage(node).Size(), CSize(0, 3));
    EXPECT_EQ(OutputImage(node).Type(), IMAGE_GREY_F);
    auto emptyColour = Blank(IMAGE_RGB_8, CSize(4, 0));
    CapturedStderr([&] { EXPECT_NE(RunError(node, {emptyColour.get()}), "no exception"); });
    EXPECT_EQ(OutputImage(node).Size(), CSize(100, 100));
    EXPECT_EQ(OutputImage(node).Type(), IMAGE_RGB_8);
}

TEST(PixelLabel, NumbersNonZeroPixelsOfTheFirstPlane) {
    CPPixelLabel node;
    auto image = GreyF(CSize(3, 1, 2), {0.0f, 7.0f, NaN, -0.0f, 5.0f, 6.0f});
    EXPECT_EQ(Samples<float>(RunImage(node, {image.get()})),
              (std::vector<float>{0.0f, 1.0f, 2.0f, -0.0f, 5.0f, 6.0f}));
    auto bytes = Grey8(CSize(1, 1), {1});
    EXPECT_EQ(RunError(node, {bytes.get()}),
              "CPPixelLabel::Run() | input image is not of type IMAGE_GREY_F");
    EXPECT_EQ(RunError(node, {}), "(utility plugins) PixelLabel::Run | input image is NULL");
}
