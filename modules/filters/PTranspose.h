#pragma once

#include "tarsel.h"

namespace ORVA::Filters {

// Swaps the rows and columns of an image.
class CPTranspose : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA::Filters
