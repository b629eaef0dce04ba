#include <cmath>
#include <random>

#include "NodeTesting.h"
#include "PReplaceNonFinite.h"
#include "PReplaceValue.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");
const float INF = INFINITY;

// Replaces in `samples` (an image of one row) by the parameters, or by the pair table `pairs`
// when it is not empty; `warning` receives what went to standard error.
template <class T>
std::vector<T> Replaced(IImage::CType type, std::vector<T> samples, double source,
                        double destination, std::vector<T> pairs = {},
                        std::string* warning = nullptr) {
    CPReplaceValue node;
    CValueMap parameters;
    parameters.SetEntry("src_value", new CValueDouble(source));
    parameters.SetEntry("dst_value", new CValueDouble(destination));
    Configure(node, parameters);
    auto image = ImageValue<T>(type, CSize(static_cast<int64_t>(samples.size()), 1), samples);
    std::unique_ptr<CValue> table;
    if (!pairs.empty()) {
        table = ImageValue<T>(type, CSize(2, static_cast<int64_t>(pairs.size() / 2)), pairs);
        node.SetStackInput(1, table.get());
    }
    node.SetStackInput(0, image.get());
    std::string printed = CapturedStderr([&] { node.Run(); });
    if (warning) *warning = printed;
    return Samples<T>(OutputImage(node));
}

// The pair table as described: each pixel against every row in order, the last match wins.
template <class T>
std::vector<T> LiteralPairs(const std::vector<T>& in, const std::vector<T>& pairs) {
    std::vector<T> out = in;
    for (size_t i = 0; i < in.size(); ++i)
        for (size_t row = 0; row < pairs.size() / 2; ++row)
            if (in[i] == pairs[2 * row]) out[i] = pairs[2 * row + 1];
    return out;
}

}  // namespace

TEST(ReplaceValue, SingleValuesAndWarnings) {
    std::string warning;
    // 300 is not a byte: warned about, and its low byte 44 is replaced.
    EXPECT_EQ(Replaced<uint8_t>(IMAGE_GREY_8, {44, 45}, 300, 7, {}, &warning),
              (std::vector<uint8_t>{7, 45}));
    EXPECT_EQ(warning,
              "(utility plugins) ReplaceValue WARNING: Source value 300 is not representable as "
              "8-bit unsigned integer (image type IMAGE_GREY_8).\n");
    // The destination is examined only when the source is fine.
    EXPECT_EQ(Replaced<uint8_t>(IMAGE_GREY_8, {5, 6}, 5, 2.5, {}, &warning),
              (std::vector<uint8_t>{2, 6}));
    EXPECT_EQ(warning,
              "(utility plugins) ReplaceValue WARNING: Destination value 2 is not representable "
              "as 8-bit unsigned integer (image type IMAGE_GREY_8).\n");
    EXPECT_EQ(Replaced<uint32_t>(IMAGE_GREY_32, {0xFFFFFFFFu, 3}, -1, 3e9, {}, &warning),
              (std::vector<uint32_t>{3000000000u, 3}));
    EXPECT_EQ(warning,
              "(utility plugins) ReplaceValue WARNING: Source value -1 is not representable as "
              "32-bit unsigned integer (image type IMAGE_GREY_32).\n");

    std::vector<float> f = Replaced<float>(IMAGE_GREY_F, {NaN, 1, -0.0f}, NaN, 4);
    EXPECT_EQ(f, (std::vector<float>{4, 1, 0}));
    EXPECT_EQ(Replaced<float>(IMAGE_GREY_F, {0.0f, -0.0f, 2}, 0, 5), (std::vector<float>{5, 5, 2}));
    // Doubles meet a source that passed through float.
    EXPECT_EQ(Replaced<double>(IMAGE_GREY_D, {0.1, double(0.1f)}, 0.1, 9),
              (std::vector<double>{0.1, 9}));
}

