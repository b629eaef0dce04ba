#pragma once

// Reading single-channel images at fractional positions: pixel centres lie at integer
// coordinates; positions outside the image give an outside value.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <type_traits>

#include "tarsel.h"

namespace ORVA {

// The ways of reading between pixel centres, in the order of their names.
enum class EnInterpolation { BILINEAR, NEAREST };
inline constexpr const char* INTERPOLATIONS = "BILINEAR, NEAREST";

// a + t (b - a) for 0 <= t < 1, written so that t = 0 gives a whatever b holds (a NaN or an
// infinity beside a pixel centre does not leak into it) and equal ends give themselves.
inline double Lerp(double a, double b, double t) {
    if (t == 0.0 || a == b) return a;
    return (1.0 - t) * a + t * b;
}

// The value of `image` (size.x * size.y * size.z samples, x fastest) at (x, y, z).
// NEAREST takes the pixel whose centre is nearest (halves round up) and needs it inside the
// image: -0.5 <= x < width - 0.5. BILINEAR interpolates linearly between the neighbouring
// centres along every axis and needs 0 <= x <= width - 1 (likewise y and z). Elsewhere, and
// for non-finite positions, the result is `outside`.
template <EnInterpolation MODE, class T>
double SampleAt(const T* image, const CSize& size, double x, double y, double z, double outside) {
    const auto width = static_cast<double>(size.x), height = static_cast<double>(size.y),
               depth = static_cast<double>(size.z);
    auto at = [&](int64_t xi, int64_t yi, int64_t zi) {
        return static_cast<double>(image[(zi * size.y + yi) * size.x + xi]);
    };
    if constexpr (MODE == EnInterpolation::NEAREST) {
        const double xi = std::floor(x + 0.5), yi = std::floor(y + 0.5), zi = std::floor(z + 0.5);
        if (!(xi >= 0.0 && xi < width && yi >= 0.0 && yi < height && zi >= 0.0 && zi < depth))
            return outside;
        return at(static_cast<int64_t>(xi), static_cast<int64_t>(yi), static_cast<int64_t>(zi));
    } else {
        if (!(x >= 0.0 && x <= width - 1.0 && y >= 0.0 && y <= height - 1.0 && z >= 0.0 &&
              z <= depth - 1.0))
            return outside;
        const auto x0 = static_cast<int64_t>(x), y0 = static_cast<int64_t>(y),
                   z0 = static_cast<int64_t>(z);
        const double fx = x - static_cast<double>(x0), fy = y - static_cast<double>(y0),
                     fz = z - static_cast<double>(z0);
        // A fraction above 0 means the position lies before the last centre of its axis.
        const int64_t x1 = fx > 0.0 ? x0 + 1 : x0, y1 = fy > 0.0 ? y0 + 1 : y0;
        auto plane = [&](int64_t zi) {
            return Lerp(Lerp(at(x0, y0, zi), at(x1, y0, zi), fx),
                        Lerp(at(x0, y1, zi), at(x1, y1, zi), fx), fy);
        };
        return fz > 0.0 ? Lerp(plane(z0), plane(z0 + 1), fz) : plane(z0);
    }
}

// Calls f(std::integral_constant<EnInterpolation, MODE>, std::type_identity<T>) for `mode` and
// the sample type T of a single-channel `type`; false for colour types.
template <class F>
bool DispatchSampling(IImage::CType type, EnInterpolation mode, F&& f) {
    return DispatchGrey(type, [&]<class T>(std::type_identity<T> element) {
        if (mode == EnInterpolation::NEAREST)
            f(std::integral_constant<EnInterpolation, EnInterpolation::NEAREST>{}, element);
        else
            f(std::integral_constant<EnInterpolation, EnInterpolation::BILINEAR>{}, element);
    });
}

// Position i of `count` positions evenly spaced from a to b, both included, as numpy's linspace
// places them: a plus i times the step, the last exactly b, so that whole-number ends and steps
// give whole numbers. One position is a.
inline double EvenlySpaced(double a, double b, int64_t count, int64_t i) {
    const double delta = b - a;
    if (count < 2) return 0.0 * delta + a;
    if (i == count - 1) return b;
    const auto div = static_cast<double>(count - 1);
    const double step = delta / div;
    // A step that underflows to 0 would lose a tiny delta.
    if (step == 0.0) return static_cast<double>(i) / div * delta + a;
    return static_cast<double>(i) * step + a;
}

// `count` (>= 1) samples of the first plane of `image` at the positions EvenlySpaced gives from
// (x0, y0) to (x1, y1). Each sample's position and value go to a row of `table` (3 columns) and
// its value to `profile` unless that is null.
template <EnInterpolation MODE, class T>
void SampleSegment(const T* image, const CSize& size, double x0, double y0, double x1, double y1,
                   int64_t count, double outside, float* table, float* profile) {
    const CSize plane(size.x, size.y, std::min<int64_t>(size.z, 1));
    for (int64_t i = 0; i < count; ++i) {
        const double x = EvenlySpaced(x0, x1, count, i), y = EvenlySpaced(y0, y1, count, i);
        const auto value = static_cast<float>(SampleAt<MODE>(image, plane, x, y, 0.0, outside));
        table[3 * i] = static_cast<float>(x);
        table[3 * i + 1] = static_cast<float>(y);
        table[3 * i + 2] = value;
        if (profile) profile[i] = value;
    }
}

// Samples `image` at each row of `points` (`columns` wide): x in column xColumn, y in the next,
// z in column zColumn (the first plane when zColumn is negative). Row i of `table` (3 columns)
// gets x, y and the value; values[i] the value unless `values` is null.
template <EnInterpolation MODE, class T>
void SampleTable(const T* image, const CSize& size, const float* points, int64_t columns,
                 int64_t rows, int64_t xColumn, int64_t zColumn, double outside, float* table,
                 double* values) {
    for (int64_t i = 0; i < rows; ++i) {
        const float* row = points + i * columns;
        const float z = zColumn >= 0 ? row[zColumn] : 0.0f;
        const double value =
            SampleAt<MODE>(image, size, row[xColumn], row[xColumn + 1], z, outside);
        table[3 * i] = row[xColumn];
        table[3 * i + 1] = row[xColumn + 1];
        table[3 * i + 2] = static_cast<float>(value);
        if (values) values[i] = value;
    }
}

}  // namespace ORVA
