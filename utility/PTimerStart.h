#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Records the current time on output 0 (for a TimerStop) and passes a copy of its image on.
class CPTimerStart : public CPNode {
  public:
    CPTimerStart();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

    uint32_t Id() const noexcept { return m_id; }

  private:
    uint32_t m_id;
};

}  // namespace ORVA
