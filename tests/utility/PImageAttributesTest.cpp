#include "PGetImageAttributes.h"
#include "PSetImageAttributes.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

std::unique_ptr<CValue> AttributedImage() {
    std::unique_ptr<CValue> value = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(3, 1), {7, 8, 9});
    CValueMap& attributes = UnwrapPointer<CImage>(value.get())->Attributes();
    attributes.SetEntry("unit", new CValueString("mm"));
    attributes.SetEntry("scale", new CValueDouble(0.5));
    return value;
}

}  // namespace

TEST(GetImageAttributes, OutputsACopyOfTheAttributes) {
    std::unique_ptr<CValue> input = AttributedImage();
    CValueMap& attributes = UnwrapPointer<CImage>(input.get())->Attributes();
    CPGetImageAttributes node;
    Configure(node);
    node.SetStackInput(0, input.get());
    node.Run();
    CValue* output = node.StackOutput(0);
    ASSERT_NE(output, nullptr);
    EXPECT_NE(output, &attributes);
    EXPECT_TRUE(output->Equal(attributes));
    output->Map()->Clear();
    EXPECT_EQ(attributes.Size(), 2u);
}

TEST(ImageAttributes, InputChecks) {
    CPGetImageAttributes get;
    CPSetImageAttributes set;
    Configure(get);
    Configure(set);
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    for (auto [node, location] : {std::pair<CPNode*, std::string>{&get, "GetImageAttributes"},
                                  {&set, "SetImageAttributes"}}) {
        std::string where = "(utility plugins) " + location + "::Run | ";
        node->ClearStackInputs();
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), where + "input image is NULL");
        for (CValue* input : {static_cast<CValue*>(&number), static_cast<CValue*>(&none)}) {
            node->SetStackInput(0, input);
            EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), where + "input is not an Image!");
        }
    }
}

TEST(SetImageAttributes, SetsOneAttributeOrReplacesAll) {
    auto replacement = std::make_unique<CValueMap>();
    replacement->SetEntry("only", new CValueLong(1));
    CValueMap expectedAll(*replacement);
    CValueMap expectedOne;
    expectedOne.SetEntry("unit", new CValueString("cm"));
    expectedOne.SetEntry("scale", new CValueDouble(0.5));
    CValueMap expectedNested(*UnwrapPointer<CImage>(AttributedImage().get())->Attributes().Map());
    expectedNested.SetEntry("roi/x", new CValueLong(4));

    struct Case {
        const char* key;
        std::unique_ptr<CValue> value;
        const CValueMap* expected;  // null: the error below
    };
    std::vector<Case> cases;
    cases.push_back({"unit", std::make_unique<CValueString>("cm"), &expectedOne});
    cases.push_back({"roi/x", std::make_unique<CValueLong>(4), &expectedNested});
    cases.push_back({"", std::move(replacement), &expectedAll});
    cases.push_back({"", std::make_unique<CValueString>("not a map"), nullptr});

    for (Case& c : cases) {
        std::unique_ptr<CValue> input = AttributedImage();
        const CImage* image = UnwrapPointer<CImage>(input.get());
        CValueMap unchanged(image->Attributes());
        CPSetImageAttributes node;
        CValueMap parameters;
        parameters.SetEntry("key", new CValueString(c.key));
        parameters.SetEntry("value", c.value->CloneUnique());
        Configure(node, parameters);
        node.SetStackInput(0, input.get());
        if (!c.expected) {
            EXPECT_EQ(ErrorOf([&] { node.Run(); }),
                      "parameter key is empty string, but parameter value is not of type map.");
            continue;
        }
        node.Run();
        const CImage& copy = OutputImage(node);
        EXPECT_NE(&copy, image);
        EXPECT_TRUE(copy.Attributes().Equal(*c.expected)) << c.key;
        EXPECT_EQ(Samples<uint16_t>(copy), (std::vector<uint16_t>{7, 8, 9}));
        EXPECT_TRUE(image->Attributes().Equal(unchanged)) << c.key;
    }
}
