#include "PZoneList.h"

#include <limits>

#include "NodeTesting.h"
#include "PBoundingBox.h"
#include "PExpandBox.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

CValueMap ZoneSettings(const char* mode, int32_t xoffset, int32_t yoffset) {
    CValueMap parameters;
    parameters.SetEntry("output_mode", new CValueString(mode));
    parameters.SetEntry("xoffset", new CValueLong(xoffset));
    parameters.SetEntry("yoffset", new CValueLong(yoffset));
    return parameters;
}

// A zone map as "key=value" pairs in key order.
std::string Describe(const CValue& zone) {
    std::string text;
    for (const auto& [key, value] : *zone.Map())
        text += (text.empty() ? "" : " ") + key + "=" + value->String();
    return text;
}

std::vector<uint8_t> Boxes(CSize size, std::vector<uint8_t> values, const CValueMap& parameters) {
    CPBoundingBox node;
    Configure(node, parameters);
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, size, std::move(values));
    node.SetStackInput(0, image.get());
    node.Run();
    return Samples<uint8_t>(OutputImage(node));
}

}  // namespace

TEST(ZoneList, VectorOfZonesWithOffsetsAndEmptyLabels) {
    // Label 1 in columns 0..4 of row 1, label 3 at (7, 2) and (8, 3), no label 2.
    std::vector<uint8_t> values(40, 0);
    for (int x = 0; x < 5; ++x)
        values[10 + x] = 1;
    values[27] = 3;
    values[38] = 3;
    CPZoneList node;
    Configure(node, ZoneSettings("VALUEVECTOR", 2, 1));
    std::unique_ptr<CValue> image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(10, 4), values);
    node.SetStackInput(0, image.get());
    node.Run();
    const CValue* output = node.StackOutput(0);
    ASSERT_NE(output->Vector(), nullptr);
    const CValueVector& zones = *output->Vector();
    ASSERT_EQ(zones.Size(), 3u);
    EXPECT_EQ(Describe(*zones[0]), "ax=0 ay=0 bx=6 by=2 height=1 label=1 width=5");
    EXPECT_EQ(Describe(*zones[1]), "ax=8 ay=3 bx=2 by=1 height=-3 label=2 width=-9");
    EXPECT_EQ(Describe(*zones[2]), "ax=5 ay=1 bx=9 by=3 height=2 label=3 width=2");
    const CValueMap* meta = output->MetaIfAny();
    ASSERT_NE(meta, nullptr);
    EXPECT_EQ(meta->EntryString("ID"), "ZoneList");
    EXPECT_EQ(meta->EntryLong("xoffset"), 2);
    EXPECT_EQ(meta->EntryLong("yoffset"), 1);
    EXPECT_TRUE(meta->EntryBool("is2d"));
}

TEST(ZoneList, TableImageInThreeDimensions) {
    // Two planes of floats: 2.7 is label 2, 0.5 and NaN are background.
    std::vector<float> values = {0.5f, 2.7f, 0, 0,    //
                                 0,    0,    1, NaN,  //
                                 0,    0,    0, 2};
    for (const char* mode : {"IMAGE", "image"}) {
        CPZoneList node;
        Configure(node, ZoneSettings(mode, 0, 0));
        std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 3, 2), values);
        node.SetStackInput(0, image.get());
        node.Run();
        const CImage& table = OutputImage(node);
        EXPECT_EQ(table.Size(), CSize(6, 2, 1));
        EXPECT_EQ(Samples<float>(table), (std::vector<float>{0, 0, 0, 0, 1, 1,  //
                                                             1, 1, 0, 2, 0, 1}));
        EXPECT_FALSE(table.Attributes().EntryBool("is2d"));
        EXPECT_EQ(table.Attributes().EntryString("ID"), "ZoneList");
    }

    // Values below 1 only: no zones at all.
    CPZoneList node;
    Configure(node, ZoneSettings("VALUEVECTOR", 0, 0));
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {0.5f, 0.5f});
    node.SetStackInput(0, image.get());
    node.Run();
    EXPECT_EQ(node.StackOutput(0)->Vector()->Size(), 0u);
}

TEST(ZoneList, RunsOnceUntilNodeInitAndFails) {
    CPZoneList node;
    CValueMap parameters = ZoneSettings("IMAGE", 0, 0);
    parameters.SetEntry("run_once", new CValueBool(true));
    Configure(node, parameters);
    std::unique_ptr<CValue> one = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    std::unique_ptr<CValue> two = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {2});
    node.SetStackInput(0, one.get());
    node.Run();
    node.SetStackInput(0, two.get());
    node.Run();
    EXPECT_EQ(OutputImage(node).Size().y, 1);
    Configure(node, parameters);
    node.Run();
    EXPECT_EQ(OutputImage(node).Size().y, 2);

    Configure(node, ZoneSettings("IMAGE", 0, 0));
    node.ClearStackInputs();
    std::string where = "(utility plugins) ZoneList::Run | ";
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "input image is NULL");
    CValueLong number(1);
    node.SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "Invalid stack input 0");
    std::unique_ptr<CValue> doubles = ImageValue<double>(IMAGE_GREY_D, CSize(1, 1), {1});
    node.SetStackInput(0, doubles.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "Invalid image type");
    std::unique_ptr<CValue> huge = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(1, 1), {16777217});
    node.SetStackInput(0, huge.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "label 16777217 is too large for a zone list (at most 16777216)");
}

