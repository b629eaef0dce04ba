#include "algorithms/RayProjection.h"

#include <bit>
#include <cmath>
#include <random>

#include <gtest/gtest.h>

using namespace ORVA::Rays;

TEST(RayProjection, PlaneByPlaneEqualsTheRayByRayLoop) {
    std::mt19937 random(9);
    const int64_t plane = 13 * 7, depth = 7;  // four planes in one pass, two more one by one
    std::vector<float> data(static_cast<size_t>(plane * depth));
    for (float& v : data)
        v = random() % 40 == 0 ? std::nanf("") : static_cast<float>(random() % 1000) - 500.0f;
    std::vector<float> maximum(plane), minimum(plane);
    Project<EnRay::MAXIMUM>(data.data(), maximum.data(), plane, depth);
    Project<EnRay::MINIMUM>(data.data(), minimum.data(), plane, depth);
    for (int64_t i = 0; i < plane; ++i) {
        float high = data[i], low = data[i];
        for (int64_t z = 1; z < depth; ++z) {
            float v = data[static_cast<size_t>(i + z * plane)];
            high = v > high ? v : high;
            low = v < low ? v : low;
        }
        ASSERT_EQ(std::bit_cast<uint32_t>(maximum[i]), std::bit_cast<uint32_t>(high)) << i;
        ASSERT_EQ(std::bit_cast<uint32_t>(minimum[i]), std::bit_cast<uint32_t>(low)) << i;
    }
}
