#include <gtest/gtest.h>

#include <cstring>

#include "tarsel.h"

using namespace ORVA;

TEST(ImageType, NamesAndLayouts) {
    for (int i = 0; i < IImage::CType::COUNT; ++i) {
        IImage::CType type = IImage::CType::All()[i];
        EXPECT_EQ(IImage::CType(type.Name()), type);
    }
    EXPECT_THROW(IImage::CType("image_grey_f"), CException);
    EXPECT_THROW(IImage::CType("IMAGE_GREY_F "), CException);
}

TEST(Image, ZeroedAlignedAndDeepCopied) {
    CImage image(IMAGE_GREY_F, CSize(3, 2, 2));
    EXPECT_EQ(image.Pixels(), 12);
    EXPECT_EQ(image.ByteCount(), 48u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(image.Bytes()) % 64, 0u);
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(image.Data<float>()[i], 0.0f);

    image.Data<float>()[5] = 2.5f;
    image.Attributes().SetEntry("comments", new CValueString("# x"));
    CImage copy(image);
    EXPECT_EQ(copy, image);
    copy.Data<float>()[5] = 1.0f;
    copy.Attributes().SetEntry("comments", new CValueString("changed"));
    EXPECT_EQ(image.Data<float>()[5], 2.5f);
    EXPECT_EQ(image.Attributes().EntryString("comments"), "# x");

    EXPECT_THROW(image.Data<uint32_t>(), CException);  // same width, other kind
    EXPECT_THROW(image.Data<double>(), CException);
}

TEST(Image, AbsurdSizesFailCleanly) {
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(-1, 4)), CException);
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(int64_t(1) << 40, int64_t(1) << 40)),
                 CException);                                                      // overflow
    EXPECT_THROW(CImage(IMAGE_GREY_F, CSize(10'000'000, 1'000'000)), CException);  // 40 TB
    EXPECT_THROW(CImage(IMAGE_GREY_8, CSize(2, 2), CSize(1, 1, 0)), CException);   // borders
    CImage empty(IMAGE_GREY_8, CSize(0, 5, 1));
    EXPECT_EQ(empty.ByteCount(), 0u);
    EXPECT_NE(empty.Bytes(), nullptr);
}

TEST(Image, RetypeAndResizeStartFromZero) {
    CImage image(IMAGE_GREY_8, CSize(2, 2));
    image.Buffer().Set(7);
    image.Retype(IMAGE_GREY_16);
    EXPECT_EQ(image.ByteCount(), 8u);
    EXPECT_EQ(image.Data<uint16_t>()[3], 0);
    image.Resize(CSize(4, 3, 2));
    EXPECT_EQ(image.Size(), CSize(4, 3, 2));
    EXPECT_EQ(image.Pixels(), 24);
}

TEST(Image, ChannelAccessForEveryLayout) {
    CImage planar(IMAGE_RGB_8, CSize(4, 2));
    CDefaultAccess a(planar);
    EXPECT_EQ(a.ChannelOffset(2), 16u);
    EXPECT_EQ(a.PixelStride(), 1u);
    CImage interleaved(IMAGE_RGB_FI, CSize(4, 2));
    auto b = interleaved.CreateAccess();
    EXPECT_EQ(b->ChannelOffset(2), 8u);
    EXPECT_EQ(b->PixelStride(), 12u);
    EXPECT_THROW(b->ChannelOffset(3), CException);
}

TEST(Extraction, RectAndBoxCopyRegionsOfEveryPlane) {
    CImage image(IMAGE_RGB_8, CSize(4, 3, 2));
    uint8_t* bytes = image.Bytes();
    for (size_t i = 0; i < image.ByteCount(); ++i)
        bytes[i] = static_cast<uint8_t>(i);
    image.Attributes().SetEntry("id", new CValueLong(1));

    std::unique_ptr<CImage> rect = CImageExtraction::Rect(image, CRect(1, 1, 2, 2));
    EXPECT_EQ(rect->Size(), CSize(2, 2, 2));
    EXPECT_EQ(rect->Attributes().EntryLong("id"), 1);
    // channel 0, plane 0, row 1: pixels 5 and 6; channel 2, plane 1, row 2: 24*2 + 12 + 8 + 1.
    const uint8_t expected[] = {5, 6, 9, 10, 17, 18, 21, 22};
    EXPECT_EQ(std::memcmp(rect->Bytes(), expected, 8), 0);
    EXPECT_EQ(rect->Bytes()[2 * 8 + 4 + 2], 48 + 12 + 8 + 1);

    std::unique_ptr<CImage> box = CImageExtraction::Box(image, CBox(0, 0, 1, 4, 3, 1));
    EXPECT_EQ(box->Bytes()[0], 12);
    EXPECT_THROW(CImageExtraction::Box(image, CBox(3, 0, 0, 2, 1, 1)), CException);
    EXPECT_THROW(CImageExtraction::Rect(image, CRect(-1, 0, 1, 1)), CException);
    EXPECT_EQ(CImageExtraction::Rect(image, CRect(4, 3, 0, 0))->Pixels(), 0);
}

TEST(Dispatch, PicksTheListedTypesOnly) {
    using Id = IImage::CType::EnId;
    size_t width = 0;
    auto measure = [&]<class T>(std::type_identity<T>) { width = sizeof(T); };
    EXPECT_TRUE((DispatchType<Id::GREY_8, Id::GREY_D>(IMAGE_GREY_D, measure)));
    EXPECT_EQ(width, 8u);
    EXPECT_FALSE((DispatchType<Id::GREY_8, Id::GREY_D>(IMAGE_GREY_F, measure)));
    EXPECT_TRUE(DispatchGrey(IMAGE_BINARY_BG, measure));
    EXPECT_EQ(width, 1u);
    EXPECT_FALSE(DispatchGrey(IMAGE_RGB_8, measure));
    EXPECT_STREQ(HumanReadableTypename<uint16_t>(), "16-bit unsigned integer");
}
