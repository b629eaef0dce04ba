#pragma once

#include <cstdint>
#include <vector>

#include "algorithms/LocalMaxima.h"

#include "support/NodeSupport.h"

namespace ORVA {

// Finds the local maxima of a grey image, optionally only the largest one of every label.
class CPFindMax : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_threshold = 0.0;
    int32_t m_radius = 1;
    int32_t m_maxCount = 0;
    // Kept from run to run: a search that finds a million maxima writes into memory it has.
    std::vector<SPeak> m_peaks, m_scratch;
};

}  // namespace ORVA
