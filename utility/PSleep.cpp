#include "PSleep.h"

#include <chrono>
#include <thread>

namespace ORVA {

CPSleep::CPSleep() : m_time(10), m_unit("milliseconds") {}

void CPSleep::Declare(CSetupDocument& doc) {
    doc.Identity("Image", "Utility", "Sleep").Minimal();
    doc.Parameter("time", m_time);
    doc.Parameter("unit", m_unit).Values("milliseconds,seconds");
    doc.Input(0);
    doc.Output(0);
}

uint32_t CPSleep::WaitMilliseconds(int32_t time, const std::string& unit) {
    if (unit == "milliseconds") return static_cast<uint32_t>(time);
    if (unit == "seconds") return static_cast<uint32_t>(time) * 1000u;
    throw CException(
        "Sleep",
        CString("parameter 'unit' must be 'milliseconds' or 'seconds', but it is '%1'.").Arg(unit));
}

void CPSleep::Run() {
    CValue* input = GetStackInput(0, false);
    if (!input) throw CException("Sleep", "No input on first input pin!");
    if (m_time < 0) m_time = 0;
    uint32_t milliseconds = WaitMilliseconds(m_time, m_unit);
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    SetStackOutput(0, PassOnCopy(input));
}

}  // namespace ORVA
