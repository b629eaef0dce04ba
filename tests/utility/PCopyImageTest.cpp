#include "NodeTesting.h"
#include "PCopyImage.h"
#include "PMerge.h"

using namespace ORVA;
using namespace testing_support;

TEST(CopyImage, DocumentIsTheWorkedExample) {
    CValueMap expected;
    expected.SetEntry("pluginType", new CValueString("Image"));
    expected.SetEntry("subType", new CValueString("Utility"));
    expected.SetEntry("name", new CValueString("CopyImage"));
    expected.SetEntry("parameters", new CValueMap());
    auto* in = new CValueOwnedPointer<CImage>(nullptr, 1);
    in->Meta().SetEntry("label", new CValueString("Input image of an arbitrary image type."));
    in->Meta().SetEntry("optional", new CValueBool(false));
    expected.SetEntry("inputs/0", in);
    auto* out = new CValueOwnedPointer<CImage>(nullptr, 1);
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

    CPCopyImage node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_TRUE(setup.Equal(expected)) << CTextSerializer::ToText(setup);
}

TEST(CopyImage, CopiesAreIndependent) {
    CPCopyImage node;
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) CopyImage::Run | input image is NULL");
    auto image = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 1), {1, 2, 3, 4, 5, 6});
    node.SetStackInput(0, image.get());
    node.Run();
    CImage& copy = const_cast<CImage&>(OutputImage(node));
    copy.Bytes()[0] = 99;
    EXPECT_EQ(copy.Type(), IMAGE_RGB_8);
    EXPECT_EQ(Samples<uint8_t>(*static_cast<CImage*>(image->VoidPointer())),
              (std::vector<uint8_t>{1, 2, 3, 4, 5, 6}));
}

TEST(Merge, AveragesTheFirstPlane) {
    CPMerge node;
    auto a = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {1, 3});
    auto b = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {3, 5});
    node.SetStackInput(0, a.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) Merge::Run | input image is NULL");
    node.SetStackInput(1, b.get());
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)), (std::vector<float>{2, 4}));

    auto cubeA = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2, 2), {1, 2, 3, 4, 5, 6, 7, 8});
    auto cubeB = ImageValue<float>(IMAGE_GREY_F, CSize(2, 2, 2), {3});
    node.SetStackInput(0, cubeA.get());
    node.SetStackInput(1, cubeB.get());
    node.Run();
    EXPECT_EQ(Samples<float>(OutputImage(node)),
              (std::vector<float>{2, 2.5f, 3, 3.5f, 0, 0, 0, 0}));

    auto bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {1});
    node.SetStackInput(1, bytes.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "input image is not of type IMAGE_GREY_F");
    // A second image smaller than the first plane is refused instead of read past its end.
    node.SetStackInput(1, b.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }),
              "second input image of size (2, 1, 1) has fewer pixels than the first plane of the "
              "first input image of size (2, 2, 2)");
}
