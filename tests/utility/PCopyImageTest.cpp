#include "NodeTesting.h"
#include "PCopyImage.h"
#include "PMerge.h"

using namespace ORVA;
using namespace testing_support;

TEST(CopyImage, CopiesAreIndependent) {
    CPCopyImage node;
    EXPECT_EQ(RunError(node, {}), "(utility plugins) CopyImage::Run | input image is NULL");
    auto image = ImageValue<uint8_t>(IMAGE_RGB_8, CSize(2, 1), {1, 2, 3, 4, 5, 6});
    CImage& copy = const_cast<CImage&>(RunImage(node, {image.get()}));
    EXPECT_TRUE(copy == *UnwrapPointer<CImage>(image.get()));
    copy.Bytes()[0] = 99;
    EXPECT_EQ(Samples<uint8_t>(*UnwrapPointer<CImage>(image.get())),
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
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    const SFailure failures[] = {
        {{a.get()}, "input image is NULL"},
        // Both values must hold images before a null image is reported.
        {{&none, &number}, "expected a value holding CImage, but found CValueLong"},
        {{a.get(), bytes.get()}, "input image is not of type IMAGE_GREY_F"},
        // A second image smaller than the first plane is refused instead of read past its end.
        {{cubeA.get(), b.get()},
         "second input image of size (2, 1, 1) has fewer pixels than the first plane of the "
         "first input image of size (2, 2, 2)"},
    };
    ExpectFailures<CPMerge>("(utility plugins) Merge::Run | ", failures);
}
