#include "algorithms/PixelSums.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

using namespace ORVA;

namespace {

// Expects the sums of `count` samples drawn from `draw` to be those added one by one in
// double, the squares formed as written here.
template <class T, class Draw>
void ExpectLiteralSums(int64_t count, Draw draw) {
    std::vector<T> values(static_cast<size_t>(count));
    double s = 0.0, q = 0.0;
    for (T& v : values) {
        v = static_cast<T>(draw());
        s += static_cast<double>(v);
        if constexpr (sizeof(T) == 1)
            q += static_cast<double>(int32_t(v) * int32_t(v));
        else if constexpr (sizeof(T) == 2)
            q += static_cast<double>(static_cast<int32_t>(uint32_t(v) * uint32_t(v)));
        else
            q += static_cast<double>(uint32_t(v * v));
    }
    double sum = -1, squares = -1;
    SumAndSquares(values.data(), count, sum, squares);
    EXPECT_EQ(sum, s) << count;
    EXPECT_EQ(squares, q) << count;
}

}  // namespace

TEST(PixelSums, IntegerSumsEqualThePixelByPixelSums) {
    std::mt19937 random(3);
    ExpectLiteralSums<uint8_t>(100003, [&] { return random(); });
    ExpectLiteralSums<uint16_t>(100003, [&] { return random(); });
    ExpectLiteralSums<uint32_t>(1000, [&] { return random(); });
    // Sums beyond 2^53, where the double additions round.
    ExpectLiteralSums<uint32_t>(int64_t(1) << 22, [&] { return 0x80000000u | random(); });
    ExpectLiteralSums<uint16_t>(int64_t(1) << 23, [&] { return 46341 + random() % 19000; });
}
