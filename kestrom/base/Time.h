#pragma once

#include <cstdint>
#include <string>

#include "base/Export.h"

namespace ORVA {

class CValueVector;

// A point in time (microseconds since 1970-01-01 UTC) or, as a difference of two times, a
// duration.
class TARSEL_API CTime {
  public:
    // The epoch, or a zero duration.
    CTime() = default;
    // With `now` true the current calendar time, else the epoch.
    explicit CTime(bool now);
    // From the vector form made by Vectorize(); a null or malformed vector throws CException.
    explicit CTime(const CValueVector* vector);
    static CTime FromMicroseconds(int64_t microseconds);

    // A new vector of three CValueLong entries: days since the epoch, seconds within the day,
    // microseconds within the second. It round-trips exactly.
    CValueVector* Vectorize() const;

    CTime operator-(const CTime& other) const {
        return FromMicroseconds(m_microseconds - other.m_microseconds);
    }
    CTime operator+(const CTime& other) const {
        return FromMicroseconds(m_microseconds + other.m_microseconds);
    }
    friend bool operator==(const CTime&, const CTime&) = default;

    int64_t ToMicroseconds() const noexcept { return m_microseconds; }
    // Truncated toward zero, clamped to the 32-bit range (about 24.8 days either way).
    int32_t ToMilliseconds() const noexcept;
    double ToSeconds() const noexcept { return static_cast<double>(m_microseconds) / 1e6; }
    // "2026-11-21T10:15:30.123456Z".
    std::string ToString() const;

  private:
    int64_t m_microseconds = 0;
};

}  // namespace ORVA
