#pragma once

#include <cstdint>

#include "HistogramSettings.h"

namespace ORVA {

// The mutual information of two images, from their joint histogram.
class CPMutualInformation : public CPNode {
  public:
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // Entropies in bits of a joint histogram: counts(i, j), i the column (first image), j the
    // row (second image), of `bins` x `bins` counters.
    struct SEntropies {
        uint64_t pairs = 0;  // the counts' sum
        double first = 0.0, second = 0.0, joint = 0.0;
        double mutual = 0.0;  // first + second - joint, summed cell by cell

        // (first + second) / joint; 2 when all pairs share one bin, 0 without pairs.
        double Normalized() const {
            if (pairs == 0) return 0.0;
            return joint > 0.0 ? (first + second) / joint : 2.0;
        }
    };
    static SEntropies Entropies(const uint64_t* counts, int64_t bins);

    // More bins per axis than this are refused: the counters alone would take gigabytes.
    static constexpr int64_t MAX_BINS = 4096;

  private:
    SHistogramSettings m_bins;
    bool m_normalized = false;
};

}  // namespace ORVA
