#include "PNormalizeLine.h"

#include <bit>
#include <cmath>

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

CValueMap Settings(double outMin, double outMax, double outDefault, bool upcast) {
    CValueMap parameters;
    parameters.SetEntry("out_min", new CValueDouble(outMin));
    parameters.SetEntry("out_max", new CValueDouble(outMax));
    parameters.SetEntry("out_default", new CValueDouble(outDefault));
    parameters.SetEntry("upcast", new CValueBool(upcast));
    return parameters;
}

template <class T>
const CImage& RunNode(CPNode& node, const CValueMap& parameters, IImage::CType type, CSize size,
                      const std::vector<T>& samples, std::unique_ptr<CValue>& keep) {
    Configure(node, parameters);
    keep = ImageValue<T>(type, size, samples);
    node.SetStackInput(0, keep.get());
    node.Run();
    return OutputImage(node);
}

// Sample bits, so that NaN compares equal to NaN.
template <class O>
std::vector<uint64_t> Bits(const CImage& image) {
    std::vector<uint64_t> bits;
    for (O sample : Samples<O>(image)) {
        if constexpr (std::is_same_v<O, float>)
            bits.push_back(std::bit_cast<uint32_t>(sample));
        else
            bits.push_back(sample);
    }
    return bits;
}

// Every row as Normalize maps a one-row image of it.
template <class T, class O>
void ExpectRowsAsNormalize(IImage::CType type, int64_t width, const std::vector<T>& samples,
                           const CValueMap& parameters) {
    const int64_t rows = static_cast<int64_t>(samples.size()) / width;
    std::unique_ptr<CValue> keep;
    CPNormalizeLine lines;
    std::vector<uint64_t> actual =
        Bits<O>(RunNode(lines, parameters, type, CSize(width, rows / 2, 2), samples, keep));
    for (int64_t row = 0; row < rows; ++row) {
        CPNormalize normalize;
        std::vector<T> one(samples.begin() + row * width, samples.begin() + (row + 1) * width);
        std::vector<uint64_t> expected =
            Bits<O>(RunNode(normalize, parameters, type, CSize(width, 1), one, keep));
        EXPECT_EQ(
            std::vector<uint64_t>(actual.begin() + row * width, actual.begin() + (row + 1) * width),
            expected)
            << "row " << row;
    }
}

}  // namespace

TEST(NormalizeLine, EveryRowAsNormalizeMapsIt) {
    // Two planes of two rows: a reversed output range, a flat row, NaN among values.
    const std::vector<float> floats = {3,   -1, 7,   7, 0.5f,  //
                                       2,   2,  2,   2, 2,     //
                                       NaN, 4,  NaN, 8, 6,     //
                                       -3,  0,  1e6, 5, -7};
    ExpectRowsAsNormalize<float, float>(IMAGE_GREY_F, 5, floats, Settings(10, -20, 5, false));
    const std::vector<uint8_t> bytes = {10, 20, 15, 0, 9, 9, 200, 100, 250, 4, 0, 255};
    ExpectRowsAsNormalize<uint8_t, uint8_t>(IMAGE_GREY_8, 3, bytes, Settings(0, 300, 7, false));
    ExpectRowsAsNormalize<uint8_t, float>(IMAGE_GREY_8, 3, bytes, Settings(0, 1, 7, true));
}

TEST(NormalizeLine, RowsOfNaNTakeTheDefault) {
    CPNormalizeLine node;
    std::unique_ptr<CValue> keep;
    const CImage& out = RunNode<float>(node, Settings(0, 100, 5, false), IMAGE_GREY_F, CSize(2, 2),
                                       {NaN, NaN, 1, 2}, keep);
    EXPECT_EQ(Samples<float>(out), (std::vector<float>{5, 5, 0, 100}));
    // An empty output range is widened: -1 .. 1.
    const CImage& widened =
        RunNode<float>(node, Settings(0, 0, 5, false), IMAGE_GREY_F, CSize(3, 1), {2, 3, 4}, keep);
    EXPECT_EQ(Samples<float>(widened), (std::vector<float>{-1, 0, 1}));
    std::unique_ptr<CValue> words = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(1, 1), {1});
    node.SetStackInput(0, words.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) NormalizeLine::Run | input 0 is not of type IMAGE_GREY_F or "
              "IMAGE_GREY_8 but IMAGE_GREY_16");
}
