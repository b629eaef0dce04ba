#pragma once

// "Greater than a threshold" for samples of any type, decided exactly: neither the sample nor
// the threshold is rounded on the way, so 16777217 in a 32-bit image is above 16777216.5 and
// a float sample is compared with the double threshold as it stands.
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace ORVA {

template <class T>
class CAbove {
  public:
    // `threshold` must not be NaN.
    explicit CAbove(double threshold) {
        if constexpr (std::is_same_v<T, double>) {
            m_bound = threshold;
        } else if constexpr (std::is_same_v<T, float>) {
            // The smallest float above the threshold, if there is one.
            if (threshold == std::numeric_limits<double>::infinity()) {
                m_none = true;
                return;
            }
            float bound = static_cast<float>(threshold);
            if (static_cast<double>(bound) <= threshold)
                bound = std::nextafter(bound, std::numeric_limits<float>::infinity());
            m_bound = bound;
        } else {
            // The smallest integer above the threshold, if T holds it.
            if (threshold < 0) return;  // every sample, from 0
            if (threshold >= static_cast<double>(std::numeric_limits<T>::max())) {
                m_none = true;
                return;
            }
            m_bound = static_cast<T>(std::floor(threshold)) + 1;
        }
    }

    // Whether `value` is greater than the threshold; never for NaN.
    bool operator()(T value) const {
        if constexpr (std::is_same_v<T, double>)
            return value > m_bound;
        else
            return !m_none & (value >= m_bound);
    }
    // Whether no sample of T is.
    bool None() const { return m_none; }

  private:
    T m_bound = 0;
    bool m_none = false;
};

}  // namespace ORVA
