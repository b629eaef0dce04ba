#include "PSleep.h"

#include <chrono>
#include <thread>

namespace ORVA {

CPSleep::CPSleep() : m_time(10), m_unit("milliseconds") {}

void CPSleep::GetPluginSetup(CValueMap& setup) {
    CSetupDocument document("Image", "Utility", "Sleep");
    document.Minimal();
    document.Parameter("time", m_time);
    document.Parameter("unit", m_unit).Values("milliseconds,seconds");
    document.Input(0);
    document.Output(0);
    document.WriteTo(setup);
}

void CPSleep::NodeInit() {
    m_time = Parameters().EntryLong("time", m_time);
    m_unit = Parameters().EntryString("unit", m_unit);
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
