#include "PImageInfo.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(ImageInfo, ReportsTypeAndExtentsTwice) {
    struct Case {
        IImage::CType type;
        CSize size;
        const char* path;  // attribute "image_path", or none
    } cases[] = {
        {IMAGE_GREY_8, CSize(640, 480, 1), nullptr},
        {IMAGE_RGB_FI, CSize(3, 2, 5), "/data/frame.png"},
        {IMAGE_BINARY_BG, CSize(0, 7, 1), ""},
    };
    for (const Case& c : cases) {
        auto input = std::make_unique<CImage>(c.type, c.size);
        if (c.path) input->Attributes().SetEntry("image_path", new CValueString(c.path));
        input->Attributes().SetEntry("unit", new CValueString("mm"));
        CValueOwnedPointer<CImage> value(input.release());
        CPImageInfo node;
        Configure(node);
        node.SetStackInput(0, &value);
        node.Run();

        const CImage& extents = OutputImage(node, 0);
        EXPECT_EQ(extents.Type(), IMAGE_GREY_F);
        EXPECT_EQ(extents.Size(), CSize(1, 3, 1));
        EXPECT_EQ(Samples<float>(extents),
                  (std::vector<float>{static_cast<float>(c.size.x), static_cast<float>(c.size.y),
                                      static_cast<float>(c.size.z)}));

        CValueMap expected;
        expected.SetEntry("type", new CValueString(c.type.Name()));
        expected.SetEntry("width", new CValueLong(static_cast<int32_t>(c.size.x)));
        expected.SetEntry("height", new CValueLong(static_cast<int32_t>(c.size.y)));
        expected.SetEntry("depth", new CValueLong(static_cast<int32_t>(c.size.z)));
        if (c.path) expected.SetEntry("image_path", new CValueString(c.path));
        ASSERT_NE(node.StackOutput(1), nullptr);
        EXPECT_TRUE(node.StackOutput(1)->Equal(expected)) << c.type.Name();
    }
}

TEST(ImageInfo, VerbosePrintsTheMap) {
    std::unique_ptr<CValue> image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {0.0f});
    for (bool verbose : {false, true}) {
        CPImageInfo node;
        CValueMap parameters;
        parameters.SetEntry("verbose", new CValueBool(verbose));
        Configure(node, parameters);
        node.SetStackInput(0, image.get());
        std::string printed = CapturedStdout([&] { node.Run(); });
        EXPECT_EQ(printed, verbose ? "{\n \"depth\": 1,\n \"height\": 1,\n \"type\": "
                                     "\"IMAGE_GREY_F\",\n \"width\": 2\n}\n"
                                   : "");
    }
}

TEST(ImageInfo, NeedsAnImage) {
    CPImageInfo node;
    Configure(node);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) ImageInfo::Run | input image is NULL");
    CValueLong number(1);
    node.SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true).rfind("(utility plugins) ImageInfo::Run | ", 0),
              0u);
}

TEST(ImageInfo, OutputLabelsAreSetWithThePlaceholders) {
    CPImageInfo node;
    CValueMap setup;
    node.GetPluginSetup(setup);
    EXPECT_EQ(setup.EntryString("outputs/0/label"), "Information of image as image");
    EXPECT_TRUE(HoldsType<CImage>(setup.Entry("outputs/0")));
    // A map placeholder: its label is in its metadata, not among its entries.
    const CValue* map = setup.Entry("outputs/1");
    ASSERT_TRUE(map && map->Map() && map->MetaIfAny());
    EXPECT_EQ(map->MetaIfAny()->EntryString("label"), "Information of image as CValueMap");
    EXPECT_EQ(setup.EntryString("parameters/verbose/gui/boolean"), "togglebutton");
}
