#pragma once

// Local maxima of grey images: pixels above a threshold that no pixel of the square around them
// exceeds, plateaus once, optionally the largest per label, strongest first.
#include <cstdint>
#include <memory>
#include <vector>

#include "image/Geometry.h"

namespace ORVA {

// A maximum: its pixel index in memory order and its value.
struct SPeak {
    int64_t index;
    double value;
};

// The maxima of every plane of `data` in raster order: pixels greater than `threshold` (not
// NaN) that no pixel within `radius` in x and y exceeds, each plateau (maxima of one value
// that touch in the 8-neighbourhood) by its first pixel. NaN pixels are never maxima and never
// hide one. A plane must have fewer than 2^32 - 1 pixels. Defined for uint8_t, uint16_t,
// uint32_t and float. The result takes over the memory of `storage` (not its contents), so that
// a caller that searches again and again allocates once.
template <class T>
std::vector<SPeak> LocalMaxima(const T* data, const CSize& size, int64_t radius, double threshold,
                               std::vector<SPeak> storage = {});

// The largest of `peaks` (in raster order) of each label 1 .. maxLabel of `labels` (LabelOf),
// the first of equal ones, in label order; peaks on the background are dropped. Defined for
// uint8_t and float labels.
template <class L>
std::vector<SPeak> LargestPerLabel(const std::vector<SPeak>& peaks, const L* labels,
                                   int64_t maxLabel);

// Strongest first: descending value, raster order among equal values (a stable sort of peaks
// that come in raster order); -0 and +0 are equal. `scratch` is working memory, kept by callers
// that sort again and again.
void SortStrongestFirst(std::vector<SPeak>& peaks, std::vector<SPeak>& scratch);

// The moving maximum of the maxima search: the largest sample of a square of 2r + 1 pixels
// around every pixel of a plane, clipped to the plane. NaN samples count as the lowest value.
// Radii up to DIRECT_RADIUS are filtered directly, row by row, keeping 2r + 1 rows; larger
// ones by the van Herk/Gil-Werman method, whose cost does not grow with the radius, on a whole
// plane.
namespace MaximumFilter {

constexpr int64_t DIRECT_RADIUS = 2;

template <class T>
class CPlaneMaximum {
  public:
    CPlaneMaximum(int64_t width, int64_t height, int64_t radius);
    // Starts on a plane of width x height samples, which must stay while its rows are read.
    void Start(const T* plane);
    // Row y of the filtered plane; rows must be asked for in ascending order. The row stays
    // valid until the next call.
    const T* Row(int64_t y);

  private:
    T* Kept(int64_t y) { return m_rows.get() + (m_direct ? y % m_kept : y) * m_width; }

    int64_t m_width, m_height, m_rx, m_ry;
    bool m_direct;
    int64_t m_kept;  // rows of row maxima kept: 2r + 1 for the direct method, else all
    std::unique_ptr<T[]> m_rows, m_forward, m_scratch, m_out;
    const T* m_plane = nullptr;
    int64_t m_next = 0;  // the next row whose row maxima are due (direct method)
};

}  // namespace MaximumFilter

}  // namespace ORVA