TEST(ReplaceValue, PairTables) {
    // Later rows win; bytes and words go through a lookup table.
    EXPECT_EQ(Replaced<uint8_t>(IMAGE_GREY_8, {1, 2, 3}, 0, 0, {1, 10, 1, 20, 3, 1}),
              (std::vector<uint8_t>{20, 2, 1}));
    EXPECT_EQ(Replaced<uint16_t>(IMAGE_GREY_16, {1, 2, 65535}, 0, 0, {65535, 0, 2, 7}),
              (std::vector<uint16_t>{1, 7, 0}));
    EXPECT_EQ(Replaced<uint32_t>(IMAGE_GREY_32, {5, 6}, 0, 0, {5, 1, 5, 2, 6, 3}),
              (std::vector<uint32_t>{2, 3}));
    // A NaN source turns NaN pixels into the destination of the first such row; the other rows
    // are ignored.
    std::vector<float> f =
        Replaced<float>(IMAGE_GREY_F, {1, NaN, 2}, 0, 0, {1, 10, NaN, 0, NaN, 5});
    EXPECT_EQ(f, (std::vector<float>{1, 0, 2}));
    f = Replaced<float>(IMAGE_GREY_F, {1, NaN, -0.0f}, 0, 0, {1, 10, 0, 3});
    EXPECT_EQ(f[0], 10.0f);
    EXPECT_TRUE(std::isnan(f[1]));
    EXPECT_EQ(f[2], 3.0f);
}

TEST(ReplaceValue, SortedTableEqualsTheLiteralScan) {
    std::mt19937 random(3);
    for (int trial = 0; trial < 30; ++trial) {
        std::vector<float> pairs, in;
        size_t rows = 1 + random() % 40;
        for (size_t r = 0; r < 2 * rows; ++r)
            pairs.push_back(static_cast<float>(static_cast<int>(random() % 21) - 10));
        pairs[0] = -0.0f;
        for (int i = 0; i < 200; ++i)
            in.push_back(static_cast<float>(static_cast<int>(random() % 25) - 12));
        std::vector<float> out(in.size());
        ReplaceValueKernel::ReplacePairs(in.data(), out.data(), static_cast<int64_t>(in.size()),
                                         pairs.data(), static_cast<int64_t>(rows));
        EXPECT_EQ(out, LiteralPairs(in, pairs)) << trial;
    }
}

TEST(ReplaceValue, Errors) {
    CPReplaceValue node;
    Configure(node);
    auto grey = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {1});
    auto words = ImageValue<uint16_t>(IMAGE_GREY_16, CSize(2, 1), {1});
    auto three = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(3, 1), {1});
    auto wide = ImageValue<uint64_t>(IMAGE_GREY_64, CSize(2, 1), {1});
    CValueLong number(1);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) ReplaceValue | input image is NULL");
    node.SetStackInput(0, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "input 0 is not an image");
    node.SetStackInput(0, wide.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }),
              "Unsupported image type, must be one of IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
              "IMAGE_GREY_F, or IMAGE_GREY_D.");
    node.SetStackInput(0, grey.get());
    node.SetStackInput(1, &number);
    EXPECT_EQ(ErrorOf([&] { node.Run(); }), "input 1 is not an image");
    node.SetStackInput(1, words.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }),
              "second input image is not of the same type as the first input image");
    node.SetStackInput(1, three.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }),
              "number of columns of second input image is not equal to two");
}

TEST(ReplaceNonFinite, ReplacesEachKind) {
    CPReplaceNonFinite node;
    CValueMap parameters;
    parameters.SetEntry("pinf_value", new CValueLong(9));
    parameters.SetEntry("ninf_value", new CValueDouble(8.5));
    parameters.SetEntry("nan_value", new CValueDouble(7));
    Configure(node, parameters);
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(5, 1), {1, INF, -INF, NaN, -0.0f});
    node.SetStackInput(0, image.get());
    node.Run();
    std::vector<float> out = Samples<float>(OutputImage(node));
    EXPECT_EQ(out, (std::vector<float>{1, 9, 8.5f, 7, 0}));
    EXPECT_TRUE(std::signbit(out[4]));

    auto bytes = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(1, 1), {1});
    node.SetStackInput(0, bytes.get());
    EXPECT_EQ(ErrorOf([&] { node.Run(); }, true),
              "(utility plugins) ReplaceNonFinite::Run | input image is not of type IMAGE_GREY_F");
}
