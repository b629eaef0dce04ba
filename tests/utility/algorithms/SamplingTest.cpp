#include "algorithms/Sampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace ORVA;

TEST(Sampling, ValuesAtCentresBetweenThemAndOutside) {
    // Two planes of 3 x 2: 0 10 20 / 100 110 120, and 1000 more in the second; a row with a NaN
    // and an infinity, which stay out of the pixel centres beside them.
    const std::vector<float> ramp = {0, 10, 20, 100, 110, 120, 1000, 1010, 1020, 1100, 1110, 1120};
    const std::vector<double> broken = {4.0, NAN, INFINITY};
    constexpr auto NEAREST = EnInterpolation::NEAREST;
    constexpr auto BILINEAR = EnInterpolation::BILINEAR;
    struct Case {
        EnInterpolation mode;
        bool inRamp;
        double x, y, z, expected;
    } cases[] = {
        // Pixel centres lie at integers; the last centre is still inside.
        {BILINEAR, true, 2, 1, 0, 120},
        {BILINEAR, true, 0.5, 0.5, 0, 55},
        {BILINEAR, true, 1.75, 1, 0, 117.5},
        {BILINEAR, true, 2.001, 1, 0, -1},
        {BILINEAR, true, 0, 1.5, 0, -1},
        {BILINEAR, true, NAN, 0, 0, -1},
        // Linear along z as well.
        {BILINEAR, true, 1, 0, 0.25, 260},
        {BILINEAR, true, 0.5, 1, 1, 1105},
        {BILINEAR, true, 1, 0, 1.01, -1},
        // Halves round up; half a pixel around the centres is inside.
        {NEAREST, true, 0.5, 0, 0, 10},
        {NEAREST, true, -0.5, 0, 0, 0},
        {NEAREST, true, -0.51, 0, 0, -1},
        {NEAREST, true, 2.5, 0, 0, -1},
        {NEAREST, true, 1, 0, 0.5, 1010},
        {BILINEAR, false, 0, 0, 0, 4},
        {BILINEAR, false, 0.5, 0, 0, NAN},
        {BILINEAR, false, 2, 0, 0, INFINITY},
        {BILINEAR, false, 1.5, 0, 0, NAN},
    };
    for (const Case& c : cases) {
        auto at = [&]<EnInterpolation MODE>() {
            return c.inRamp ? SampleAt<MODE>(ramp.data(), CSize(3, 2, 2), c.x, c.y, c.z, -1.0)
                            : SampleAt<MODE>(broken.data(), CSize(3, 1), c.x, c.y, c.z, -1.0);
        };
        const double value =
            c.mode == NEAREST ? at.operator()<NEAREST>() : at.operator()<BILINEAR>();
        EXPECT_TRUE(value == c.expected || (std::isnan(value) && std::isnan(c.expected)))
            << c.x << ", " << c.y << ", " << c.z << ": " << value;
    }
}
