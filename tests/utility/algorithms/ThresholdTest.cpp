#include "algorithms/Threshold.h"

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <limits>

using namespace ORVA;

TEST(Threshold, AboveIsExact) {
    // Integers: the smallest one above, none when it is beyond the type.
    EXPECT_TRUE(CAbove<uint8_t>(-0.5)(0));
    EXPECT_TRUE(CAbove<uint8_t>(254.5)(255) && !CAbove<uint8_t>(254.5)(254));
    EXPECT_TRUE(CAbove<uint8_t>(255).None());
    EXPECT_TRUE(CAbove<uint32_t>(16777216.5)(16777217u) &&
                !CAbove<uint32_t>(16777216.5)(16777216u));
    // Floats: the smallest float above, strictly; infinities and NaN.
    EXPECT_TRUE(CAbove<float>(0.1)(0.1f));  // 0.1f is a little more than 0.1
    EXPECT_FALSE(CAbove<float>(double(0.1f))(0.1f));
    EXPECT_FALSE(CAbove<float>(-INFINITY)(-INFINITY));
    EXPECT_TRUE(CAbove<float>(-INFINITY)(-std::numeric_limits<float>::max()));
    EXPECT_TRUE(CAbove<float>(1e39)(INFINITY) && !CAbove<float>(1e39)(FLT_MAX));
    EXPECT_TRUE(CAbove<float>(INFINITY).None());
    EXPECT_FALSE(CAbove<float>(-1)(std::nanf("")));
}
