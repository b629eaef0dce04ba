#include <bit>
#include <cmath>

#include "NodeTesting.h"
#include "PSelectImage.h"
#include "PSelectPixel.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

std::unique_ptr<CValue> Blank(IImage::CType type, CSize size) {
    return std::make_unique<CValueOwnedPointer<CImage>>(std::make_unique<CImage>(type, size));
}

// Runs SelectPixel on the inputs (null for an empty pin) with the constants "then" and "else".
std::unique_ptr<CPSelectPixel> Select(CValue* condition, CValue* thenImage, CValue* elseImage,
                                      double thenValue = 0.0, double elseValue = 0.0) {
    auto node = std::make_unique<CPSelectPixel>();
    CValueMap parameters;
    parameters.SetEntry("then", new CValueDouble(thenValue));
    parameters.SetEntry("else", new CValueDouble(elseValue));
    Configure(*node, parameters);
    node->SetStackInput(0, condition);
    node->SetStackInput(1, thenImage);
    node->SetStackInput(2, elseImage);
    node->Run();
    return node;
}

}  // namespace

TEST(SelectPixel, SourcesAndConstants) {
    auto cond = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {0, 5});
    // No source image: the float image takes "else" where the condition holds, on purpose.
    EXPECT_EQ(Samples<float>(OutputImage(*Select(cond.get(), nullptr, nullptr, 1, 2))),
              (std::vector<float>{1, 2}));
    // Constants take the type of the image: 300.7 truncates and wraps to 44.
    auto bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {7, 8});
    EXPECT_EQ(Samples<uint8_t>(OutputImage(*Select(cond.get(), bytes.get(), nullptr, 0, 300.7))),
              (std::vector<uint8_t>{44, 8}));
    auto words = ImageValue<uint32_t>(IMAGE_GREY_32, CSize(2, 1), {7, 8});
    EXPECT_EQ(Samples<uint32_t>(OutputImage(*Select(cond.get(), nullptr, words.get(), -1, 0))),
              (std::vector<uint32_t>{7, 0xFFFFFFFFu}));
    EXPECT_EQ(Samples<uint32_t>(OutputImage(*Select(cond.get(), nullptr, words.get(), 5e9, 0))),
              (std::vector<uint32_t>{7, 705032704u}));  // 5e9 mod 2^32
    auto shorts = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {1, 2});
    EXPECT_EQ(Samples<uint16_t>(OutputImage(*Select(cond.get(), shorts.get(), nullptr, 0, -1.9))),
              (std::vector<uint16_t>{65535, 2}));

    // A float condition: NaN is non-zero. Float samples are copied bit for bit.
    auto fcond = ImageValue<float>(IMAGE_GREY_F, CSize(3, 1), {NaN, 0.0f, -0.0f});
    const float payload = std::bit_cast<float>(0x7FC01234u);
    auto thenF = ImageValue<float>(IMAGE_GREY_F, CSize(3, 1), {payload, 1, 2});
    auto elseF = ImageValue<float>(IMAGE_GREY_F, CSize(3, 1), {9, -0.0f, 4});
    std::vector<float> out =
        Samples<float>(OutputImage(*Select(fcond.get(), thenF.get(), elseF.get())));
    EXPECT_EQ(std::bit_cast<uint32_t>(out[0]), 0x7FC01234u);
    EXPECT_EQ(std::bit_cast<uint32_t>(out[1]), 0x80000000u);
    EXPECT_EQ(out[2], 4.0f);
}

