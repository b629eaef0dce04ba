#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Waits a set time, then passes its input on.
class CPSleep : public CPNode {
  public:
    CPSleep();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

    // The wait for `time` (not negative) in `unit`: seconds become milliseconds in unsigned
    // 32-bit arithmetic, wrapping as they always have. Any other unit throws.
    static uint32_t WaitMilliseconds(int32_t time, const std::string& unit);

    int32_t Time() const noexcept { return m_time; }

  private:
    int32_t m_time;
    std::string m_unit;
};

}  // namespace ORVA
