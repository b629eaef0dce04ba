#include "NodeTesting.h"
#include "PCopyImage.h"
#include "PMerge.h"

using namespace ORVA;
using namespace testing_support;

TEST(CopyImage, DocumentIsTheWorkedExample) {
    std::unique_ptr<CValue> expected = CTextSerializer::FromText(R"({
  "pluginType": "Image", "subType": "Utility", "name": "CopyImage", "parameters": {},
  "inputs": {"0": {"@value": {"@image": null}, "@meta": {
    "label": "Input image of an arbitrary image type.", "optional": false}}},
  "outputs": {"0": {"@value": {"@image": null}, "@meta": {
    "label": "Output image containing a copy of the input image."}}},
  "keywords": ["copy", "nop", "do nothing"],
  "__vimbroDocumentation": "%ORVADIR%/doc/vimbro/html/utility/PCopyImage/index.html"})");
    expected->Map()->SetEntry(
        "description",
        new CValueString(
            "BRIEF\nPlugin copies an input image to an output image\n\nCopies the input image "
            "to the output image. This node supports all image types and sizes.\n\n\nINPUT "
            "0\nInput image of an arbitrary image type.\n\n\nOUTPUT 0\nOutput image "
            "containing a copy of the input image.\n\n\nKEYWORDS\ncopy, nop, do nothing\n\n"));
    CPCopyImage node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(*expected)) << CTextSerializer::ToText(setup);
}

TEST(CopyImage, CopiesAreIndependent) {
    CPCopyImage node;
    EXPECT_EQ(RunError(node, {}), "(utility plugins) CopyImage::Run | input image is NULL");
    auto image = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 1), {1, 2, 3, 4, 5, 6});
    CImage& copy = const_cast<CImage&>(RunImage(node, {image.get()}));
    EXPECT_TRUE(copy == *static_cast<CImage*>(image->VoidPointer()));
    copy.Bytes()[0] = 99;
    EXPECT_EQ(Samples<uint8_t>(*static_cast<CImage*>(image->VoidPointer())),
              (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(Merge, AveragesTheFirstPlane) {
    CPMerge node;
    auto a = GreyF(CSize(2, 1), {1, 3}), b = GreyF(CSize(2, 1), {3, 5});
    EXPECT_EQ(Samples<float>(RunImage(node, {a.get(), b.get()})), (std::vector<float>{2, 4}));
    auto cubeA = GreyF(CSize(2, 2, 2), {1, 2, 3, 4, 5, 6, 7, 8}),
         cubeB = GreyF(CSize(2, 2, 2), {3});
    EXPECT_EQ(Samples<float>(RunImage(node, {cubeA.get(), cubeB.get()})),
              (std::vector<float>{2, 2.5f, 3, 3.5f, 0, 0, 0, 0}));

    auto bytes = Grey8(CSize(2, 1), {1});
    const std::string where = "(utility plugins) Merge::Run | ";
    EXPECT_EQ(RunError(node, {a.get()}), where + "input image is NULL");
    EXPECT_EQ(RunError(node, {a.get(), bytes.get()}),
              where + "input image is not of type IMAGE_GREY_F");
    // A second image smaller than the first plane is refused instead of read past its end.
    EXPECT_EQ(RunError(node, {cubeA.get(), b.get()}),
              where +
                  "second input image of size (2, 1, 1) has fewer pixels than the first plane "
                  "of the first input image of size (2, 2, 2)");
}
