#include "algorithms/PixelSums.h"

#include <gtest/gtest.h>

#include <random>
#include <utility>
#include <vector>

using namespace ORVA;

namespace {

// The sums in their plain form: pixel by pixel, in double.
template <class T>
std::pair<double, double> LiteralSums(const std::vector<T>& values) {
    double s = 0.0, q = 0.0;
    for (T v : values) {
        s += static_cast<double>(v);
        if constexpr (sizeof(T) == 1)
            q += static_cast<double>(int32_t(v) * int32_t(v));
        else if constexpr (sizeof(T) == 2)
            q += static_cast<double>(static_cast<int32_t>(uint32_t(v) * uint32_t(v)));
        else
            q += static_cast<double>(uint32_t(v * v));
    }
    return {s, q};
}

template <class T>
void ExpectLiteralSums(const std::vector<T>& values) {
    double s = -1, q = -1;
    SumAndSquares(values.data(), static_cast<int64_t>(values.size()), s, q);
    auto [literalS, literalQ] = LiteralSums(values);
    EXPECT_EQ(s, literalS) << values.size();
    EXPECT_EQ(q, literalQ) << values.size();
}

}  // namespace

TEST(PixelSums, IntegerSumsEqualThePixelByPixelSums) {
    std::mt19937 random(3);
    std::vector<uint8_t> bytes(100003);
    for (uint8_t& v : bytes)
        v = static_cast<uint8_t>(random());
    ExpectLiteralSums(bytes);
    std::vector<uint16_t> shorts(100003);
    for (uint16_t& v : shorts)
        v = static_cast<uint16_t>(random());
    ExpectLiteralSums(shorts);
    std::vector<uint32_t> longs(1000);
    for (uint32_t& v : longs)
        v = static_cast<uint32_t>(random());
    ExpectLiteralSums(longs);
    // Sums beyond 2^53, where the double additions round.
    longs.resize(size_t(1) << 22);
    for (uint32_t& v : longs)
        v = 0x80000000u | static_cast<uint32_t>(random());
    ExpectLiteralSums(longs);
    shorts.assign(size_t(1) << 23, 0);
    for (uint16_t& v : shorts)
        v = static_cast<uint16_t>(46341 + random() % 19000);
    ExpectLiteralSums(shorts);
}
