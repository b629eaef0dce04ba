#pragma once

// The coordinates of selected pixels, as rows of a table.
#include <cstdint>

#include "image/Geometry.h"

namespace ORVA {

// The number of samples of selection[0 .. count) that are not 0 (NaN included).
inline int64_t CountSelected(const float* selection, int64_t count) {
    int64_t selected = 0;
    for (int64_t i = 0; i < count; ++i)
        selected += selection[i] != 0;
    return selected;
}

// For every i < count whose selection[i] is not 0, in order, writes one row to `out`: values[i]
// (only `withValue`), then x, y and (only `withZ`) z of index i in an image of `size`.
inline void ListCoordinates(const float* values, const float* selection, int64_t count,
                            const CSize& size, bool withValue, bool withZ, float* out) {
    const int64_t planeSize = size.x * size.y;
    for (int64_t i = 0; i < count; ++i) {
        if (selection[i] == 0) continue;
        if (withValue) *out++ = values[i];
        *out++ = static_cast<float>(i % size.x);
        *out++ = static_cast<float>(i / size.x % size.y);
        if (withZ) *out++ = static_cast<float>(i / planeSize);
    }
}

}  // namespace ORVA
