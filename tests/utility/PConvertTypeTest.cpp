#include "PConvertType.h"

#include <bit>
#include <cmath>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

std::unique_ptr<CPConvertType> Node(const char* outType, bool swap = false, bool runOnce = false) {
    auto node = std::make_unique<CPConvertType>();
    Configure(*node, {{"out_type", outType}, {"swap_msb_lsb", swap}, {"run_once", runOnce}});
    return node;
}

}  // namespace

TEST(ConvertType, VectorRoundingEqualsTheExactFormula) {
    // v + 0.5 (v - 0.5 below zero) in double, truncated to 32 bits, low byte; 0 out of range.
    auto exact = [](float value) -> uint8_t {
        double v = value >= 0.0f ? double(value) + 0.5 : double(value) - 0.5;
        if (!(v >= -2147483648.0 && v < 2147483648.0)) return 0;
        return static_cast<uint8_t>(static_cast<int32_t>(v));
    };
    // Bit patterns spread over every float, and the neighbourhoods of the halves and limits.
    std::vector<float> in;
    for (uint64_t bits = 0; bits < (uint64_t(1) << 32); bits += 4093)
        in.push_back(std::bit_cast<float>(static_cast<uint32_t>(bits)));
    for (float centre : {0.5f, 1.5f, 2.5f, 8388608.0f, 16777216.0f, 2147483648.0f})
        for (float v : {centre, -centre}) {
            for (int k = 0; k < 40; ++k)
                v = std::nextafter(v, -INFINITY);
            for (int k = 0; k < 80; ++k, v = std::nextafter(v, INFINITY))
                in.push_back(v);
        }
    // Sizes that leave tails for the scalar loop, and a large run that streams.
    for (size_t length : {in.size(), in.size() - 7, size_t(1) << 20}) {
        std::vector<uint8_t> vector(length), baseline(length);
        ConvertTypeKernel::FloatToByte(in.data(), vector.data(), std::ssize(vector));
        ConvertTypeKernel::FloatToByteBaseline(in.data(), baseline.data(), std::ssize(baseline));
        for (size_t i = 0; i < length; ++i) {
            ASSERT_EQ(vector[i], exact(in[i])) << in[i];
            ASSERT_EQ(baseline[i], exact(in[i])) << in[i];
            ASSERT_EQ(ConvertTypeKernel::RoundToByte(in[i]), exact(in[i])) << in[i];
        }
    }
}

TEST(ConvertType, EveryRuleOfTheTable) {
    struct Rule {
        IImage::CType in;
        std::vector<double> samples;  // of a one-row image
        const char* out;
        std::vector<double> expected;
        bool swap = false;
    } rules[] = {
        // Floats into bytes round half away from zero and wrap; NaN gives 0.
        {IMAGE_GREY_F,
         {0.5, -0.5, 1.49, 255.5, 256, -1, NaN, 300.4},
         "IMAGE_GREY_8",
         {1, 255, 1, 0, 0, 255, 0, 44}},
        {IMAGE_RGB_FI, {300.4, -1, 0.5}, "IMAGE_RGB_8I", {44, 255, 1}},
        // Averages in float: truncated into bytes, (1 + 1 + 2) / 3 = 1.3333334f into floats.
        {IMAGE_RGB_8I, {1, 1, 2, 255, 254, 254}, "IMAGE_GREY_8", {1, 254}},
        {IMAGE_RGB_8I, {1, 1, 2}, "IMAGE_GREY_F", {1.3333334f}},
        {IMAGE_RGB_8, {1, 9, 1, 9, 2, 10}, "IMAGE_GREY_8", {1, 9}},
        // 16-bit samples read byte by byte, the first byte most significant unless swapped.
        {IMAGE_GREY_16, {0x0201}, "IMAGE_GREY_F", {258}},
        {IMAGE_GREY_16, {0x0201}, "IMAGE_GREY_F", {513}, true},
        // Unsigned values stay positive; 64 bits keep their low byte.
        {IMAGE_GREY_32, {0xFFFFFFFFu, 7}, "IMAGE_GREY_F", {4294967296.0, 7}},
        {IMAGE_GREY_64, {0x1234, 255}, "IMAGE_GREY_8", {0x34, 255}},
        // Foreground binaries keep their bytes, background binaries become 0 and 1.
        {IMAGE_BINARY_FG, {255, 0}, "IMAGE_GREY_F", {255, 0}},
        {IMAGE_BINARY_FG, {255, 0}, "IMAGE_GREY_8", {255, 0}},
        {IMAGE_BINARY_BG, {255, 0}, "IMAGE_GREY_F", {1, 0}},
        {IMAGE_BINARY_BG, {255, 0}, "IMAGE_GREY_8", {1, 0}},
        {IMAGE_GREY_8, {7, 0}, "IMAGE_BINARY_FG", {1, 0}},
        {IMAGE_GREY_F, {0, -0.0, NaN, 0.1}, "IMAGE_BINARY_FG", {0, 0, 1, 1}},
        // Into colour: planes replicated, saturating conversions by the framework.
        {IMAGE_GREY_8, {3, 4}, "IMAGE_RGB_8", {3, 4, 3, 4, 3, 4}},
        {IMAGE_GREY_F, {-3, 300, 1.5}, "IMAGE_RGB_8", {0, 255, 2, 0, 255, 2, 0, 255, 2}},
        {IMAGE_RGB_8I, {1, 2, 3, 4, 5, 6}, "IMAGE_RGB_8", {1, 4, 2, 5, 3, 6}},
        {IMAGE_GREY_D, {2.5, -4}, "IMAGE_RGB_8I", {3, 3, 3, 0, 0, 0}},
        {IMAGE_RGB_8I, {1, 2, 255}, "IMAGE_RGB_FI", {1, 2, 255}},
        {IMAGE_RGB_8, {1, 4, 2, 5, 3, 6}, "IMAGE_RGB_FI", {1, 2, 3, 4, 5, 6}},
    };
    for (const Rule& r : rules) {
        auto node = Node(r.out, r.swap);
        auto image = ImageOf(r.in, CSize(std::ssize(r.samples) / r.in.Channels(), 1), r.samples);
        const CImage& out = RunImage(*node, {image.get()});
        EXPECT_EQ(out.Type(), IImage::CType(r.out));
        EXPECT_EQ(ValuesOf(out), r.expected) << r.in.Name() << " to " << r.out;
    }
}

