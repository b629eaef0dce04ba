#include "algorithms/ValueReplacement.h"

#include <cmath>
#include <random>

#include <gtest/gtest.h>

using namespace ORVA::Replacement;

namespace {

const float NaN = std::nanf("");

template <class T>
std::vector<T> ByTable(std::vector<T> in, std::vector<T> pairs) {
    std::vector<T> out(in.size());
    ReplaceByTable(in.data(), out.data(), std::ssize(in), pairs.data(), std::ssize(pairs) / 2);
    return out;
}

// The pair table the literal way: each pixel against every row in order, the last match wins.
template <class T>
std::vector<T> LiteralPairs(const std::vector<T>& in, const std::vector<T>& pairs) {
    std::vector<T> out = in;
    for (size_t i = 0; i < in.size(); ++i)
        for (size_t row = 0; row < pairs.size() / 2; ++row)
            if (in[i] == pairs[2 * row]) out[i] = pairs[2 * row + 1];
    return out;
}

}  // namespace

TEST(ValueReplacement, SingleValues) {
    std::vector<uint8_t> bytes = {44, 45}, replaced(2);
    ReplaceValue(bytes.data(), replaced.data(), 2, 300.0f, 7.9f);  // low byte of 300, truncated 7
    EXPECT_EQ(replaced, (std::vector<uint8_t>{7, 45}));
    std::vector<float> floats = {NaN, 1, -0.0f}, out(3);
    ReplaceValue(floats.data(), out.data(), 3, NaN, 4.0f);
    EXPECT_EQ(out, (std::vector<float>{4, 1, 0}));
    ReplaceValue(floats.data(), out.data(), 3, 0.0f, 5.0f);  // -0 equals 0
    EXPECT_EQ(out[2], 5.0f);
    // Doubles meet a source that passed through float.
    std::vector<double> doubles = {0.1, double(0.1f)}, outD(2);
    ReplaceValue(doubles.data(), outD.data(), 2, 0.1f, 9.0f);
    EXPECT_EQ(outD, (std::vector<double>{0.1, 9}));
}

TEST(ValueReplacement, PairTables) {
    // Later rows win; bytes and words go through a lookup table.
    EXPECT_EQ(ByTable<uint8_t>({1, 2, 3}, {1, 10, 1, 20, 3, 1}), (std::vector<uint8_t>{20, 2, 1}));
    EXPECT_EQ(ByTable<uint16_t>({1, 2, 65535}, {65535, 0, 2, 7}), (std::vector<uint16_t>{1, 7, 0}));
    EXPECT_EQ(ByTable<uint32_t>({5, 6}, {5, 1, 5, 2, 6, 3}), (std::vector<uint32_t>{2, 3}));
    // A NaN source turns NaN pixels into the destination of the first such row; the other rows
    // are ignored.
    EXPECT_EQ(ByTable<float>({1, NaN, 2}, {1, 10, NaN, 0, NaN, 5}), (std::vector<float>{1, 0, 2}));
    std::vector<float> f = ByTable<float>({1, NaN, -0.0f}, {1, 10, 0, 3});
    EXPECT_TRUE(std::isnan(f[1]));
    EXPECT_EQ(f[2], 3.0f);
}

TEST(ValueReplacement, SortedTableEqualsTheLiteralScan) {
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
        ReplacePairs(in.data(), out.data(), std::ssize(in), pairs.data(),
                     static_cast<int64_t>(rows));
        EXPECT_EQ(out, LiteralPairs(in, pairs)) << trial;
    }
}
