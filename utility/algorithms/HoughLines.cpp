#include "HoughLines.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace ORVA {

namespace {

// D of the transforms: the diagonal in single precision.
float Diagonal(int64_t width, int64_t height) {
    return std::sqrt(static_cast<float>(height * height + width * width));
}

// trunc(q) + half as an index below `count`, if it is one. The bound keeps the conversion
// defined for NaN, infinities and huge quotients.
bool LineIndex(float q, int64_t half, int64_t count, int64_t& index) {
    if (!(std::fabs(q) < 4.0e18f)) return false;
    index = static_cast<int64_t>(q) + half;
    return index >= 0 && index < count;
}

// Column offsets trunc(width * r / distance) of the points (xs, ys) at one angle. The clamp
// only bounds the conversion: |W * r / D| stays below W / 2 plus rounding. Each lane does the
// same single-precision operations (no contraction), so the wider clone gives the same bits.
__attribute__((target_clones("avx2", "default"))) void ForwardColumns(const float* xs,
                                                                      const float* ys, size_t count,
                                                                      float s, float c, float width,
                                                                      float distance,
                                                                      int32_t* columns) {
    constexpr float LIMIT = 2147483520.0f;  // the largest float below 2^31
    for (size_t i = 0; i < count; ++i) {
        float r = xs[i] * c + ys[i] * s;
        float q = width * r / distance;
        q = q < LIMIT ? q : LIMIT;
        q = q > -LIMIT ? q : -LIMIT;
        columns[i] = static_cast<int32_t>(q);
    }
}

}  // namespace

SHoughAngles::SHoughAngles(int64_t count) : sin(static_cast<size_t>(count)), cos(sin.size()) {
    const float step = static_cast<float>(std::numbers::pi / static_cast<double>(count));
    float angle = 0.0f;
    for (size_t k = 0; k < sin.size(); ++k) {
        sin[k] = std::sin(angle);
        cos[k] = std::cos(angle);
        angle += step;
    }
}

void HoughForward(const float* image, int64_t width, int64_t height, float* accumulator) {
    const SHoughAngles angles(height);
    const float distance = Diagonal(width, height);
    const int64_t halfWidth = width / 2, halfHeight = height / 2;

    // Every vote adds 1.0, so a bin's sum does not depend on the order of its votes: the
    // pixels are gathered in batches, and each batch fills one angle's row after the other
    // while that row stays in cache.
    constexpr size_t BATCH = 32768;
    std::vector<float> xs, ys;
    std::vector<int32_t> columns(BATCH);
    xs.reserve(BATCH);
    ys.reserve(BATCH);
    const auto limit = static_cast<uint64_t>(width);
    auto vote = [&] {
        for (int64_t k = 0; k < height; ++k) {
            ForwardColumns(xs.data(), ys.data(), xs.size(), angles.sin[k], angles.cos[k],
                           static_cast<float>(width), distance, columns.data());
            float* row = accumulator + k * width;
            for (size_t i = 0; i < xs.size(); ++i) {
                const int64_t column = columns[i] + halfWidth;
                if (static_cast<uint64_t>(column) < limit) row[column] += 1.0f;
            }
        }
        xs.clear();
        ys.clear();
    };
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x)
            if (image[y * width + x] > 0.0f) {
                xs.push_back(static_cast<float>(x - halfWidth));
                ys.push_back(static_cast<float>(y - halfHeight));
                if (xs.size() == BATCH) vote();
            }
    vote();
}

void HoughBackward(const float* accumulator, int64_t width, int64_t height, float* image) {
    const SHoughAngles angles(height);
    const float distance = Diagonal(width, height);
    // Lines of different weights meet in a pixel, so the order of drawing is kept: column by
    // column, angle by angle.
    for (int64_t j = 0; j < width; ++j) {
        const float r = static_cast<float>(j - width / 2) * distance / static_cast<float>(width);
        for (int64_t k = 0; k < height; ++k) {
            const float value = accumulator[k * width + j];
            if (value > 0.0f)
                HoughDrawLine(angles.sin[k], angles.cos[k], r, value, image, width, height);
        }
    }
}

void HoughBackwardSmart(const float* list, int64_t columns, float* image, int64_t width,
                        int64_t height) {
    if (columns < 2) return;
    const float distance = Diagonal(width, height);
    const int64_t bins = width;
    const float* distances = list;
    const float* angles = list + columns;
    const float* weights = list + 2 * columns;
    for (int64_t i = 1; i < columns; ++i) {
        const double theta =
            static_cast<double>(angles[i]) * std::numbers::pi / static_cast<double>(angles[0]);
        const float r =
            (distances[i] - static_cast<float>(bins / 2)) * distance / static_cast<float>(bins);
        HoughDrawLine(static_cast<float>(std::sin(theta)), static_cast<float>(std::cos(theta)), r,
                      weights[i], image, width, height);
    }
}

void HoughDrawLine(float s, float c, float r, float weight, float* image, int64_t width,
                   int64_t height) {
    const int64_t halfWidth = width / 2, halfHeight = height / 2;
    int64_t index = 0;
    // Dividing by the larger of s and |c| hits exactly one pixel per column or per row.
    if (s >= std::sqrt(0.5f)) {
        for (int64_t x = 0; x < width; ++x)
            if (LineIndex((r - static_cast<float>(x - halfWidth) * c) / s, halfHeight, height,
                          index))
                image[index * width + x] += weight;
    } else {
        for (int64_t y = 0; y < height; ++y)
            if (LineIndex((r - static_cast<float>(y - halfHeight) * s) / c, halfWidth, width,
                          index))
                image[y * width + index] += weight;
    }
}

}  // namespace ORVA
