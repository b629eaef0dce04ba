#include "algorithms/Sampling.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

using namespace ORVA;

TEST(Sampling, PositionsAreNumpysLinspace) {
    // The values numpy.linspace(a, b, count) gives; interpolating between the ends instead
    // puts the second of -1 to 5 at -1.1e-16 and drifts in the last bits elsewhere.
    struct Case {
        double a, b;
        std::vector<double> expected;
    } cases[] = {
        {-1, 5, {-1, 0, 1, 2, 3, 4, 5}},
        {0.1, 0.7, {0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7}},
        {0,
         1,
         {0.0, 0.1111111111111111, 0.2222222222222222, 0.3333333333333333, 0.4444444444444444,
          0.5555555555555556, 0.6666666666666666, 0.7777777777777777, 0.8888888888888888, 1.0}},
        {10, -0.3, {10, 7.425, 4.85, 2.2749999999999995, -0.3}},
        {7.25, 7.25, {7.25, 7.25, 7.25}},
        // A step that underflows to 0: numpy scales the difference instead.
        {0, 5e-324, {0, 0, 5e-324, 5e-324}},
        {2, 7, {2}},
    };
    for (const Case& c : cases) {
        const auto count = static_cast<int64_t>(c.expected.size());
        std::vector<double> positions;
        for (int64_t i = 0; i < count; ++i)
            positions.push_back(EvenlySpaced(c.a, c.b, count, i));
        EXPECT_EQ(positions, c.expected) << c.a << " to " << c.b;
    }
}

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
