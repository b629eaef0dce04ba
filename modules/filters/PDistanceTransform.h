#pragma once

#include "tarsel.h"

namespace ORVA::Filters {

// The Euclidean distance of each pixel to the nearest zero sample.
class CPDistanceTransform : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA::Filters
