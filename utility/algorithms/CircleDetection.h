#pragma once

// What the circle transforms share: the circles they find, the rows they list them in, and the
// suppression of centres too close to a stronger one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "CircleRaster.h"

namespace ORVA {

struct SHoughCircle {
    double x = 0, y = 0, r = 0, votes = 0;
    friend bool operator==(const SHoughCircle&, const SHoughCircle&) = default;
};

// The circles as rows x, y, r, votes of single-precision `table` (4 x circles.size()).
inline void CircleRows(const std::vector<SHoughCircle>& circles, float* table) {
    for (const SHoughCircle& circle : circles) {
        *table++ = static_cast<float>(circle.x);
        *table++ = static_cast<float>(circle.y);
        *table++ = static_cast<float>(circle.r);
        *table++ = static_cast<float>(circle.votes);
    }
}

// Whether one of `count` values reaches `enough`, in a pass of comparisons that vectorises: the
// accumulators are searched block by block, and most blocks hold no candidate.
inline bool AnyReaches(const float* values, int64_t count, float enough) {
    int any = 0;
    for (int64_t i = 0; i < count; ++i)
        any |= values[i] >= enough;
    return any != 0;
}

// The centres of a width x height grid that lie closer than `distance` (1 to 2^31 - 1) to a centre
// taken before. Each taken centre marks its disc once, and the centres taken are at least
// `distance` apart, so the marking costs a few passes over the grid at most.
class CCentreSuppression {
  public:
    CCentreSuppression(int64_t width, int64_t height, int64_t distance)
        : m_width(width),
          m_height(height),
          m_distance(distance),
          m_marked(static_cast<size_t>(width * height), 0) {}

    bool Suppressed(int64_t x, int64_t y) const { return m_marked[y * m_width + x] != 0; }

    void Take(int64_t x, int64_t y) {
        const int64_t squared = m_distance * m_distance;
        const int64_t top = std::max<int64_t>(0, y - (m_distance - 1));
        const int64_t bottom = std::min(m_height - 1, y + (m_distance - 1));
        for (int64_t row = top; row <= bottom; ++row) {
            // The largest |dx| with dx^2 + dy^2 < distance^2.
            const int64_t span = std::min(FloorSqrt(squared - (row - y) * (row - y) - 1), m_width);
            const int64_t left = std::max<int64_t>(0, x - span);
            const int64_t right = std::min(m_width - 1, x + span);
            std::fill(m_marked.begin() + row * m_width + left,
                      m_marked.begin() + row * m_width + right + 1, uint8_t{1});
        }
    }

  private:
    int64_t m_width, m_height, m_distance;
    std::vector<uint8_t> m_marked;
};

}  // namespace ORVA