TEST(ConvertType, Errors) {
    CValueLong number(1);
    CValueOwnedPointer<CImage> none;
    auto doubles = Blank(IMAGE_GREY_D, CSize(2, 2)), shorts = Blank(IMAGE_GREY_16, CSize(2, 2));
    auto words = Blank(IMAGE_GREY_32, CSize(2, 2)), floats = Blank(IMAGE_GREY_F, CSize(2, 2));
    auto cannot = [](const char* in, const char* out) {
        return "Cannot convert input image type " + std::string(in) + " to output type " + out;
    };
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input 0 is not an image"},
        {{&none}, "input image is NULL"},
        {{doubles.get()}, cannot("IMAGE_GREY_D", "IMAGE_GREY_F")},
        {{shorts.get()}, cannot("IMAGE_GREY_16", "IMAGE_GREY_8"), {{"out_type", "IMAGE_GREY_8"}}},
        {{words.get()},
         cannot("IMAGE_GREY_32", "IMAGE_BINARY_FG"),
         {{"out_type", "IMAGE_BINARY_FG"}}},
        {{floats.get()}, cannot("IMAGE_GREY_F", "IMAGE_RGB_FI"), {{"out_type", "IMAGE_RGB_FI"}}},
    };
    ExpectFailures<CPConvertType>("ConverType | ", failures);

    // Names are compared exactly; an unknown one falls back to IMAGE_GREY_F with a warning.
    std::unique_ptr<CPConvertType> node;
    EXPECT_EQ(CapturedStderr([&] { node = Node("image_grey_8"); }),
              "ConverType: unsupported out type 'image_grey_8'. resetting type to IMAGE_GREY_F\n");
    EXPECT_EQ(node->OutputType(), "IMAGE_GREY_F");
    EXPECT_NE(CapturedStderr([&] { node = Node("IMAGE_GREY_16"); }), "");
}

TEST(ConvertType, SameTypeGivesAnEqualOwnedCopy) {
    auto value = GreyF(CSize(2, 1), {1.5f, NaN});
    static_cast<CImage*>(value->VoidPointer())
        ->Attributes()
        .SetEntry("unit", new CValueString("mm"));
    auto node = Node("IMAGE_GREY_F");
    const CImage& out = RunImage(*node, {value.get()});
    EXPECT_NE(&out, value->VoidPointer());
    EXPECT_TRUE(out == *static_cast<CImage*>(value->VoidPointer()));
    EXPECT_TRUE(node->StackOutput(0)->Pointer()->Owns());
}

TEST(ConvertType, RunOnceKeepsHandingOutTheFirstResult) {
    auto node = Node("IMAGE_GREY_8", false, true);
    auto first = GreyF(CSize(1, 1), {7.0f}), second = GreyF(CSize(1, 1), {9.0f});
    CValueLong number(3);
    // A failed run leaves the node computing on the next one.
    EXPECT_EQ(RunError(*node, {&number}), "ConverType | input 0 is not an image");
    const CImage* kept = &RunImage(*node, {first.get()});
    EXPECT_FALSE(node->StackOutput(0)->Pointer()->Owns());
    for (CValue* input : {second.get(), static_cast<CValue*>(&number)}) {
        EXPECT_EQ(&RunImage(*node, {input}), kept);
        EXPECT_EQ(Samples<uint8_t>(*kept), (std::vector<uint8_t>{7}));
    }
    // NodeInit computes again.
    node->NodeInit();
    EXPECT_EQ(Samples<uint8_t>(RunImage(*node, {second.get()})), (std::vector<uint8_t>{9}));
}
