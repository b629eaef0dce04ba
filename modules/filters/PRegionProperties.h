#pragma once

#include "tarsel.h"

namespace ORVA::Filters {

// Area, centroid, box, perimeter, shape and intensity of each region of a label image.
class CPRegionProperties : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA::Filters
