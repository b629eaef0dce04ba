#pragma once

#include "Gradient.h"

namespace ORVA::Filters {

// Scharr derivatives, gradient magnitude or direction of a grey image.
class CPScharr : public CPGradientNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA::Filters
