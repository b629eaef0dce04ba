#pragma once

#include <cstdint>
#include <vector>

#include "LabelValues.h"
#include "NodeSupport.h"

namespace ORVA {

// The centre of mass of every label of a label image, weighted by a grey image or by area.
class CPFindBalancePoint : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void Run() override;

    // The sums of one label: of the weights, and of the weights times x, y and z.
    struct SMoments {
        double weight = 0.0, x = 0.0, y = 0.0, z = 0.0;
    };

    // Adds every pixel with a label 1 .. maxLabel to moments[label - 1]: with weight 1, or
    // with its weight when `weights` (of the labels' size) is not null.
    template <class L, class W>
    static void Accumulate(const L* labels, const W* weights, const CSize& size, int64_t maxLabel,
                           std::vector<SMoments>& moments);
};

template <class L, class W>
void CPFindBalancePoint::Accumulate(const L* labels, const W* weights, const CSize& size,
                                    int64_t maxLabel, std::vector<SMoments>& moments) {
    // Labels come in runs along the rows: each run is summed on its own and added once.
    int64_t row = 0;
    for (int64_t z = 0; z < size.z; ++z)
        for (int64_t y = 0; y < size.y; ++y, row += size.x) {
            const L* line = labels + row;
            for (int64_t x = 0; x < size.x;) {
                const L value = line[x];
                int64_t end = x + 1;
                while (end < size.x && line[end] == value)
                    ++end;
                const int64_t label = LabelOf(value);
                if (label != NO_LABEL && label <= maxLabel) {
                    SMoments& m = moments[static_cast<size_t>(label - 1)];
                    double weight, weightedX;
                    if (weights) {
                        weight = weightedX = 0.0;
                        for (int64_t i = x; i < end; ++i) {
                            const double w = static_cast<double>(weights[row + i]);
                            weight += w;
                            weightedX += w * static_cast<double>(i);
                        }
                    } else {
                        // x .. end - 1 add up to (x + end - 1) * length / 2, a whole number.
                        const int64_t length = end - x;
                        weight = static_cast<double>(length);
                        weightedX = static_cast<double>((x + end - 1) * length / 2);
                    }
                    m.weight += weight;
                    m.x += weightedX;
                    m.y += weight * static_cast<double>(y);
                    m.z += weight * static_cast<double>(z);
                }
                x = end;
            }
        }
}

}  // namespace ORVA
