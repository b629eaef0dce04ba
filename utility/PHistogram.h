#pragma once

#include "support/HistogramParameters.h"

namespace ORVA {

// Counts the grey values of an image into equally wide bins.
class CPHistogram : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

  private:
    SHistogramParameters m_bins;
};

}  // namespace ORVA
