#include "algorithms/PixelSelection.h"

#include <bit>
#include <cmath>

#include <gtest/gtest.h>

using namespace ORVA::Selection;

TEST(PixelSelection, SourcesAreCopiedBitForBit) {
    // A float condition: NaN is non-zero, -0 is zero.
    const float cond[3] = {std::nanf(""), 0.0f, -0.0f};
    const uint32_t then[3] = {0x7FC01234u, 1, 2};
    uint32_t out[3];
    Select(cond, SImage<uint32_t>{then}, SConstant<uint32_t>{0x80000000u}, out, 3);
    EXPECT_EQ(std::vector<uint32_t>(out, out + 3),
              (std::vector<uint32_t>{0x7FC01234u, 0x80000000u, 0x80000000u}));
}