TEST(SelectPixel, OneMatchingExtentIsEnough) {
    auto cond = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(4, 1, 1), {1, 0, 1, 0});
    auto taller = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(4, 2, 1), {9});
    // The result has the size of 'then'; pixels without a condition pixel stay 0.
    auto node = Select(cond.get(), taller.get(), nullptr, 0, 3);
    const CImage& out = OutputImage(*node);
    EXPECT_EQ(out.Size(), CSize(4, 2, 1));
    EXPECT_EQ(Samples<uint8_t>(out), (std::vector<uint8_t>{9, 3, 9, 3, 0, 0, 0, 0}));

    auto if441 = Blank(IMAGE_GREY_8, CSize(4, 4, 1));
    auto then482 = Blank(IMAGE_GREY_8, CSize(4, 8, 2));
    EXPECT_EQ(ErrorOf([&] { Select(if441.get(), then482.get(), nullptr); }), "no exception");
    auto then552 = Blank(IMAGE_GREY_8, CSize(5, 5, 2));
    EXPECT_EQ(
        ErrorOf([&] { Select(if441.get(), then552.get(), nullptr); }, true),
        "SelectPixel | Images 'if' and 'then' must have same size. Sizes are (4, 4, 1) vs (5, "
        "5, 2).");
    auto else553 = Blank(IMAGE_GREY_8, CSize(3, 3, 3));
    EXPECT_EQ(ErrorOf([&] { Select(if441.get(), then482.get(), else553.get()); }),
              "Images 'then' and 'else' must have same size. Sizes are (4, 8, 2) vs (3, 3, 3).");
}

TEST(SelectPixel, Errors) {
    auto grey = Blank(IMAGE_GREY_8, CSize(2, 2));
    auto shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2));
    auto colour = Blank(IMAGE_RGB_8, CSize(2, 2));
    CValueLong number(1);
    struct Case {
        CValue *cond, *then, *otherwise;
        const char* message;
    } cases[] = {
        {nullptr, grey.get(), nullptr, "first input image 'if' is NULL"},
        {&number, nullptr, nullptr, "First input 'if' is not an image"},
        {grey.get(), &number, nullptr, "Second input 'then' is not an image"},
        {grey.get(), nullptr, &number, "Third input 'else' is not an image"},
        {doubles.get(), nullptr, nullptr,
         "Image 'if' must be of type MONO, GREY_8, GREY_16, GREY_32, or GREY_F. Type is "
         "'IMAGE_GREY_D'."},
        {grey.get(), colour.get(), nullptr,
         "Image 'then' must be of type MONO, GREY_8, GREY_16, GREY_32, or GREY_F. Type is "
         "'IMAGE_RGB_8'."},
        {grey.get(), grey.get(), shorts.get(),
         "Images 'then' and 'else must have same type. Types are 'IMAGE_GREY_8' vs "
         "'IMAGE_GREY_16'."},
        {grey.get(), nullptr, doubles.get(), "Image type IMAGE_GREY_D not supported."},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ErrorOf([&] { Select(c.cond, c.then, c.otherwise); }), c.message);
}

TEST(SelectImage, ChoosesByTheCondition) {
    auto zero = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {10});
    auto one = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {11});
    CValueLong longZero(0), longTwo(2);
    CValueBool no(false);
    CValueString text("no");
    auto empty = Blank(IMAGE_GREY_8, CSize(0, 0, 0));
    auto byteZero = ImageValue<uint8_t>(IMAGE_BINARY_FG, CSize(2, 1), {0, 1});
    auto floatNaN = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {NaN});
    auto floatZero = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {-0.0f});
    auto shortZero = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {0});
    struct Case {
        CValue* condition;
        uint8_t expected;
    } cases[] = {
        {nullptr, 10},         {&longZero, 11},      {&longTwo, 10},       {&no, 11},
        {&text, 10},           {empty.get(), 10},    {byteZero.get(), 11}, {floatNaN.get(), 10},
        {floatZero.get(), 11}, {shortZero.get(), 10}};
    for (const Case& c : cases) {
        CPSelectImage node;
        Configure(node);
        node.SetStackInput(0, zero.get());
        node.SetStackInput(1, one.get());
        node.SetStackInput(2, c.condition);
        node.Run();
        EXPECT_EQ(Samples<uint8_t>(OutputImage(node)), std::vector<uint8_t>{c.expected});
        EXPECT_NE(&OutputImage(node), zero->VoidPointer());
    }
}

TEST(SelectImage, BothInputsMustBeImages) {
    CPSelectImage node;
    auto image = Blank(IMAGE_GREY_8, CSize(1, 1));
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) SelectImage::Run | first input image is NULL");
    node.SetStackInput(0, image.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "second input image is NULL");
    CValueLong number(1);
    node.SetStackInput(1, &number);  // though input 0 is chosen
    EXPECT_NE(ErrorOf([&] { node.Run(); }), "no exception");
}
