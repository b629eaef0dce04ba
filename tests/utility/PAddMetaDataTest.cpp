#include "PAddMetaData.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(AddMetaData, SetsOneEntryOnACopy) {
    struct Case {
        const char* key;  // null: the defaults
        const char* value;
        const char* expectedKey;
    } cases[] = {
        {nullptr, nullptr, "NULL"},
        {"unit", "cm", "unit"},  // replaces the input's own entry on the copy
        {"origin", "scanner", "origin"},
    };
    for (const Case& c : cases) {
        CValueDouble input(2.5);
        input.Meta().SetEntry("unit", new CValueString("mm"));
        CValueMap before(input.Meta());
        CPAddMetaData node;
        CValueMap parameters;
        if (c.key) {
            parameters.SetEntry("key", new CValueString(c.key));
            parameters.SetEntry("value", new CValueString(c.value));
        }
        Configure(node, parameters);
        node.SetStackInput(0, &input);
        node.Run();

        CValue* output = node.StackOutput(0);
        ASSERT_NE(output, nullptr);
        EXPECT_NE(output, &input);
        EXPECT_TRUE(output->EqualData(input));
        CValueMap expected(before);
        expected.SetEntry(c.expectedKey, new CValueString(c.value ? c.value : "NULL"));
        EXPECT_TRUE(output->Meta().Equal(expected)) << c.expectedKey;
        EXPECT_TRUE(input.Meta().Equal(before)) << c.expectedKey;
    }
}

TEST(AddMetaData, SharesAnImageWithTheInput) {
    std::unique_ptr<CValue> input = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {4, 5});
    CImage* image = UnwrapPointer<CImage>(input.get());
    CPAddMetaData node;
    Configure(node);
    node.SetStackInput(0, input.get());
    node.Run();
    input.reset();  // the output keeps the shared image alive
    const CImage& output = OutputImage(node);
    EXPECT_EQ(&output, image);
    EXPECT_EQ(Samples<uint8_t>(output), (std::vector<uint8_t>{4, 5}));
    EXPECT_EQ(node.StackOutput(0)->Meta().EntryString("NULL"), "NULL");
}

TEST(AddMetaData, NeedsAnInput) {
    CPAddMetaData node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) AddMetaData::Run | input data is NULL");
}
