#pragma once

#include "support/HistogramParameters.h"

namespace ORVA {

// Counts the value pairs at equal positions of two images into a joint histogram.
class CPHistogram2d : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

  private:
    SHistogramParameters m_bins;
};

}  // namespace ORVA
