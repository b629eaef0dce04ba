#include "PZoneList.h"

#include <algorithm>
#include <limits>

#include "NodeTesting.h"
#include "PBoundingBox.h"
#include "PExpandBox.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// The output of BoundingBox on a byte image.
std::vector<uint8_t> Boxes(CSize size, std::vector<uint8_t> values, const CValueMap& parameters) {
    CPBoundingBox node;
    Configure(node, parameters);
    auto image = Grey8(size, std::move(values));
    return Samples<uint8_t>(RunImage(node, {image.get()}));
}

}  // namespace

TEST(ZoneList, VectorOfZonesWithOffsetsAndEmptyLabels) {
    // Label 1 in columns 0..4 of row 1, label 3 at (7, 2) and (8, 3), no label 2.
    std::vector<uint8_t> values(40, 0);
    for (int x = 0; x < 5; ++x)
        values[10 + x] = 1;
    values[27] = values[38] = 3;
    CPZoneList node;
    Configure(node, {{"output_mode", "VALUEVECTOR"}, {"xoffset", 2}, {"yoffset", 1}});
    auto image = Grey8(CSize(10, 4), values);
    SetInputs(node, {image.get()});
    node.Run();
    EXPECT_EQ(CTextSerializer::ToText(*node.StackOutput(0), 0),
              R"({"@value": [)"
              R"({"ax": 0, "ay": 0, "bx": 6, "by": 2, "height": 1, "label": 1, "width": 5}, )"
              R"({"ax": 8, "ay": 3, "bx": 2, "by": 1, "height": -3, "label": 2, "width": -9}, )"
              R"({"ax": 5, "ay": 1, "bx": 9, "by": 3, "height": 2, "label": 3, "width": 2}], )"
              R"("@meta": {"ID": "ZoneList", "is2d": true, "xoffset": 2, "yoffset": 1}})");

    // Values below 1 only: no zones at all.
    auto halves = GreyF(CSize(2, 1), {0.5f, 0.5f});
    SetInputs(node, {halves.get()});
    node.Run();
    EXPECT_EQ(node.StackOutput(0)->Vector()->Size(), 0u);
}

TEST(ZoneList, TableImageInThreeDimensions) {
    // Two planes of floats: 2.7 is label 2, 0.5 and NaN are background.
    std::vector<float> values = {0.5f, 2.7f, 0, 0, 0, 0, /**/ 1, NaN, 0, 0, 0, 2};
    for (const char* mode : {"IMAGE", "image"}) {
        CPZoneList node;
        Configure(node, {{"output_mode", mode}});
        auto image = GreyF(CSize(2, 3, 2), values);
        const CImage& table = RunImage(node, {image.get()});
        EXPECT_EQ(table.Size(), CSize(6, 2, 1));
        EXPECT_EQ(Samples<float>(table), (std::vector<float>{0, 0, 0, 0, 1, 1,  //
                                                             1, 1, 0, 2, 0, 1}));
        EXPECT_EQ(CTextSerializer::ToText(table.Attributes(), 0),
                  R"({"ID": "ZoneList", "is2d": false, "xoffset": 0, "yoffset": 0})");
    }
}

TEST(ZoneList, RunsOnceUntilNodeInitAndFails) {
    CPZoneList node;
    Configure(node, {{"output_mode", "IMAGE"}, {"run_once", true}});
    auto one = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    auto two = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {2});
    RunImage(node, {one.get()});
    EXPECT_EQ(RunImage(node, {two.get()}).Size().y, 1);
    node.NodeInit();
    EXPECT_EQ(RunImage(node, {two.get()}).Size().y, 2);

    CValueLong number(1);
    auto doubles = Blank(IMAGE_GREY_D, CSize(1, 1));
    auto huge = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {16777217});
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "Invalid stack input 0"},
        {{doubles.get()}, "Invalid image type"},
        {{huge.get()}, "label 16777217 is too large for a zone list (at most 16777216)"},
    };
    ExpectFailures<CPZoneList>("(utility plugins) ZoneList::Run | ", failures);
}

