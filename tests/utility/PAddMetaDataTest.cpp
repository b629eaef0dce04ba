#include "PAddMetaData.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(AddMetaData, SetsOneEntryOnACopy) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {nullptr, nullptr, R"({"unit": "mm", "NULL": "NULL"})"},  // the defaults
        {"unit", "cm", R"({"unit": "cm"})"},  // replaces the input's own entry on the copy
        {"origin", "scanner", R"({"unit": "mm", "origin": "scanner"})"},
    };
    for (const auto& [key, value, expected] : cases) {
        CValueDouble input(2.5);
        input.Meta().SetEntry("unit", new CValueString("mm"));
        CValueMap parameters;
        if (key) {
            parameters.SetEntry("key", new CValueString(key));
            parameters.SetEntry("value", new CValueString(value));
        }
        CPAddMetaData node;
        Configure(node, parameters);
        node.SetStackInput(0, &input);
        node.Run();
        CValue* output = node.StackOutput(0);
        ASSERT_NE(output, nullptr);
        EXPECT_NE(output, &input);
        EXPECT_TRUE(output->EqualData(input));
        EXPECT_TRUE(output->Meta().Equal(*CTextSerializer::FromText(expected))) << expected;
        EXPECT_EQ(input.Meta().Size(), 1u);
        EXPECT_EQ(input.Meta().EntryString("unit"), "mm");
    }
}

TEST(AddMetaData, SharesAnImageWithTheInputAndNeedsAnInput) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {4, 5});
    CImage* image = UnwrapPointer<CImage>(input.get());
    CPAddMetaData node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) AddMetaData::Run | input data is NULL");
    node.SetStackInput(0, input.get());
    node.Run();
    input.reset();  // the output keeps the shared image alive
    const CImage& output = OutputImage(node);
    EXPECT_EQ(&output, image);
    EXPECT_EQ(Samples<uint8_t>(output), (std::vector<uint8_t>{4, 5}));
}
