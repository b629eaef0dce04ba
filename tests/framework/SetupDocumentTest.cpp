#include <gtest/gtest.h>

#include "tarsel.h"

using namespace ORVA;

namespace {

// The two worked documents, declared as the nodes declare them.
class CPSleepLike : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override {
        CSetupDocument doc("Image", "Utility", "Sleep");
        doc.Minimal();
        doc.Parameter("time", m_time);
        doc.Parameter("unit", m_unit).Values("milliseconds,seconds");
        doc.Input(0);
        doc.Output(0);
        doc.WriteTo(setup);
    }
    void NodeInit() override { m_time = Parameters().EntryLong("time", m_time); }
    void Run() override {}
    int32_t m_time = 10;
    std::string m_unit = "milliseconds";
};

class CPCopyImageLike : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override {
        CSetupDocument doc("Image", "Utility", "CopyImage");
        doc.Brief("Plugin copies an input image to an output image",
                  "Copies the input image to the output image. This node supports all image types "
                  "and sizes.");
        doc.Input(0, "Input image of an arbitrary image type.");
        doc.Output(0, "Output image containing a copy of the input image.");
        doc.Keywords({"copy", "nop", "do nothing"});
        doc.HelpPage("utility", "PCopyImage");
        doc.WriteTo(setup);
    }
    void Run() override {}
};

CValue* ImagePlaceholder() {
    return new CValueOwnedPointer<CImage>(nullptr, 1);
}

}  // namespace

TEST(SetupDocument, SleepWorkedExample) {
    CValueMap expected;
    expected.SetEntry("pluginType", new CValueString("Image"));
    expected.SetEntry("subType", new CValueString("Utility"));
    expected.SetEntry("name", new CValueString("Sleep"));
    expected.SetEntry("parameters/time", new CValueLong(10));
    auto* unit = new CValueString("milliseconds");
    unit->Meta().SetEntry("val/enValues", new CValueString("milliseconds,seconds"));
    expected.SetEntry("parameters/unit", unit);
    expected.SetEntry("inputs/0", ImagePlaceholder());
    expected.SetEntry("outputs/0", ImagePlaceholder());

    CPSleepLike node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(expected)) << CTextSerializer::ToText(setup);
}

TEST(SetupDocument, CopyImageWorkedExample) {
    CValueMap expected;
    expected.SetEntry("pluginType", new CValueString("Image"));
    expected.SetEntry("subType", new CValueString("Utility"));
    expected.SetEntry("name", new CValueString("CopyImage"));
    expected.SetEntry("parameters", new CValueMap());
    CValue* in = ImagePlaceholder();
    in->Meta().SetEntry("label", new CValueString("Input image of an arbitrary image type."));
    in->Meta().SetEntry("optional", new CValueBool(false));
    expected.SetEntry("inputs/0", in);
    CValue* out = ImagePlaceholder();
    out->Meta().SetEntry("label",
                         new CValueString("Output image containing a copy of the input image."));
    expected.SetEntry("outputs/0", out);
    expected.SetEntry(
        "description",
        new CValueString(
            "BRIEF\nPlugin copies an input image to an output image\n\nCopies the input image "
            "to the output image. This node supports all image types and sizes.\n\n\nINPUT "
            "0\nInput image of an arbitrary image type.\n\n\nOUTPUT 0\nOutput image "
            "containing a copy of the input image.\n\n\nKEYWORDS\ncopy, nop, do nothing\n\n"));
    auto* keywords = new CValueVector();
    for (const char* word : {"copy", "nop", "do nothing"})
        keywords->PushBack(new CValueString(word));
    expected.SetEntry("keywords", keywords);
    expected.SetEntry("__vimbroDocumentation",
                      new CValueString("%ORVADIR%/doc/vimbro/html/utility/PCopyImage/index.html"));

    CPCopyImageLike node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(expected)) << CTextSerializer::ToText(setup);
}

TEST(SetupDocument, SecondCallAppendsKeywordsAndKeepsLabels) {
    CPCopyImageLike node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    setup.Entry("outputs/0")->Meta().SetEntry("label", new CValueString("the host's own text"));
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.Entry("keywords")->Vector()->Size(), 6u);
    EXPECT_EQ(setup.EntryString("keywords/3"), "copy");
    EXPECT_EQ(setup.EntryString("outputs/0/label"), "the host's own text");
}

TEST(SetupDocument, ShowsCurrentValuesAfterNodeInit) {
    CPSleepLike node;
    CValueMap parameters;
    parameters.SetEntry("time", new CValueLong(250));
    node.Init(&parameters);
    node.NodeInit();
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryLong("parameters/time"), 250);
}

TEST(SetupDocument, ParametersOrderHintsAndTexts) {
    CSetupDocument doc("Image", "Utility", "Demo");
    doc.Brief("Demo.");
    doc.Parameter("count", int64_t(1) << 40, "how many").Type("double or long");
    doc.Parameter("scale", 0.5f, "factor");
    doc.Parameter("verbose", false, "print").Toggle().Order(98);
    doc.Parameter("file", "a.txt", "input file").Path("Text (*.txt)").Save();
    doc.ParameterText("in]", "string", "pDst pointer to destination image", true);
    doc.ParameterText("out]", "string", "never attached", false);
    doc.Input(1, "mask", CSetupDocument::PIN_MAP).Optional();
    doc.Output(0, "result").Label("set directly");
    CValueMap setup;
    doc.WriteTo(setup);

    EXPECT_EQ(setup.EntryLong("parameters/count"), INT32_MAX);
    EXPECT_EQ(setup.EntryString("parameters/count/desc"),
              "The type of this parameter is of type double or long. how many");
    EXPECT_EQ(setup.Entry("parameters/scale")->Type(), typeid(CValueDouble));
    EXPECT_EQ(setup.EntryString("parameters/verbose/gui/boolean"), "togglebutton");
    EXPECT_TRUE(setup.EntryBool("parameters/file/gui/path"));
    EXPECT_TRUE(setup.EntryBool("parameters/file/gui/save"));
    EXPECT_EQ(setup.EntryString("parameters/file/gui/filefilter"), "Text (*.txt)");
    EXPECT_EQ(setup.EntryString("gui/order/0"), "count");
    EXPECT_EQ(setup.EntryString("gui/order/1"), "scale");
    EXPECT_EQ(setup.EntryString("gui/order/2"), "file");
    EXPECT_EQ(setup.EntryString("gui/order/98"), "verbose");
    EXPECT_EQ(setup.Entry("gui/order")->Map()->Size(), 4u);
    EXPECT_EQ(setup.Entry("parameters/in]")->GenericType(), CValue::VAL_NULL);
    EXPECT_EQ(setup.EntryString("parameters/in]/desc"),
              "The type of this parameter is of type string. pDst pointer to destination image");
    EXPECT_FALSE(setup.HasEntry("parameters/out]"));
    EXPECT_TRUE(setup.HasEntry("inputs/1", CValue::VAL_MAP));
    // A map placeholder keeps its pin texts in its metadata, which a path cannot reach.
    EXPECT_TRUE(setup.Entry("inputs/1")->Meta().EntryBool("optional"));
    EXPECT_EQ(setup.EntryString("outputs/0/label"), "set directly");
    EXPECT_EQ(setup.EntryString("description").find("PARAMETER out]\n"),
              setup.EntryString("description").find("PARAMETER out]"));
    EXPECT_NE(setup.EntryString("description").find("PARAMETER out]\nThe type"), std::string::npos);
}
