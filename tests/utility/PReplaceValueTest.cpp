#include <cmath>
#include <random>

#include "NodeTesting.h"
#include "PReplaceNonFinite.h"
#include "PReplaceValue.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const float NaN = std::nanf("");

// Replaces in `samples` (an image of one row) by the parameters, or by the pair table `pairs`
// when it is not empty; `warning` receives what went to standard error.
template <class T>
std::vector<T> Replaced(IImage::CType type, std::vector<T> samples, double source,
                        double destination, std::vector<T> pairs = {},
                        std::string* warning = nullptr) {
    CPReplaceValue node;
    Configure(node, {{"src_value", source}, {"dst_value", destination}});
    auto image = ImageValue<T>(type, CSize(std::ssize(samples), 1), samples);
    auto table = ImageValue<T>(type, CSize(2, std::ssize(pairs) / 2), pairs);
    SetInputs(node, {image.get(), pairs.empty() ? nullptr : table.get()});
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
    const std::string prefix = "(utility plugins) ReplaceValue WARNING: ";
    // 300 is not a byte: warned about, and its low byte 44 is replaced.
    EXPECT_EQ(Replaced<uint8_t>(IMAGE_GREY_8, {44, 45}, 300, 7, {}, &warning),
              (std::vector<uint8_t>{7, 45}));
    EXPECT_EQ(warning, prefix +
                           "Source value 300 is not representable as 8-bit unsigned integer "
                           "(image type IMAGE_GREY_8).\n");
    // The destination is examined only when the source is fine.
    EXPECT_EQ(Replaced<uint8_t>(IMAGE_GREY_8, {5, 6}, 5, 2.5, {}, &warning),
              (std::vector<uint8_t>{2, 6}));
    EXPECT_EQ(warning, prefix +
                           "Destination value 2 is not representable as 8-bit unsigned "
                           "integer (image type IMAGE_GREY_8).\n");
    EXPECT_EQ(Replaced<uint32_t>(IMAGE_GREY_32, {0xFFFFFFFFu, 3}, -1, 3e9, {}, &warning),
              (std::vector<uint32_t>{3000000000u, 3}));
    EXPECT_EQ(warning, prefix +
                           "Source value -1 is not representable as 32-bit unsigned integer "
                           "(image type IMAGE_GREY_32).\n");

    EXPECT_EQ(Replaced<float>(IMAGE_GREY_F, {NaN, 1, -0.0f}, NaN, 4),
              (std::vector<float>{4, 1, 0}));
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
    EXPECT_EQ(Replaced<float>(IMAGE_GREY_F, {1, NaN, 2}, 0, 0, {1, 10, NaN, 0, NaN, 5}),
              (std::vector<float>{1, 0, 2}));
    std::vector<float> f = Replaced<float>(IMAGE_GREY_F, {1, NaN, -0.0f}, 0, 0, {1, 10, 0, 3});
    EXPECT_TRUE(std::isnan(f[1]));
    f[1] = 0;
    EXPECT_EQ(f, (std::vector<float>{10, 0, 3}));
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
        ReplaceValueKernel::ReplacePairs(in.data(), out.data(), std::ssize(in), pairs.data(),
                                         static_cast<int64_t>(rows));
        EXPECT_EQ(out, LiteralPairs(in, pairs)) << trial;
    }
}

TEST(ReplaceValue, Errors) {
    auto grey = Grey8(CSize(2, 1), {1}), three = Grey8(CSize(3, 1), {1});
    auto words = Blank(IMAGE_GREY_16, CSize(2, 1)), wide = Blank(IMAGE_GREY_64, CSize(2, 1));
    CValueLong number(1);
    const SFailure failures[] = {
        {{}, "input image is NULL"},
        {{&number}, "input 0 is not an image"},
        {{wide.get()},
         "Unsupported image type, must be one of IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, "
         "IMAGE_GREY_F, or IMAGE_GREY_D."},
        {{grey.get(), &number}, "input 1 is not an image"},
        {{grey.get(), words.get()},
         "second input image is not of the same type as the first input image"},
        {{grey.get(), three.get()}, "number of columns of second input image is not equal to two"},
    };
    ExpectFailures<CPReplaceValue>("(utility plugins) ReplaceValue | ", failures);
}

TEST(ReplaceNonFinite, ReplacesEachKind) {
    CPReplaceNonFinite node;
    Configure(node, {{"pinf_value", 9}, {"ninf_value", 8.5}, {"nan_value", 7.0}});
    auto image = GreyF(CSize(5, 1), {1, INFINITY, -INFINITY, NaN, -0.0f});
    std::vector<float> out = Samples<float>(RunImage(node, {image.get()}));
    EXPECT_EQ(out, (std::vector<float>{1, 9, 8.5f, 7, 0}));
    EXPECT_TRUE(std::signbit(out[4]));
    auto bytes = Grey8(CSize(1, 1), {1});
    EXPECT_EQ(RunError(node, {bytes.get()}),
              "(utility plugins) ReplaceNonFinite::Run | input image is not of type IMAGE_GREY_F");
}
