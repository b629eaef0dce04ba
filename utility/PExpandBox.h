#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// The box of all non-zero pixels, grown by four margins, as a mask.
class CPExpandBox : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int64_t m_expandLeft = 0;
    int64_t m_expandRight = 0;
    int64_t m_expandTop = 0;
    int64_t m_expandBottom = 0;
};

}  // namespace ORVA
