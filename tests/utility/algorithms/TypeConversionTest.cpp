#include "algorithms/TypeConversion.h"

#include <bit>
#include <cmath>

#include "../NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

// The samples of a one-row image of `in` converted into `out`, or {-1} when the pair has no rule.
std::vector<double> Converted(IImage::CType in, std::vector<double> samples, IImage::CType out,
                              bool swap = false) {
    auto value = ImageOf(in, CSize(std::ssize(samples) / in.Channels(), 1), samples);
    const CImage& input = *UnwrapPointer<CImage>(value.get());
    CImage result(out, input.Size());
    if (!Conversion::ConvertPixels(input, result, swap)) return {-1};
    return ValuesOf(result);
}

}  // namespace

TEST(TypeConversion, VectorRoundingEqualsTheExactFormula) {
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
    // Sizes that leave tails for the scalar loop, and a large run that streams, with every
    // vector unit the processor has.
    for (size_t length : {in.size(), in.size() - 7, size_t(1) << 20})
        for (int widest : {0, 1, 2}) {
            std::vector<uint8_t> out(length);
            Conversion::FloatToByte(in.data(), out.data(), std::ssize(out), widest);
            for (size_t i = 0; i < length; ++i)
                ASSERT_EQ(out[i], exact(in[i])) << in[i] << " with unit " << widest;
        }
    for (float v : in)
        ASSERT_EQ(Conversion::RoundToByte(v), exact(v)) << v;
}

TEST(TypeConversion, EveryRuleOfTheTable) {
    struct Rule {
        IImage::CType in;
        std::vector<double> samples;  // of a one-row image
        IImage::CType out;
        std::vector<double> expected;  // {-1}: no rule for the pair
        bool swap = false;
    } rules[] = {
        // Floats into bytes round half away from zero and wrap; NaN gives 0.
        {IMAGE_GREY_F,
         {0.5, -0.5, 1.49, 255.5, 256, -1, NaN, 300.4},
         IMAGE_GREY_8,
         {1, 255, 1, 0, 0, 255, 0, 44}},
        {IMAGE_RGB_FI, {300.4, -1, 0.5}, IMAGE_RGB_8I, {44, 255, 1}},
        // Averages in float: truncated into bytes, (1 + 1 + 2) / 3 = 1.3333334f into floats.
        {IMAGE_RGB_8I, {1, 1, 2, 255, 254, 254}, IMAGE_GREY_8, {1, 254}},
        {IMAGE_RGB_8I, {1, 1, 2}, IMAGE_GREY_F, {1.3333334f}},
        {IMAGE_RGB_8, {1, 9, 1, 9, 2, 10}, IMAGE_GREY_8, {1, 9}},
        // 16-bit samples read byte by byte, the first byte most significant unless swapped.
        {IMAGE_GREY_16, {0x0201}, IMAGE_GREY_F, {258}},
        {IMAGE_GREY_16, {0x0201}, IMAGE_GREY_F, {513}, true},
        // Unsigned values stay positive; 64 bits keep their low byte.
        {IMAGE_GREY_32, {0xFFFFFFFFu, 7}, IMAGE_GREY_F, {4294967296.0, 7}},
        {IMAGE_GREY_64, {0x1234, 255}, IMAGE_GREY_8, {0x34, 255}},
        // Foreground binaries keep their bytes, background binaries become 0 and 1.
        {IMAGE_BINARY_FG, {255, 0}, IMAGE_GREY_F, {255, 0}},
        {IMAGE_BINARY_FG, {255, 0}, IMAGE_GREY_8, {255, 0}},
        {IMAGE_BINARY_BG, {255, 0}, IMAGE_GREY_F, {1, 0}},
        {IMAGE_GREY_8, {7, 0}, IMAGE_BINARY_FG, {1, 0}},
        {IMAGE_GREY_F, {0, -0.0, NaN, 0.1}, IMAGE_BINARY_FG, {0, 0, 1, 1}},
        // Into colour: the framework's saturating conversions, whose values it tests itself.
        {IMAGE_GREY_F, {-3, 300, 1.5}, IMAGE_RGB_8, {0, 255, 2, 0, 255, 2, 0, 255, 2}},
        {IMAGE_GREY_D, {2.5, -4}, IMAGE_RGB_8I, {3, 3, 3, 0, 0, 0}},
        {IMAGE_RGB_8, {1, 4, 2, 5, 3, 6}, IMAGE_RGB_FI, {1, 2, 3, 4, 5, 6}},
        // Pairs without a rule.
        {IMAGE_GREY_D, {1}, IMAGE_GREY_F, {-1}},
        {IMAGE_GREY_16, {1}, IMAGE_GREY_8, {-1}},
        {IMAGE_GREY_32, {1}, IMAGE_BINARY_FG, {-1}},
        {IMAGE_GREY_F, {1}, IMAGE_RGB_FI, {-1}},
    };
    for (const Rule& r : rules)
        EXPECT_EQ(Converted(r.in, r.samples, r.out, r.swap), r.expected)
            << r.in.Name() << " to " << r.out.Name();
}
