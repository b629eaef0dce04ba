#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Reorders the rows of an image, plane by plane, so that one column ascends.
class CPSort : public CPNode {
  public:
    CPSort();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int32_t m_column;
};

}  // namespace ORVA
