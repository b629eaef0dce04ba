#include <bit>
#include <cmath>

#include "NodeTesting.h"
#include "PSelectImage.h"
#include "PSelectPixel.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

// SelectPixel with the constants "then" and "else" on the inputs (null for an empty pin).
std::unique_ptr<CPSelectPixel> SelectPixel(double thenValue = 0.0, double elseValue = 0.0) {
    auto node = std::make_unique<CPSelectPixel>();
    Configure(*node, {{"then", thenValue}, {"else", elseValue}});
    return node;
}

template <class T>
std::vector<T> Selected(std::vector<CValue*> inputs, double thenValue = 0, double elseValue = 0) {
    return Samples<T>(RunImage(*SelectPixel(thenValue, elseValue), inputs));
}

}  // namespace

TEST(SelectPixel, SourcesAndConstants) {
    auto cond = Grey8(CSize(2, 1), {0, 5});
    // No source image: the float image takes "else" where the condition holds, on purpose.
    EXPECT_EQ(Selected<float>({cond.get(), nullptr, nullptr}, 1, 2), (std::vector<float>{1, 2}));
    // Constants take the type of the image, truncated and wrapped.
    auto bytes = Grey8(CSize(2, 1), {7, 8});
    EXPECT_EQ(Selected<uint8_t>({cond.get(), bytes.get()}, 0, 300.7),
              (std::vector<uint8_t>{44, 8}));
    auto words = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {7, 8});
    EXPECT_EQ(Selected<uint32_t>({cond.get(), nullptr, words.get()}, 5e9, 0),
              (std::vector<uint32_t>{7, 705032704u}));  // 5e9 mod 2^32
    auto shorts = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {1, 2});
    EXPECT_EQ(Selected<uint16_t>({cond.get(), shorts.get()}, 0, -1.9),
              (std::vector<uint16_t>{65535, 2}));

    // A float condition: NaN is non-zero. Float samples are copied bit for bit.
    auto fcond = GreyF(CSize(3, 1), {NaN, 0.0f, -0.0f});
    auto thenF = GreyF(CSize(3, 1), {std::bit_cast<float>(0x7FC01234u), 1, 2});
    auto elseF = GreyF(CSize(3, 1), {9, -0.0f, 4});
    std::vector<float> out = Selected<float>({fcond.get(), thenF.get(), elseF.get()});
    EXPECT_EQ(std::bit_cast<uint32_t>(out[0]), 0x7FC01234u);
    EXPECT_EQ(std::bit_cast<uint32_t>(out[1]), 0x80000000u);
    EXPECT_EQ(out[2], 4.0f);

    // One matching extent is enough. The result has the size of 'then'; pixels without a
    // condition pixel stay 0.
    auto row = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(4, 1, 1), {1, 0, 1, 0});
    auto taller = Grey8(CSize(4, 2, 1), {9});
    auto node = SelectPixel(0, 3);
    const CImage& result = RunImage(*node, {row.get(), taller.get()});
    EXPECT_EQ(result.Size(), CSize(4, 2, 1));
    EXPECT_EQ(Samples<uint8_t>(result), (std::vector<uint8_t>{9, 3, 9, 3, 0, 0, 0, 0}));
    auto if441 = Blank(IMAGE_GREY_8, CSize(4, 4, 1)), then482 = Blank(IMAGE_GREY_8, CSize(4, 8, 2));
    EXPECT_EQ(RunError(*node, {if441.get(), then482.get()}), "no exception");
}

TEST(SelectPixel, Errors) {
    auto grey = Blank(IMAGE_GREY_8, CSize(2, 2)), shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2)), colour = Blank(IMAGE_RGB_8, CSize(2, 2));
    auto if441 = Blank(IMAGE_GREY_8, CSize(4, 4, 1)), then482 = Blank(IMAGE_GREY_8, CSize(4, 8, 2));
    auto then552 = Blank(IMAGE_GREY_8, CSize(5, 5, 2)),
         else333 = Blank(IMAGE_GREY_8, CSize(3, 3, 3));
    CValueLong number(1);
    const SFailure failures[] = {
        {{nullptr, grey.get()}, "first input image 'if' is NULL"},
        {{&number}, "First input 'if' is not an image"},
        {{grey.get(), &number}, "Second input 'then' is not an image"},
        {{grey.get(), nullptr, &number}, "Third input 'else' is not an image"},
        {{if441.get(), then552.get()},
         "Images 'if' and 'then' must have same size. Sizes are (4, 4, 1) vs (5, 5, 2)."},
        {{if441.get(), then482.get(), else333.get()},
         "Images 'then' and 'else' must have same size. Sizes are (4, 8, 2) vs (3, 3, 3)."},
        {{doubles.get()},
         "Image 'if' must be of type MONO, GREY_8, GREY_16, GREY_32, or GREY_F. Type is "
         "'IMAGE_GREY_D'."},
        {{grey.get(), colour.get()},
         "Image 'then' must be of type MONO, GREY_8, GREY_16, GREY_32, or GREY_F. Type is "
         "'IMAGE_RGB_8'."},
        {{grey.get(), grey.get(), shorts.get()},
         "Images 'then' and 'else must have same type. Types are 'IMAGE_GREY_8' vs "
         "'IMAGE_GREY_16'."},
        {{grey.get(), nullptr, doubles.get()}, "Image type IMAGE_GREY_D not supported."},
    };
    ExpectFailures<CPSelectPixel>("SelectPixel | ", failures);
}

TEST(SelectImage, ChoosesByTheCondition) {
    auto zero = Grey8(CSize(1, 1), {10}), one = Grey8(CSize(1, 1), {11});
    CValueLong longZero(0), longTwo(2);
    CValueBool no(false);
    CValueString text("no");
    auto empty = Blank(IMAGE_GREY_8, CSize(0, 0, 0));
    auto byteZero = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1});
    auto floatNaN = GreyF(CSize(1, 1), {NaN}), floatZero = GreyF(CSize(1, 1), {-0.0f});
    auto shortZero = Blank(IMAGE_GREY_16, CSize(1, 1));
    struct Case {
        CValue* condition;
        uint8_t expected;
    } cases[] = {
        {nullptr, 10},         {&longZero, 11},      {&longTwo, 10},       {&no, 11},
        {&text, 10},           {empty.get(), 10},    {byteZero.get(), 11}, {floatNaN.get(), 10},
        {floatZero.get(), 11}, {shortZero.get(), 10}};
    for (const Case& c : cases) {
        CPSelectImage node;
        const CImage& out = RunImage(node, {zero.get(), one.get(), c.condition});
        EXPECT_EQ(Samples<uint8_t>(out), std::vector<uint8_t>{c.expected});
        EXPECT_NE(&out, zero->VoidPointer());
    }
}

TEST(SelectImage, BothInputsMustBeImages) {
    auto image = Blank(IMAGE_GREY_8, CSize(1, 1));
    CValueLong number(1);
    const SFailure failures[] = {
        {{}, "first input image is NULL"},
        {{image.get()}, "second input image is NULL"},
        // Though input 0 is chosen.
        {{image.get(), &number}, "expected a value holding CImage, but found CValueLong"},
    };
    ExpectFailures<CPSelectImage>("(utility plugins) SelectImage::Run | ", failures);
}
