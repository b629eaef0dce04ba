#include "base/Time.h"

#include <chrono>
#include <cstdio>
#include <ctime>

#include "Value/Container.h"
#include "base/Exception.h"

namespace ORVA {

namespace {

constexpr int64_t SECONDS_PER_DAY = 86400;
constexpr int64_t MICROS = 1000000;

int64_t FloorDiv(int64_t a, int64_t b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

}  // namespace

CTime::CTime(bool now) {
    if (now)
        m_microseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                             std::chrono::system_clock::now().time_since_epoch())
                             .count();
}

CTime::CTime(const CValueVector* vector) {
    if (!vector) throw CException("CTime", "no time given: the time vector is null");
    if (vector->Size() != 3)
        throw CException("CTime",
                         CString("a time vector has 3 entries, not %1").Arg(vector->Size()));
    int64_t days = (*vector)[0]->Long();
    int64_t seconds = (*vector)[1]->Long();
    int64_t micros = (*vector)[2]->Long();
    if (seconds < 0 || seconds >= SECONDS_PER_DAY || micros < 0 || micros >= MICROS)
        throw CException("CTime", "the time vector holds values out of range");
    m_microseconds = (days * SECONDS_PER_DAY + seconds) * MICROS + micros;
}

CTime CTime::FromMicroseconds(int64_t microseconds) {
    CTime time;
    time.m_microseconds = microseconds;
    return time;
}

CValueVector* CTime::Vectorize() const {
    int64_t seconds = FloorDiv(m_microseconds, MICROS);
    int64_t micros = m_microseconds - seconds * MICROS;
    int64_t days = FloorDiv(seconds, SECONDS_PER_DAY);
    auto* vector = new CValueVector();
    vector->PushBack(new CValueLong(static_cast<int32_t>(days)));
    vector->PushBack(new CValueLong(static_cast<int32_t>(seconds - days * SECONDS_PER_DAY)));
    vector->PushBack(new CValueLong(static_cast<int32_t>(micros)));
    return vector;
}

int32_t CTime::ToMilliseconds() const noexcept {
    int64_t ms = m_microseconds / 1000;
    if (ms > INT32_MAX) return INT32_MAX;
    if (ms < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(ms);
}

std::string CTime::ToString() const {
    int64_t seconds = FloorDiv(m_microseconds, MICROS);
    std::time_t t = static_cast<std::time_t>(seconds);
    std::tm parts{};
    gmtime_r(&t, &parts);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%06lldZ", parts.tm_year + 1900,
                  parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                  static_cast<long long>(m_microseconds - seconds * MICROS));
    return text;
}

}  // namespace ORVA
