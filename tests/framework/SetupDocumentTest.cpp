#include <gtest/gtest.h>

#include "tarsel.h"

using namespace ORVA;

namespace {

// The worked document of Sleep, declared as the node declares it.
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

}  // namespace

TEST(SetupDocument, SleepWorkedExample) {
    std::unique_ptr<CValue> expected = CTextSerializer::FromText(R"({
  "pluginType": "Image", "subType": "Utility", "name": "Sleep",
  "parameters": {"time": 10, "unit": {"@value": "milliseconds",
                                      "@meta": {"val": {"enValues": "milliseconds,seconds"}}}},
  "inputs": {"0": {"@image": null}}, "outputs": {"0": {"@image": null}}})");
    CPSleepLike node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(*expected)) << CTextSerializer::ToText(setup);
}

TEST(SetupDocument, SecondWriteAppendsKeywordsAndKeepsLabels) {
    CValueMap setup;
    auto write = [&] {
        CSetupDocument doc("Image", "Utility", "Copy");
        doc.Output(0, "a copy of the input image");
        doc.Keywords({"copy", "nop", "do nothing"});
        doc.WriteTo(setup);
    };
    write();
    setup.Entry("outputs/0")->Meta().SetEntry("label", new CValueString("the host's own text"));
    write();
    EXPECT_EQ(CTextSerializer::ToText(*setup.Entry("keywords"), 0),
              R"(["copy", "nop", "do nothing", "copy", "nop", "do nothing"])");
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
    int64_t count = int64_t(1) << 40;
    float scale = 0.5f;
    bool verbose = false;
    std::string file = "a.txt";
    CSetupDocument doc("Image", "Utility", "Demo");
    doc.Brief("Demo.");
    doc.Parameter("count", count, "how many").Type("double or long");
    doc.Parameter("scale", scale, "factor");
    doc.Parameter("verbose", verbose, "print").Toggle().Order(98);
    doc.Parameter("file", file, "input file").Path("Text (*.txt)").Save();
    doc.DocumentationOnly("in]", "string", "pDst pointer to destination image", true);
    doc.DocumentationOnly("out]", "string", "never attached", false);
    doc.Input(1, "mask", CSetupDocument::PIN_MAP).Optional();
    doc.Output(0, "result").Label("set directly");
    CValueMap setup;
    doc.WriteTo(setup);

    EXPECT_EQ(setup.EntryLong("parameters/count"), INT32_MAX);
    EXPECT_EQ(setup.EntryString("parameters/count/desc"),
              "The type of this parameter is of type double or long. how many");
    EXPECT_EQ(setup.Entry("parameters/scale")->Type(), typeid(CValueDouble));
    EXPECT_EQ(setup.EntryString("parameters/verbose/gui/boolean"), "togglebutton");
    EXPECT_EQ(CTextSerializer::ToText(*setup.Entry("parameters/file/gui"), 0),
              "{\"filefilter\": \"Text (*.txt)\", \"path\": true, \"save\": true}");
    EXPECT_EQ(CTextSerializer::ToText(*setup.Entry("gui/order"), 0),
              R"({"0": "count", "1": "scale", "2": "file", "98": "verbose"})");
    EXPECT_EQ(setup.Entry("parameters/in]")->GenericType(), CValue::VAL_NULL);
    EXPECT_EQ(setup.EntryString("parameters/in]/desc"),
              "The type of this parameter is of type string. pDst pointer to destination image");
    EXPECT_FALSE(setup.HasEntry("parameters/out]"));
    EXPECT_TRUE(setup.HasEntry("inputs/1", CValue::VAL_MAP));
    // A map placeholder keeps its pin texts in its metadata, which a path cannot reach.
    EXPECT_TRUE(setup.Entry("inputs/1")->Meta().EntryBool("optional"));
    EXPECT_EQ(setup.EntryString("outputs/0/label"), "set directly");
    EXPECT_NE(setup.EntryString("description").find("PARAMETER out]\nThe type"), std::string::npos);
}
