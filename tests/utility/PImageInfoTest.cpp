#include "PImageInfo.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(ImageInfo, ReportsTypeAndExtentsTwice) {
    struct Case {
        IImage::CType type;
        CSize size;
        const char* path;  // attribute "image_path", or none
        const char* map;
    } cases[] = {
        {IMAGE_GREY_8, CSize(640, 480, 1), nullptr,
         R"({"type": "IMAGE_GREY_8", "width": 640, "height": 480, "depth": 1})"},
        {IMAGE_RGB_FI, CSize(3, 2, 5), "/data/frame.png",
         R"({"type": "IMAGE_RGB_FI", "width": 3, "height": 2, "depth": 5,
             "image_path": "/data/frame.png"})"},
    };
    for (const Case& c : cases) {
        auto input = std::make_unique<CImage>(c.type, c.size);
        if (c.path) input->Attributes().SetEntry("image_path", new CValueString(c.path));
        input->Attributes().SetEntry("unit", new CValueString("mm"));
        CValueOwnedPointer<CImage> value(input.release());
        CPImageInfo node;
        Configure(node);
        const CImage& extents = RunImage(node, {&value});
        EXPECT_EQ(extents.Type(), IMAGE_GREY_F);
        EXPECT_EQ(extents.Size(), CSize(1, 3, 1));
        EXPECT_EQ(Samples<float>(extents),
                  (std::vector<float>{static_cast<float>(c.size.x), static_cast<float>(c.size.y),
                                      static_cast<float>(c.size.z)}));
        ASSERT_NE(node.StackOutput(1), nullptr);
        EXPECT_TRUE(node.StackOutput(1)->Equal(*CTextSerializer::FromText(c.map))) << c.map;
    }
}

TEST(ImageInfo, VerbosePrintsTheMapAndAnImageIsNeeded) {
    auto image = GreyF(CSize(2, 1), {0.0f});
    CPImageInfo node;
    Configure(node, {{"verbose", true}});
    EXPECT_EQ(RunError(node, {}), "(utility plugins) ImageInfo::Run | input image is NULL");
    SetInputs(node, {image.get()});
    EXPECT_EQ(
        CapturedStdout([&] { node.Run(); }),
        "{\n \"depth\": 1,\n \"height\": 1,\n \"type\": \"IMAGE_GREY_F\",\n \"width\": 2\n}\n");
}
