#pragma once

// Thin curves traced pixel by pixel: each curve numbered, each pixel indexed along its curve
// with its arc length.
#include <cstddef>
#include <cstdint>
#include <vector>

namespace ORVA {

// The curve pixels of a plane as a mask with a border of one blank pixel all round:
// (width + 2) x (height + 2) bytes, 1 where the plane is not 0 (NaN included).
template <class T>
std::vector<uint8_t> CurveMask(const T* plane, int64_t width, int64_t height) {
    const int64_t paddedWidth = width + 2;
    std::vector<uint8_t> mask(static_cast<size_t>(paddedWidth * (height + 2)), 0);
    for (int64_t y = 0; y < height; ++y) {
        const T* in = plane + y * width;
        uint8_t* out = mask.data() + (y + 1) * paddedWidth + 1;
        for (int64_t x = 0; x < width; ++x)
            out[x] = in[x] != 0;
    }
    return mask;
}

// Traces every curve of `mask`, a CurveMask of a plane `width` wide (it is used as working
// state), and writes one row (curve, index, x, y, arc length) per curve pixel to `table`, 5 x
// the number of curve pixels floats, in the order of tracing, and each pixel's index to
// `indices` (unless it is null), the plane's pixels, which start at 0. Returns the number of
// curves.
int64_t TraceCurves(std::vector<uint8_t>& mask, int64_t width, float* table, float* indices);

}  // namespace ORVA
