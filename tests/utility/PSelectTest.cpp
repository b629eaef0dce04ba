#include <cmath>

#include "DrawingTesting.h"
#include "PFillWithValue.h"
#include "PSelectImage.h"
#include "PSelectPixel.h"

using namespace ORVA;
using namespace testing_support;

TEST(SelectPixel, SourcesAndConstants) {
    auto cond = Grey8(CSize(2, 1), {0, 5}), bytes = Grey8(CSize(2, 1), {7, 8});
    auto words = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {7, 8});
    auto floats = GreyF(CSize(2, 1), {0.5f, 1.5f}), others = GreyF(CSize(2, 1), {2.5f, 3.5f});
    // Images on 'if', 'then', 'else' (null: none), the constants "then" and "else".
    struct Case {
        std::vector<CValue*> inputs;
        double then, otherwise;
        std::vector<double> expected;
    } cases[] = {
        // No source image: a float image that takes "else" where the condition holds.
        {{cond.get(), nullptr, nullptr}, 1, 2, {1, 2}},
        // A constant takes the type of the other source, truncated and wrapped.
        {{cond.get(), bytes.get()}, 0, 300.7, {44, 8}},
        {{cond.get(), nullptr, words.get()}, 5e9, 0, {7, 705032704}},  // 5e9 mod 2^32
        {{cond.get(), floats.get(), others.get()}, 0, 0, {2.5, 1.5}},
    };
    for (const Case& c : cases) {
        CPSelectPixel node;
        Configure(node, {{"then", c.then}, {"else", c.otherwise}});
        EXPECT_EQ(ValuesOf(RunImage(node, c.inputs)), c.expected) << c.then << " " << c.otherwise;
    }
    // One matching extent is enough. The result has the size of 'then'; pixels without a
    // condition pixel stay 0.
    auto row = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(4, 1, 1), {1, 0, 1, 0});
    auto taller = Grey8(CSize(4, 2, 1), {9});
    CPSelectPixel node;
    Configure(node, {{"else", 3.0}});
    EXPECT_EQ(Samples<uint8_t>(RunImage(node, {row.get(), taller.get()})),
              (std::vector<uint8_t>{9, 3, 9, 3, 0, 0, 0, 0}));
}

TEST(SelectPixel, Errors) {
    auto grey = Blank(IMAGE_GREY_8, CSize(2, 2)), shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2)), colour = Blank(IMAGE_RGB_8, CSize(2, 2));
    auto if441 = Blank(IMAGE_GREY_8, CSize(4, 4, 1)), then482 = Blank(IMAGE_GREY_8, CSize(4, 8, 2));
    auto then552 = Blank(IMAGE_GREY_8, CSize(5, 5, 2)),
         else333 = Blank(IMAGE_GREY_8, CSize(3, 3, 3));
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    const std::string types = "must be of type MONO, GREY_8, GREY_16, GREY_32, or GREY_F. Type is ";
    const SFailure failures[] = {
        {{nullptr, &number}, "first input image 'if' is NULL"},
        {{&number}, "First input 'if' is not an image"},
        // A null image on pin 0 is reported after the other pins are looked at.
        {{&none, &number}, "Second input 'then' is not an image"},
        {{&none, nullptr, grey.get()}, "first input image 'if' is NULL"},
        {{grey.get(), nullptr, &number}, "Third input 'else' is not an image"},
        {{if441.get(), then552.get()},
         "Images 'if' and 'then' must have same size. Sizes are (4, 4, 1) vs (5, 5, 2)."},
        {{if441.get(), then482.get(), else333.get()},
         "Images 'then' and 'else' must have same size. Sizes are (4, 8, 2) vs (3, 3, 3)."},
        {{doubles.get()}, "Image 'if' " + types + "'IMAGE_GREY_D'."},
        {{grey.get(), colour.get()}, "Image 'then' " + types + "'IMAGE_RGB_8'."},
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
    auto empty = Blank(IMAGE_GREY_8, CSize(0, 0, 0)), shortZero = Blank(IMAGE_GREY_16, CSize(1, 1));
    auto byteZero = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1});
    auto floatNaN = GreyF(CSize(1, 1), {NAN}), floatZero = GreyF(CSize(1, 1), {-0.0f});
    const std::pair<CValue*, uint8_t> cases[] = {
        {nullptr, 10},         {&longZero, 11},      {&longTwo, 10},       {&no, 11},
        {&text, 10},           {empty.get(), 10},    {byteZero.get(), 11}, {floatNaN.get(), 10},
        {floatZero.get(), 11}, {shortZero.get(), 10}};
    for (const auto& [condition, expected] : cases) {
        CPSelectImage node;
        const CImage& out = RunImage(node, {zero.get(), one.get(), condition});
        EXPECT_EQ(Samples<uint8_t>(out), std::vector<uint8_t>{expected});
        EXPECT_NE(&out, zero->VoidPointer());
    }
    // Both inputs must be images, also the one not chosen; a null image only where chosen.
    CValueOwnedPointer<CImage> none;
    const SFailure failures[] = {
        {{nullptr, &no}, "first input image is NULL"},
        {{zero.get()}, "second input image is NULL"},
        {{zero.get(), &no}, "expected a value holding CImage, but found CValueBool"},
        {{zero.get(), &none, &longZero}, "second input image is NULL"},
    };
    ExpectFailures<CPSelectImage>("(utility plugins) SelectImage::Run | ", failures);
}

TEST(FillWithValue, MaskSelectsUpToTheShorterImage) {
    // Four mask pixels for six image pixels: the last two are never selected.
    auto mask = GreyF(CSize(4, 1), {0, NAN, 2, 0}), image = Grey8(CSize(6, 1), {1, 2, 3, 4, 5, 6});
    const std::tuple<const char*, CValue*, std::vector<uint8_t>> cases[] = {
        {R"({"value": 300.0})", mask.get(), {1, 44, 44, 4, 5, 6}},  // low 8 bits
        {R"({"value": 7.9, "invert": true})", mask.get(), {7, 2, 3, 7, 5, 6}},
        {R"({"value": -1})", nullptr, {255, 255, 255, 255, 255, 255}},
    };
    for (const auto& [json, withMask, expected] : cases) {
        CPFillWithValue node;
        RunNode(node, json, {image.get(), withMask});
        EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), expected) << json;
    }
    // A null image on the mask's pin is refused, not taken for no mask.
    CValueOwnedPointer<CImage> none;
    ExpectJsonFailures<CPFillWithValue>("(utility plugins) FillWithValue::Run",
                                        {{"{}", "input 1 is NULL", {image.get(), &none}}});
}
