#include "PConvertType.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

std::unique_ptr<CPConvertType> Node(const char* outType, bool swap = false, bool runOnce = false) {
    auto node = std::make_unique<CPConvertType>();
    CValueMap parameters;
    parameters.SetEntry("out_type", new CValueString(outType));
    parameters.SetEntry("swap_msb_lsb", new CValueBool(swap));
    parameters.SetEntry("run_once", new CValueBool(runOnce));
    Configure(*node, parameters);
    return node;
}

// The samples of the conversion of a one-row image of `in` samples to `outType`, as bytes.
template <class S>
std::vector<uint8_t> Converted(IImage::CType type, std::vector<S> in, const char* outType,
                               bool swap = false) {
    int64_t pixels = static_cast<int64_t>(in.size()) / type.Channels();
    std::unique_ptr<CValue> value = ImageValue<S>(type, CSize(pixels, 1), in);
    auto node = Node(outType, swap);
    node->SetStackInput(0, value.get());
    node->Run();
    const CImage& out = OutputImage(*node);
    EXPECT_EQ(out.Type(), IImage::CType(outType));
    return std::vector<uint8_t>(out.Bytes(), out.Bytes() + out.ByteCount());
}

template <class T>
std::vector<uint8_t> Bytes(std::vector<T> samples) {
    std::vector<uint8_t> bytes(samples.size() * sizeof(T));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

}  // namespace

TEST(ConvertType, FloatToByteRoundsAndWraps) {
    EXPECT_EQ(
        Converted<float>(IMAGE_GREY_F, {0.5f, -0.5f, 1.49f, 255.5f, 256.0f, -1.0f, NaN, 300.4f},
                         "IMAGE_GREY_8"),
        (std::vector<uint8_t>{1, 255, 1, 0, 0, 255, 0, 44}));
    EXPECT_EQ(Converted<float>(IMAGE_RGB_FI, {300.4f, -1.0f, 0.5f}, "IMAGE_RGB_8I"),
              (std::vector<uint8_t>{44, 255, 1}));
}

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
        for (float sign : {1.0f, -1.0f}) {
            float v = sign * centre;
            for (int k = 0; k < 40; ++k)
                v = std::nextafter(v, -INFINITY);
            for (int k = 0; k < 80; ++k, v = std::nextafter(v, INFINITY))
                in.push_back(v);
        }
    // Sizes that leave tails for the scalar loop, and a large run that streams.
    for (size_t length : {in.size(), in.size() - 7, size_t(1) << 20}) {
        std::vector<uint8_t> vector(length), baseline(length);
        ConvertTypeKernel::FloatToByte(in.data(), vector.data(), static_cast<int64_t>(length));
        ConvertTypeKernel::FloatToByteBaseline(in.data(), baseline.data(),
                                               static_cast<int64_t>(length));
        for (size_t i = 0; i < length; ++i) {
            ASSERT_EQ(vector[i], exact(in[i])) << in[i];
            ASSERT_EQ(baseline[i], exact(in[i])) << in[i];
            ASSERT_EQ(ConvertTypeKernel::RoundToByte(in[i]), exact(in[i])) << in[i];
        }
    }
}

