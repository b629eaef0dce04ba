#include "algorithms/Histogram.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

using namespace ORVA;

TEST(Histogram, BytesAreBinnedAsTheirFloatValues) {
    // Bytes are counted by value and then binned; floats one by one by the formula.
    std::mt19937 random(11);
    std::vector<uint8_t> bytes(4099);
    for (uint8_t& b : bytes)
        b = static_cast<uint8_t>(random());
    std::vector<float> floats(bytes.begin(), bytes.end());
    struct Range {
        double low, high;
        int64_t bins;
    } ranges[] = {{0, 255, 256},  {0, 255, 7},       {-3.5, 100.25, 13},
                  {17, 18, 1000}, {0.1, 254.9, 255}, {200, 1e6, 3}};
    for (const Range& r : ranges) {
        std::vector<uint64_t> byBytes(static_cast<size_t>(r.bins)), byPixels(byBytes);
        CountHistogram(bytes.data(), std::ssize(bytes), r.low, r.high, r.bins, byBytes.data());
        CountHistogram(floats.data(), std::ssize(floats), r.low, r.high, r.bins, byPixels.data());
        EXPECT_EQ(byBytes, byPixels) << r.low << " " << r.high << " " << r.bins;
    }
}

TEST(Histogram, JointEntropiesInBits) {
    const double h = -0.75 * std::log2(0.75) - 0.25 * std::log2(0.25);  // H(1/4)
    // Two bins per axis: counts(i, j) at j * 2 + i, i from the first image.
    struct Case {
        std::vector<uint64_t> counts;
        double mutual, normalized;
    } cases[] = {
        {{2, 0, 0, 2}, 1, 2},                        // identical
        {{1, 1, 1, 1}, 0, 1},                        // independent
        {{0, 0, 0, 3}, 0, 2},                        // one bin
        {{0, 0, 0, 0}, 0, 0},                        // nothing counted
        {{2, 0, 1, 1}, h + 1 - 1.5, (h + 1) / 1.5},  // H(A) + H(B) - H(A, B)
    };
    for (const Case& c : cases) {
        const SEntropies entropies = JointEntropies(c.counts.data(), 2);
        EXPECT_NEAR(entropies.mutual, c.mutual, 1e-15) << c.counts[0];
        EXPECT_NEAR(entropies.Normalized(), c.normalized, 1e-15) << c.counts[0];
    }
}
