#include "algorithms/LabelBoxes.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "algorithms/LabelValues.h"

namespace ORVA {

template <class T>
std::vector<SZone> Zones(const T* data, const CSize& size, int64_t maxLabel, int64_t xoffset,
                         int64_t yoffset) {
    std::vector<SZone> zones(static_cast<size_t>(std::max<int64_t>(maxLabel, 0)),
                             SZone{{size.x, 0, size.y, 0}, size.z, 0, 0, 0, 0});
    const T* pixel = data;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y)
            for (int64_t x = 0; x < size.x; ++x) {
                const int64_t label = LabelOf(*pixel++);
                if (label == NO_LABEL || label > maxLabel) continue;
                SZone& zone = zones[static_cast<size_t>(label - 1)];
                zone.box.xmin = std::min(zone.box.xmin, x);
                zone.box.xmax = std::max(zone.box.xmax, x);
                zone.box.ymin = std::min(zone.box.ymin, y);
                zone.box.ymax = std::max(zone.box.ymax, y);
                zone.zmin = std::min(zone.zmin, z);
                zone.zmax = std::max(zone.zmax, z);
            }
    for (SZone& zone : zones) {
        zone.width = zone.box.xmax - zone.box.xmin + 1;
        zone.height = zone.box.ymax - zone.box.ymin + 1;
        zone.depth = zone.zmax - zone.zmin + 1;
        zone.box = Grown(zone.box, size.x, size.y, xoffset, xoffset, yoffset, yoffset);
        zone.zmin = std::max<int64_t>(0, zone.zmin);
        zone.zmax = std::min(size.z - 1, zone.zmax);
    }
    return zones;
}

template std::vector<SZone> Zones(const uint8_t*, const CSize&, int64_t, int64_t, int64_t);
template std::vector<SZone> Zones(const uint16_t*, const CSize&, int64_t, int64_t, int64_t);
template std::vector<SZone> Zones(const uint32_t*, const CSize&, int64_t, int64_t, int64_t);
template std::vector<SZone> Zones(const float*, const CSize&, int64_t, int64_t, int64_t);

template <class T>
int64_t BoxIndex(T value) {
    if (!(value > 0)) return -1;
    double index = std::trunc(static_cast<double>(value) - 1.0);
    return index < 9.2e18 ? static_cast<int64_t>(index) : std::numeric_limits<int64_t>::max() - 1;
}

template <class T>
int64_t BoxCount(const T* in, int64_t pixels) {
    int64_t count = 0;
    for (int64_t i = 0; i < pixels; ++i)
        count = std::max(count, BoxIndex(in[i]) + 1);
    return count;
}

template <class T>
void DrawBoxes(const T* in, T* out, int64_t width, int64_t height, bool perLabel, int64_t count,
               bool fill, int64_t shrink, T foreground) {
    // Boxes start empty, at the start values of Bounds.
    std::vector<SRectangle> boxes(static_cast<size_t>(perLabel ? count : 1),
                                  SRectangle{width, -1, height, -1});
    for (int64_t y = 0; y < height; ++y)
        for (int64_t x = 0; x < width; ++x) {
            const T value = in[y * width + x];
            if (!(value > 0)) continue;
            SRectangle& box = boxes[static_cast<size_t>(perLabel ? BoxIndex(value) : 0)];
            box.xmin = std::min(box.xmin, x);
            box.xmax = std::max(box.xmax, x);
            box.ymin = std::min(box.ymin, y);
            box.ymax = std::max(box.ymax, y);
        }
    for (const SRectangle& found : boxes) {
        if (found.Empty()) continue;
        const SRectangle box = Grown(found, width, height, -shrink, -shrink, -shrink, -shrink);
        if (box.Empty()) continue;
        if (fill) {
            FillRectangle(out, width, box, foreground);
            continue;
        }
        for (int64_t y = box.ymin; y <= box.ymax; ++y) {
            out[y * width + box.xmin] = foreground;
            out[y * width + box.xmax] = foreground;
        }
        for (int64_t x = box.xmin; x <= box.xmax; ++x) {
            out[box.ymin * width + x] = foreground;
            out[box.ymax * width + x] = foreground;
        }
    }
}

template int64_t BoxIndex(uint8_t);
template int64_t BoxIndex(float);
template int64_t BoxCount(const uint8_t*, int64_t);
template int64_t BoxCount(const float*, int64_t);
template void DrawBoxes(const uint8_t*, uint8_t*, int64_t, int64_t, bool, int64_t, bool, int64_t,
                        uint8_t);
template void DrawBoxes(const float*, float*, int64_t, int64_t, bool, int64_t, bool, int64_t,
                        float);

}  // namespace ORVA