TEST(ConvertType, EveryRuleOfTheTable) {
    using U8 = std::vector<uint8_t>;
    using F = std::vector<float>;
    // Averages in float: truncated into bytes, (1 + 1 + 2) / 3 = 1.3333334f into floats.
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8I, {1, 1, 2, 255, 254, 254}, "IMAGE_GREY_8"),
              (U8{1, 254}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8I, {1, 1, 2}, "IMAGE_GREY_F"), Bytes(F{1.3333334f}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8, {1, 9, 1, 9, 2, 10}, "IMAGE_GREY_8"), (U8{1, 9}));
    // 16-bit samples read byte by byte, the first byte most significant unless swapped.
    EXPECT_EQ(Converted<uint16_t>(IMAGE_GREY_16, {0x0201}, "IMAGE_GREY_F"), Bytes(F{258.0f}));
    EXPECT_EQ(Converted<uint16_t>(IMAGE_GREY_16, {0x0201}, "IMAGE_GREY_F", true), Bytes(F{513.0f}));
    // Unsigned values stay positive.
    EXPECT_EQ(Converted<uint32_t>(IMAGE_GREY_32, {0xFFFFFFFFu, 7}, "IMAGE_GREY_F"),
              Bytes(F{4294967296.0f, 7.0f}));
    EXPECT_EQ(Converted<uint64_t>(IMAGE_GREY_64, {0x1234, 255}, "IMAGE_GREY_8"), (U8{0x34, 255}));
    // Foreground binaries keep their bytes, background binaries become 0 and 1.
    EXPECT_EQ(Converted<uint8_t>(IMAGE_BINARY_FG, {255, 0}, "IMAGE_GREY_F"), Bytes(F{255, 0}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_BINARY_FG, {255, 0}, "IMAGE_GREY_8"), (U8{255, 0}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_BINARY_BG, {255, 0}, "IMAGE_GREY_F"), Bytes(F{1, 0}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_BINARY_BG, {255, 0}, "IMAGE_GREY_8"), (U8{1, 0}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_GREY_8, {7, 0}, "IMAGE_BINARY_FG"), (U8{1, 0}));
    EXPECT_EQ(Converted<float>(IMAGE_GREY_F, {0.0f, -0.0f, NaN, 0.1f}, "IMAGE_BINARY_FG"),
              (U8{0, 0, 1, 1}));
    // Into colour: planes replicated, saturating conversions by the framework.
    EXPECT_EQ(Converted<uint8_t>(IMAGE_GREY_8, {3, 4}, "IMAGE_RGB_8"), (U8{3, 4, 3, 4, 3, 4}));
    EXPECT_EQ(Converted<float>(IMAGE_GREY_F, {-3.0f, 300.0f, 1.5f}, "IMAGE_RGB_8"),
              (U8{0, 255, 2, 0, 255, 2, 0, 255, 2}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8I, {1, 2, 3, 4, 5, 6}, "IMAGE_RGB_8"),
              (U8{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(Converted<double>(IMAGE_GREY_D, {2.5, -4.0}, "IMAGE_RGB_8I"), (U8{3, 3, 3, 0, 0, 0}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8I, {1, 2, 255}, "IMAGE_RGB_FI"), Bytes(F{1, 2, 255}));
    EXPECT_EQ(Converted<uint8_t>(IMAGE_RGB_8, {1, 4, 2, 5, 3, 6}, "IMAGE_RGB_FI"),
              Bytes(F{1, 2, 3, 4, 5, 6}));
}

TEST(ConvertType, PairsWithoutARuleAreErrors) {
    struct Case {
        IImage::CType in;
        const char* out;
    } cases[] = {{IMAGE_GREY_D, "IMAGE_GREY_F"},
                 {IMAGE_GREY_16, "IMAGE_GREY_8"},
                 {IMAGE_GREY_32, "IMAGE_BINARY_FG"},
                 {IMAGE_GREY_F, "IMAGE_RGB_FI"}};
    for (const Case& c : cases) {
        auto node = Node(c.out);
        auto image = std::make_unique<CValueOwnedPointer<CImage>>(
            std::make_unique<CImage>(c.in, CSize(2, 2)));
        node->SetStackInput(0, image.get());
        EXPECT_EQ(ErrorOf([&] { node->Run(); }, true),
                  std::string("ConverType | Cannot convert input image type ") + c.in.Name() +
                      " to output type " + c.out);
        EXPECT_FALSE(node->IsStackOutputSet(0));
    }
}

TEST(ConvertType, InputChecksAndTheTypeName) {
    auto node = Node("IMAGE_GREY_8");
    EXPECT_EQ(ErrorOf([&] { node->Run(); }, true), "ConverType | input image is NULL");
    CValueLong number(1);
    node->SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node->Run(); }), "input 0 is not an image");
    CValueOwnedPointer<CImage> empty;
    node->SetStackInput(0, &empty);
    EXPECT_EQ(ErrorOf([&] { node->Run(); }), "input image is NULL");

    // Names are compared exactly; an unknown one falls back to IMAGE_GREY_F with a warning.
    std::string warning = CapturedStderr([&] { node = Node("image_grey_8"); });
    EXPECT_EQ(warning,
              "ConverType: unsupported out type 'image_grey_8'. resetting type to IMAGE_GREY_F\n");
    EXPECT_EQ(node->OutputType(), "IMAGE_GREY_F");
    EXPECT_NE(CapturedStderr([&] { node = Node("IMAGE_GREY_16"); }), "");
}

TEST(ConvertType, SameTypeGivesAnEqualDistinctImage) {
    std::unique_ptr<CValue> value = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {1.5f, NaN});
    static_cast<CImage*>(value->VoidPointer())
        ->Attributes()
        .SetEntry("unit", new CValueString("mm"));
    auto node = Node("IMAGE_GREY_F");
    node->SetStackInput(0, value.get());
    node->Run();
    const CImage& out = OutputImage(*node);
    EXPECT_NE(&out, value->VoidPointer());
    EXPECT_TRUE(out == *static_cast<CImage*>(value->VoidPointer()));
    EXPECT_TRUE(node->StackOutput(0)->Pointer()->Owns());
}

TEST(ConvertType, RunOnceKeepsHandingOutTheFirstResult) {
    auto node = Node("IMAGE_GREY_8", false, true);
    std::unique_ptr<CValue> first = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {7.0f});
    std::unique_ptr<CValue> second = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {9.0f});
    CValueLong number(3);

    // A failed run leaves the node computing on the next one.
    node->SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node->Run(); }), "input 0 is not an image");
    node->SetStackInput(0, first.get());
    node->Run();
    const CImage* kept = &OutputImage(*node);
    EXPECT_FALSE(node->StackOutput(0)->Pointer()->Owns());
    for (CValue* input : {static_cast<CValue*>(second.get()), static_cast<CValue*>(&number)}) {
        node->SetStackInput(0, input);
        node->Run();
        EXPECT_EQ(&OutputImage(*node), kept);
        EXPECT_EQ(Samples<uint8_t>(*kept), (std::vector<uint8_t>{7}));
    }

    // NodeInit computes again; without run_once the output owns its image.
    node->NodeInit();
    node->SetStackInput(0, second.get());
    node->Run();
    EXPECT_EQ(Samples<uint8_t>(OutputImage(*node)), (std::vector<uint8_t>{9}));
    node = Node("IMAGE_GREY_8");
    node->SetStackInput(0, second.get());
    node->Run();
    EXPECT_TRUE(node->StackOutput(0)->Pointer()->Owns());
}