TEST(BoundingBox, FillOutlineAndResize) {
    // A 3 x 3 box at columns 1..3, rows 1..3 of a 5 x 5 image.
    std::vector<uint8_t> cross(25, 0);
    for (int i : {7, 11, 12, 13, 17})
        cross[static_cast<size_t>(i)] = 5;
    auto settings = [](bool fill, int32_t resize) {
        CValueMap parameters;
        parameters.SetEntry("fill", new CValueBool(fill));
        parameters.SetEntry("resize_box", new CValueLong(resize));
        parameters.SetEntry("fg_value", new CValueLong(300));  // low 8 bits: 44
        parameters.SetEntry("bg_value", new CValueDouble(7.9));
        return parameters;
    };
    const uint8_t F = 44, B = 7;
    struct Case {
        bool fill;
        int32_t resize;
        std::vector<uint8_t> expected;
    } cases[] = {
        {true, 0, {B, B, B, B, B, B, F, F, F, B, B, F, F, F, B, B, F, F, F, B, B, B, B, B, B}},
        {false, 0, {B, B, B, B, B, B, F, F, F, B, B, F, B, F, B, B, F, F, F, B, B, B, B, B, B}},
        {false, 1, {B, B, B, B, B, B, B, B, B, B, B, B, F, B, B, B, B, B, B, B, B, B, B, B, B}},
        {true, 2, std::vector<uint8_t>(25, B)},
        // Grown by 2, clipped to the image.
        {false, -2, {F, F, F, F, F, F, B, B, B, F, F, B, B, B, F, F, B, B, B, F, F, F, F, F, F}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Boxes(CSize(5, 5), cross, settings(c.fill, c.resize)), c.expected)
            << c.fill << " " << c.resize;

    CValueMap outline;
    outline.SetEntry("fill", new CValueBool(false));
    EXPECT_EQ(Boxes(CSize(3, 1), {0, 9, 0}, outline), (std::vector<uint8_t>{0, 1, 0}));
}

TEST(BoundingBox, OneBoxPerLabel) {
    CValueMap parameters;
    parameters.SetEntry("label", new CValueBool(true));
    EXPECT_EQ(Boxes(CSize(5, 2), {1, 0, 0, 2, 0, 0, 1, 0, 0, 2}, parameters),
              (std::vector<uint8_t>{1, 1, 0, 1, 1, 1, 1, 0, 1, 1}));

    // Float values up to 1 belong to the first box.
    CPBoundingBox node;
    Configure(node, parameters);
    std::unique_ptr<CValue> image =
        ImageValue<float>(IMAGE_GREY_F, CSize(4, 1), {0.5f, 0, 0.25f, NaN});
    node.SetStackInput(0, image.get());
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{1, 1, 1, 0}));

    std::string where = "(utility plugins) BoundingBox::Run | ";
    node.ClearStackInputs();
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true), where + "input image is NULL");
    std::unique_ptr<CValue> planes = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1, 2), {1});
    node.SetStackInput(0, planes.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "At the moment this plugin is only for 2D images");
    std::unique_ptr<CValue> wide = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    node.SetStackInput(0, wide.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              where + "input image is not of type IMAGE_GREY_F or IMAGE_GREY_8");
}

TEST(ExpandBox, MasksTheGrownBoxOfTheFirstPlane) {
    auto run = [](CSize size, std::vector<float> values, int32_t margin) {
        CPExpandBox node;
        CValueMap parameters;
        for (const char* key : {"expand_left", "expand_right", "expand_top", "expand_bottom"})
            parameters.SetEntry(key, new CValueLong(margin));
        Configure(node, parameters);
        std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, size, std::move(values));
        node.SetStackInput(0, image.get());
        node.Run();
        return Samples<float>(OutputImage(node));
    };
    EXPECT_EQ(run(CSize(3, 2), {0, 0, 0, 0, 0, 0}, 0), (std::vector<float>(6, 0.0f)));
    // NaN counts; the second plane is copied.
    EXPECT_EQ(run(CSize(4, 3, 2), {0, 0, 0, 0, 0, 0, NaN, 0, 0, 0, 0, 0,  //
                                   5, 5, 5, 5, 5, 5, 5,   5, 5, 5, 5, 5},
                  1),
              (std::vector<float>{0, 1, 1, 1, 0, 1, 1, 1, 0, 1, 1, 1,  //
                                  5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5}));

    CPExpandBox node;
    Configure(node);
    std::unique_ptr<CValue> bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    node.SetStackInput(0, bytes.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) ExpandBox::Run | input image is not of type IMAGE_GREY_F");
}