TEST(BoundingBox, FillOutlineAndResize) {
    // A 3 x 3 box at columns 1..3, rows 1..3 of a 5 x 5 image; the foreground 300 keeps its
    // low 8 bits (F = 44), the background 7.9 is truncated (B = 7).
    std::vector<uint8_t> cross(25, 0);
    for (int i : {7, 11, 12, 13, 17})
        cross[static_cast<size_t>(i)] = 5;
    struct Case {
        bool fill;
        int resize;
        const char* expected;
    } cases[] = {
        {true, 0, "BBBBB BFFFB BFFFB BFFFB BBBBB"},
        {false, 0, "BBBBB BFFFB BFBFB BFFFB BBBBB"},
        {false, 1, "BBBBB BBBBB BBFBB BBBBB BBBBB"},
        {true, 2, "BBBBB BBBBB BBBBB BBBBB BBBBB"},
        // Grown by 2, clipped to the image.
        {false, -2, "FFFFF FBBBF FBBBF FBBBF FFFFF"},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> expected;
        for (const char* p = c.expected; *p; ++p)
            if (*p != ' ') expected.push_back(*p == 'F' ? 44 : 7);
        EXPECT_EQ(Boxes(CSize(5, 5), cross,
                        ParameterMap({{"fill", c.fill},
                                      {"resize_box", c.resize},
                                      {"fg_value", 300},
                                      {"bg_value", 7.9}})),
                  expected)
            << c.fill << " " << c.resize;
    }
    EXPECT_EQ(Boxes(CSize(3, 1), {0, 9, 0}, ParameterMap({{"fill", false}})),
              (std::vector<uint8_t>{0, 1, 0}));
}

TEST(BoundingBox, OneBoxPerLabel) {
    CValueMap label = ParameterMap({{"label", true}});
    EXPECT_EQ(Boxes(CSize(5, 2), {1, 0, 0, 2, 0, 0, 1, 0, 0, 2}, label),
              (std::vector<uint8_t>{1, 1, 0, 1, 1, 1, 1, 0, 1, 1}));
    // Float values up to 1 belong to the first box.
    CPBoundingBox node;
    Configure(node, label);
    auto image = GreyF(CSize(4, 1), {0.5f, 0, 0.25f, NaN});
    EXPECT_EQ(Samples<float>(RunImage(node, {image.get()})), (std::vector<float>{1, 1, 1, 0}));

    auto planes = GreyF(CSize(1, 1, 2), {1}), wide = Blank(IMAGE_GREY_16, CSize(1, 1));
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{planes.get()}, "At the moment this plugin is only for 2D images"},
        {{wide.get()}, "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8"},
    };
    ExpectFailures<CPBoundingBox>("(utility plugins) BoundingBox::Run | ", failures);
}

TEST(ExpandBox, MasksTheBoxGrownByEachMargin) {
    // Non-zero pixels (NaN counts) at (2, 1) and (3, 2) of a 6 x 4 plane; the second plane
    // is copied. Masks row by row, '#' for 1.
    std::vector<float> values(48, 0.0f);
    values[8] = NaN;
    values[15] = -4;
    std::fill(values.begin() + 24, values.end(), 5.0f);
    auto zeros = GreyF(CSize(3, 2), {0});
    const struct {
        CValue* image;
        int left, right, top, bottom;
        const char* mask;
    } cases[] = {
        {nullptr, 0, 0, 0, 0, "...... ..##.. ..##.. ......"},
        {nullptr, 1, 2, 0, 1, "...... .##### .##### .#####"},
        {nullptr, 0, -1, -1, 0, "...... ...... ..#... ......"},
        {nullptr, 9, 0, 1, 9, "####.. ####.. ####.. ####.."},
        {nullptr, 0, 0, 0, -2, "...... ...... ...... ......"},
        // Nothing found: the margins grow the start values xmin = width, xmax = -1 and so on.
        {zeros.get(), 0, 0, 0, 0, "... ..."},
        {zeros.get(), 1, 3, 1, 2, "... ..#"},
    };
    auto image = GreyF(CSize(6, 4, 2), values);
    for (const auto& c : cases) {
        CPExpandBox node;
        Configure(node, {{"expand_left", c.left},
                         {"expand_right", c.right},
                         {"expand_top", c.top},
                         {"expand_bottom", c.bottom}});
        std::vector<float> expected;
        for (const char* p = c.mask; *p; ++p)
            if (*p != ' ') expected.push_back(*p == '#' ? 1.0f : 0.0f);
        if (!c.image) expected.insert(expected.end(), 24, 5.0f);
        EXPECT_EQ(Samples<float>(RunImage(node, {c.image ? c.image : image.get()})), expected)
            << c.mask;
    }

    CPExpandBox node;
    auto bytes = Grey8(CSize(1, 1), {1});
    EXPECT_EQ(RunError(node, {bytes.get()}),
              "(utility plugins) ExpandBox::Run | input image is not of type IMAGE_GREY_F");
}
