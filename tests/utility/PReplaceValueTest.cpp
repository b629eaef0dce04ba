#include <cmath>

#include "NodeTesting.h"
#include "PReplaceNonFinite.h"
#include "PReplaceValue.h"

using namespace ORVA;
using namespace testing_support;

TEST(ReplaceValue, WarnsAboutValuesThePixelTypeCannotHold) {
    const std::string byte = " is not representable as 8-bit unsigned integer (image type ";
    struct Case {
        IImage::CType type;
        double source, destination;
        std::string warning;
    } cases[] = {
        {IMAGE_GREY_8, 300, 7, "Source value 300" + byte + "IMAGE_GREY_8)."},
        // The destination is examined only when the source is fine.
        {IMAGE_GREY_8, 300, 2.5, "Source value 300" + byte + "IMAGE_GREY_8)."},
        {IMAGE_GREY_16, 5, 2.5,
         "Destination value 2 is not representable as 16-bit unsigned integer (image type "
         "IMAGE_GREY_16)."},
        {IMAGE_GREY_32, 3e9, 4, ""},
        {IMAGE_GREY_F, 0.5, 2.5, ""},
    };
    for (const Case& c : cases) {
        CPReplaceValue node;
        Configure(node, {{"src_value", c.source}, {"dst_value", c.destination}});
        auto image = ImageOf(c.type, CSize(2, 1), {1, 2});
        SetInputs(node, {image.get()});
        EXPECT_EQ(
            CapturedStderr([&] { node.Run(); }),
            c.warning.empty() ? "" : "(utility plugins) ReplaceValue WARNING: " + c.warning + "\n");
    }
    // The table on input 1 replaces; the parameters are not looked at.
    CPReplaceValue node;
    Configure(node, {{"src_value", 1}, {"dst_value", 300}});
    auto image = Grey8(CSize(2, 1), {1, 2}), table = Grey8(CSize(2, 1), {2, 5});
    EXPECT_EQ(CapturedStderr([&] { RunImage(node, {image.get(), table.get()}); }), "");
    EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), (std::vector<uint8_t>{1, 5}));
}

TEST(ReplaceValue, Errors) {
    auto grey = Grey8(CSize(2, 1), {1}), three = Grey8(CSize(3, 1), {1});
    auto words = Blank(IMAGE_GREY_16, CSize(2, 1)), wide = Blank(IMAGE_GREY_64, CSize(2, 1));
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input 0 is not an image"},
        {{wide.get()},
         "Unsupported image type, must be one of IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
         "IMAGE_GREY_F, or IMAGE_GREY_D."},
        {{grey.get(), &number}, "input 1 is not an image"},
        {{grey.get(), &none}, "input 1 is not an image"},
        {{grey.get(), words.get()},
         "second input image is not of the same type as the first input image"},
        {{grey.get(), three.get()}, "number of columns of second input image is not equal to two"},
    };
    ExpectFailures<CPReplaceValue>("(utility plugins) ReplaceValue | ", failures);
}

TEST(ReplaceNonFinite, ReplacesEachKind) {
    CPReplaceNonFinite node;
    Configure(node, {{"pinf_value", 9}, {"ninf_value", 8.5}, {"nan_value", 7.0}});
    auto image = GreyF(CSize(4, 1), {1, INFINITY, -INFINITY, NAN});
    EXPECT_EQ(Samples<float>(RunImage(node, {image.get()})), (std::vector<float>{1, 9, 8.5f, 7}));
    auto bytes = Grey8(CSize(1, 1), {1});
    EXPECT_EQ(RunError(node, {bytes.get()}),
              "(utility plugins) ReplaceNonFinite::Run | input image is not of type IMAGE_GREY_F");
}
