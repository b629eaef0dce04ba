#pragma once

// Moments of the labels of a label image: per label the sum of the pixel weights and of the
// weights times x, y and z.
#include <bit>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "algorithms/LabelValues.h"
#include "image/Geometry.h"

namespace ORVA {

struct SLabelMoments {
    double weight = 0.0, x = 0.0, y = 0.0, z = 0.0;
};

// Adds every pixel with a label 1 .. maxLabel (LabelOf) to moments[label] (moments has
// maxLabel + 1 entries; entry 0 collects the rest): with weight 1, or with its weight when
// `weights` (of the labels' size) is not null. Each sum is added up in double, run by run along
// the rows.
template <class L, class W>
void AccumulateMoments(const L* labels, const W* weights, const CSize& size, int64_t maxLabel,
                       std::vector<SLabelMoments>& moments) {
    // Labels come in runs along the rows: each run is summed on its own and added once. A run
    // starts where a sample's bits differ from those of the one before, which a vectorised pass
    // marks with a byte; the marks are then read eight at a time, set bit by set bit. (Comparing
    // bits may split 0 from -0, or join NaN samples: all of them background.)
    static_assert(std::endian::native == std::endian::little);
    using Bits = std::conditional_t<sizeof(L) == 1, uint8_t,
                                    std::conditional_t<sizeof(L) == 2, uint16_t, uint32_t>>;
    std::vector<uint8_t> starts(static_cast<size_t>(size.x + 8), 0);
    int64_t row = 0;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y, row += size.x) {
            const L* line = labels + row;
            for (int64_t x = 1; x < size.x; ++x)
                starts[x] = std::bit_cast<Bits>(line[x]) != std::bit_cast<Bits>(line[x - 1]);
            int64_t start = 0;
            auto add = [&](int64_t end) {
                const int64_t label = LabelOf(line[start]);
                SLabelMoments& m = moments[static_cast<size_t>(label <= maxLabel ? label : 0)];
                double weight, weightedX;
                if (weights) {
                    weight = weightedX = 0.0;
                    for (int64_t i = start; i < end; ++i) {
                        const double w = static_cast<double>(weights[row + i]);
                        weight += w;
                        weightedX += w * static_cast<double>(i);
                    }
                } else {
                    // start .. end - 1 add up to (start + end - 1) * length / 2, a whole number.
                    const int64_t length = end - start;
                    weight = static_cast<double>(length);
                    weightedX = static_cast<double>((start + end - 1) * length / 2);
                }
                m.weight += weight;
                m.x += weightedX;
                m.y += weight * static_cast<double>(y);
                m.z += weight * static_cast<double>(z);
                start = end;
            };
            for (int64_t x0 = 0; x0 < size.x; x0 += 8) {
                uint64_t eight;
                std::memcpy(&eight, starts.data() + x0, 8);
                for (; eight; eight &= eight - 1)
                    add(x0 + (std::countr_zero(eight) >> 3));
            }
            if (size.x > 0) add(size.x);
        }
}

}  // namespace ORVA
