#pragma once

#include <cstdint>
#include <string>

#include "base/Export.h"

namespace ORVA {

// A position (x, y, z) in pixels.
struct TARSEL_API CPos {
    int64_t x = 0, y = 0, z = 0;

    constexpr CPos() = default;
    constexpr CPos(int64_t x_, int64_t y_, int64_t z_ = 0) : x(x_), y(y_), z(z_) {}

    constexpr int64_t& operator[](int axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    constexpr int64_t operator[](int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
    friend constexpr bool operator==(const CPos&, const CPos&) = default;

    // "(x, y, z)".
    std::string ToString() const;
};

// The extents of an image: width x, height y, depth z. Two extents mean a depth of 1.
struct TARSEL_API CSize : CPos {
    constexpr CSize() = default;
    constexpr CSize(int64_t width, int64_t height) : CPos(width, height, 1) {}
    constexpr CSize(int64_t width, int64_t height, int64_t depth) : CPos(width, height, depth) {}

    // The product of the extents; throws CException when it does not fit 64 bits.
    int64_t Elements() const;
    bool IsEmpty() const { return x == 0 || y == 0 || z == 0; }
    friend constexpr bool operator==(const CSize&, const CSize&) = default;
};

// A rectangle in the x-y plane: origin and extent.
struct TARSEL_API CRect {
    int64_t x = 0, y = 0, width = 0, height = 0;

    constexpr CRect() = default;
    constexpr CRect(int64_t x_, int64_t y_, int64_t width_, int64_t height_)
        : x(x_), y(y_), width(width_), height(height_) {}
    friend constexpr bool operator==(const CRect&, const CRect&) = default;

    // "(x, y; width x height)".
    std::string ToString() const;
};

// A box in space: origin and extent.
struct TARSEL_API CBox {
    int64_t x = 0, y = 0, z = 0, width = 0, height = 0, depth = 0;

    constexpr CBox() = default;
    constexpr CBox(int64_t x_, int64_t y_, int64_t z_, int64_t width_, int64_t height_,
                   int64_t depth_)
        : x(x_), y(y_), z(z_), width(width_), height(height_), depth(depth_) {}
    friend constexpr bool operator==(const CBox&, const CBox&) = default;

    // "(x, y, z; width x height x depth)".
    std::string ToString() const;
};

}  // namespace ORVA
