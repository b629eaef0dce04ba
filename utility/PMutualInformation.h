#pragma once

#include <cstdint>

#include "support/HistogramParameters.h"

namespace ORVA {

// The mutual information of two images, from their joint histogram.
class CPMutualInformation : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

    // More bins per axis than this are refused: the counters alone would take gigabytes.
    static constexpr int64_t MAX_BINS = 4096;

  private:
    SHistogramParameters m_bins;
    bool m_normalized = false;
};

}  // namespace ORVA
