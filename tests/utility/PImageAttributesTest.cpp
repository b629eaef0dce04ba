#include "PGetImageAttributes.h"
#include "PSetImageAttributes.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const char* const ORIGINAL = R"({"unit": "mm", "scale": 0.5})";

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
    CPGetImageAttributes node;
    Configure(node);
    node.SetStackInput(0, input.get());
    node.Run();
    ASSERT_NE(node.StackOutput(0), nullptr);
    EXPECT_TRUE(node.StackOutput(0)->Equal(UnwrapPointer<CImage>(input.get())->Attributes()));
    node.StackOutput(0)->Map()->Clear();
    EXPECT_EQ(UnwrapPointer<CImage>(input.get())->Attributes().Size(), 2u);
}

TEST(ImageAttributes, InputChecks) {
    CPGetImageAttributes get;
    CPSetImageAttributes set;
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    for (auto [node, location] : {std::pair<CPNode*, std::string>{&get, "GetImageAttributes"},
                                  {&set, "SetImageAttributes"}}) {
        Configure(*node);
        std::string where = "(utility plugins) " + location + "::Run | ";
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), where + "input image is NULL");
        for (CValue* input : {static_cast<CValue*>(&number), static_cast<CValue*>(&none)}) {
            node->SetStackInput(0, input);
            EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), where + "input is not an Image!");
        }
    }
}

TEST(SetImageAttributes, SetsOneAttributeOrReplacesAll) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        // key, value, the attributes of the copy (null: the error below)
        {"unit", R"("cm")", R"({"unit": "cm", "scale": 0.5})"},
        {"roi/x", "4", R"({"unit": "mm", "scale": 0.5, "roi": {"x": 4}})"},
        {"", R"({"only": 1})", R"({"only": 1})"},
        {"", R"("not a map")", nullptr},
    };
    for (const auto& [key, value, expected] : cases) {
        std::unique_ptr<CValue> input = AttributedImage();
        const CImage* image = UnwrapPointer<CImage>(input.get());
        CValueMap parameters;
        parameters.SetEntry("key", new CValueString(key));
        parameters.SetEntry("value", CTextSerializer::FromText(value));
        CPSetImageAttributes node;
        Configure(node, parameters);
        node.SetStackInput(0, input.get());
        if (!expected) {
            EXPECT_EQ(ErrorOf([&] { node.Run(); }),
                      "parameter key is empty string, but parameter value is not of type map.");
            continue;
        }
        node.Run();
        const CImage& copy = OutputImage(node);
        EXPECT_NE(&copy, image);
        EXPECT_TRUE(copy.Attributes().Equal(*CTextSerializer::FromText(expected))) << key;
        EXPECT_EQ(Samples<uint16_t>(copy), (std::vector<uint16_t>{7, 8, 9}));
        EXPECT_TRUE(image->Attributes().Equal(*CTextSerializer::FromText(ORIGINAL))) << key;
    }
}
