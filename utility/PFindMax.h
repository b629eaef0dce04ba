#pragma once

#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "NodeSupport.h"

namespace ORVA {

// Finds the local maxima of a grey image, optionally only the largest one of every label.
class CPFindMax : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // A maximum: its pixel index in memory order and its value.
    struct SPeak {
        int64_t index;
        double value;
    };

    // The maxima of every plane of `data` in raster order: pixels greater than `threshold`
    // that no pixel within `radius` in x and y exceeds, each plateau (maxima of one value
    // that touch in the 8-neighbourhood) by its first pixel.
    template <class T>
    static std::vector<SPeak> Maxima(const T* data, const CSize& size, int64_t radius,
                                     double threshold);

  private:
    double m_threshold = 0.0;
    int32_t m_radius = 1;
    int32_t m_maxCount = 0;
};

// The moving maximum of the maxima search. NaN samples count as the lowest value.
namespace MaximumFilter {

template <class T>
constexpr T Lowest() {
    if constexpr (std::is_floating_point_v<T>)
        return -std::numeric_limits<T>::infinity();
    else
        return std::numeric_limits<T>::lowest();
}

template <class T>
inline T Larger(T a, T b) {
    return a > b ? a : b;
}

// Radii up to this are filtered directly, larger ones by the van Herk/Gil-Werman method, whose
// cost does not grow with the radius.
constexpr int64_t DIRECT_RADIUS = 2;

// The maximum of `row[max(0, x - r) .. min(width - 1, x + r)]` for every x. `scratch` holds
// 2 * (width + 2 r) samples.
template <class T>
void FilterRow(const T* row, T* out, int64_t width, int64_t r, T* scratch);

// Prepares a plane of row maxima (`height` rows of `width` samples) for FilterColumn: for
// radii above DIRECT_RADIUS it writes the forward block maxima into `forward` (a plane) and
// turns `plane` into the backward ones; smaller radii need nothing.
template <class T>
void PrepareColumns(T* plane, T* forward, int64_t width, int64_t height, int64_t r);

// Row y of the maximum along y over rows max(0, y - r) .. min(height - 1, y + r) of the plane
// PrepareColumns prepared.
template <class T>
void FilterColumn(const T* plane, const T* forward, int64_t width, int64_t height, int64_t r,
                  int64_t y, T* out);

}  // namespace MaximumFilter

}  // namespace ORVA
