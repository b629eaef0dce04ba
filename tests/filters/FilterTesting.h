#pragma once

// Small planes for the filter tests: built from lists, filled from fixed seeds, compared whole.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <vector>

#include "Plane.h"

namespace FilterTesting {

// A plane that owns its samples; rows may be padded to check that strides are honoured.
template <class T>
struct SImage {
    int64_t width = 0, height = 0, stride = 0;
    std::vector<T> samples;

    SImage(int64_t w, int64_t h, int64_t padding = 0)
        : width(w),
          height(h),
          stride(w + padding),
          samples(static_cast<size_t>((w + padding) * h)) {}
    SImage(int64_t w, int64_t h, std::vector<T> values)
        : width(w), height(h), stride(w), samples(std::move(values)) {}
    SImage(int64_t w, int64_t h, std::initializer_list<T> values)
        : width(w), height(h), stride(w), samples(values) {}

    ORVA::Filters::SPlane<T> Plane() { return {samples.data(), width, height, stride}; }
    ORVA::Filters::SPlane<const T> In() const { return {samples.data(), width, height, stride}; }
    T& At(int64_t x, int64_t y) { return samples[static_cast<size_t>(y * stride + x)]; }
    T At(int64_t x, int64_t y) const { return samples[static_cast<size_t>(y * stride + x)]; }
    // The samples without the row padding.
    std::vector<T> Values() const {
        std::vector<T> v;
        for (int64_t y = 0; y < height; ++y)
            for (int64_t x = 0; x < width; ++x)
                v.push_back(At(x, y));
        return v;
    }
};

// f(x, y) at every pixel, in raster order.
template <class T, class F>
SImage<T> Filled(int64_t w, int64_t h, F f, int64_t padding = 0) {
    SImage<T> image(w, h, padding);
    for (int64_t y = 0; y < h; ++y)
        for (int64_t x = 0; x < w; ++x)
            image.At(x, y) = static_cast<T>(f(x, y));
    return image;
}

// Uniform samples in [low, high] from a fixed seed.
template <class T>
SImage<T> Random(int64_t w, int64_t h, double low, double high, unsigned seed,
                 int64_t padding = 0) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> uniform(low, high);
    return Filled<T>(
        w, h, [&](int64_t, int64_t) { return uniform(random); }, padding);
}

}  // namespace FilterTesting
