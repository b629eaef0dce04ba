#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Prints the time since the TimerStart that made input 0, and passes a copy of the image of
// input 1 on.
class CPTimerStop : public CPNode {
  public:
    CPTimerStop();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

    uint32_t Id() const noexcept { return m_id; }

  private:
    uint32_t m_id;
};

}  // namespace ORVA
