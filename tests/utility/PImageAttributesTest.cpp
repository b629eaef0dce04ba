#include "NodeTesting.h"
#include "PAddMetaData.h"
#include "PGetImageAttributes.h"
#include "PSetImageAttributes.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const char* const ORIGINAL = R"({"unit": "mm", "scale": 0.5})";

std::unique_ptr<CValue> AttributedImage() {
    std::unique_ptr<CValue> value = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(3, 1), {7, 8, 9});
    UnwrapPointer<CImage>(value.get())->Attributes() = *CTextSerializer::FromText(ORIGINAL)->Map();
    return value;
}

}  // namespace

TEST(GetImageAttributes, OutputsACopyOfTheAttributes) {
    std::unique_ptr<CValue> input = AttributedImage();
    CPGetImageAttributes node;
    SetInputs(node, {input.get()});
    node.Run();
    node.StackOutput(0)->Map()->SetEntry("unit", new CValueString("cm"));
    EXPECT_TRUE(UnwrapPointer<CImage>(input.get())
                    ->Attributes()
                    .Equal(*CTextSerializer::FromText(ORIGINAL)));

    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    const SFailure failures[] = {{{}, "input image is NULL"},
                                 {{&number}, "input is not an Image!"},
                                 {{&none}, "input is not an Image!"}};
    ExpectFailures<CPGetImageAttributes>("(utility plugins) GetImageAttributes::Run | ", failures);
    ExpectFailures<CPSetImageAttributes>("(utility plugins) SetImageAttributes::Run | ", failures);
}

TEST(SetImageAttributes, SetsOneAttributeOrReplacesAll) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        // key, value, the attributes of the copy (null: the error below)
        {"unit", R"("cm")", R"({"unit": "cm", "scale": 0.5})"},
        {"", R"({"only": 1})", R"({"only": 1})"},
        {"", R"("not a map")", nullptr},
    };
    for (const auto& [key, value, expected] : cases) {
        std::unique_ptr<CValue> input = AttributedImage();
        CValueMap parameters;
        parameters.SetEntry("key", new CValueString(key));
        parameters.SetEntry("value", CTextSerializer::FromText(value));
        CPSetImageAttributes node;
        Configure(node, parameters);
        if (!expected) {
            EXPECT_EQ(RunError(node, {input.get()}),
                      "(utility plugins) SetImageAttributes::Run | parameter key is empty string, "
                      "but parameter value is not of type map.");
            continue;
        }
        const CImage& copy = RunImage(node, {input.get()});
        EXPECT_TRUE(copy.Attributes().Equal(*CTextSerializer::FromText(expected))) << key;
        EXPECT_EQ(Samples<uint16_t>(copy), (std::vector<uint16_t>{7, 8, 9}));
        EXPECT_TRUE(UnwrapPointer<CImage>(input.get())
                        ->Attributes()
                        .Equal(*CTextSerializer::FromText(ORIGINAL)))
            << key;
    }
}

TEST(AddMetaData, SetsOneEntryOnACopyThatSharesTheImage) {
    std::unique_ptr<CValue> input = AttributedImage();
    input->Meta().SetEntry("unit", new CValueString("mm"));
    CPAddMetaData node;
    Configure(node, {{"key", "unit"}, {"value", "cm"}});
    EXPECT_EQ(&RunImage(node, {input.get()}), input->VoidPointer());
    EXPECT_TRUE(node.StackOutput(0)->Meta().Equal(*CTextSerializer::FromText(R"({"unit": "cm"})")));
    EXPECT_EQ(input->Meta().EntryString("unit"), "mm");
    EXPECT_EQ(RunError(node, {}), "(utility plugins) AddMetaData::Run | input data is NULL");
}
