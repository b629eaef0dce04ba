#pragma once

// The bounding boxes of the labels of a label image: listed (ZoneList) or drawn
// (BoundingBox).
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "algorithms/Rectangles.h"
#include "image/Geometry.h"

namespace ORVA {

// The zone of one label: its box with the margins, and its extent without them.
struct SZone {
    SRectangle box;
    int64_t zmin, zmax;
    int64_t width, height, depth;
};

// The zones of labels 1 .. maxLabel (LabelOf) of `data` (size `size`): the smallest box of a
// label's pixels, grown by xoffset left and right and by yoffset above and below, each bound
// clipped on its own side. A label without pixels keeps the start values xmin = width, xmax = 0,
// ymin = height, ymax = 0, zmin = depth, zmax = 0, so its width is 1 - width. Defined for
// uint8_t, uint16_t, uint32_t and float.
template <class T>
std::vector<SZone> Zones(const T* data, const CSize& size, int64_t maxLabel, int64_t xoffset,
                         int64_t yoffset);

// The box a pixel value belongs to when every label has one: trunc(v - 1) for v above 0 (so
// floats up to 1 belong to box 0), else -1.
template <class T>
int64_t BoxIndex(T value);
// One more than the largest BoxIndex of `pixels` values; 0 when there is none.
template <class T>
int64_t BoxCount(const T* in, int64_t pixels);

// A box or background value as a sample of T: floats keep it (infinite beyond their range),
// integers take it truncated toward zero to 64 bits and keep the low bits (NaN and values
// beyond 64 bits give 0).
template <class T>
T BoxSample(double value) {
    if constexpr (std::is_floating_point_v<T>) {
        constexpr double limit = std::numeric_limits<T>::max();
        if (value > limit) return std::numeric_limits<T>::infinity();
        if (value < -limit) return -std::numeric_limits<T>::infinity();
        return static_cast<T>(value);
    } else {
        if (!(value > -9223372036854775808.0 && value < 9223372036854775808.0)) return 0;
        return static_cast<T>(static_cast<int64_t>(value));
    }
}

// Draws into `out` (width x height) the boxes of the pixels of `in` above 0: one box for all of
// them, or with `perLabel` one per BoxIndex below `count`. Each box found is shrunk by `shrink`
// pixels on every side (grown where it is negative), clipped to the plane, and drawn in index
// order, filled or as its outline, in `foreground`; a box whose bounds cross over is not drawn.
// Defined for uint8_t and float.
template <class T>
void DrawBoxes(const T* in, T* out, int64_t width, int64_t height, bool perLabel, int64_t count,
               bool fill, int64_t shrink, T foreground);

}  // namespace ORVA
