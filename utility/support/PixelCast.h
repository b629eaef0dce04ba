#pragma once

// The float-to-integer typecasts of pixel arithmetic. They behave as the truncating x86
// conversions the nodes' typecasts have always compiled to: toward zero, and NaN or a value
// outside the integer's range gives the smallest integer, whose low bits are all zero. Written
// as a select before the conversion, so that loops using them still vectorise.
#include <cstdint>
#include <limits>
#include <type_traits>

namespace ORVA {

template <class I, class F>
inline I TruncateToInteger(F value) {
    static_assert(std::is_same_v<I, int32_t> || std::is_same_v<I, int64_t>);
    static_assert(std::is_floating_point_v<F>);
    constexpr F low = static_cast<F>(std::numeric_limits<I>::min());  // -2^31 or -2^63, exact
    // Values in (low - 1, low) truncate to the smallest integer as well, so `low` may be
    // included and everything below it excluded.
    // Both comparisons are made (no short circuit) so that the select needs no branch.
    const bool inRange = (value >= low) & (value < -low);
    F safe = inRange ? value : low;
    return static_cast<I>(safe);
}

// The low 8, 16 or 32 bits of the value truncated to a signed 32-bit integer (64-bit for
// 32-bit results), as a plain C typecast chain does.
template <class U, class F>
inline U WrapToUnsigned(F value) {
    static_assert(std::is_unsigned_v<U> && sizeof(U) <= 4);
    using I = std::conditional_t<sizeof(U) == 4, int64_t, int32_t>;
    return static_cast<U>(TruncateToInteger<I>(value));
}

// A numeric parameter as a sample of T, the module's rule for constants: floats take the
// nearest value; integers truncate toward zero and keep their low bits (of a 64-bit integer
// for samples of 32 bits and more, else of a 32-bit one). Nothing saturates.
template <class T>
inline T CastConstant(double value) {
    if constexpr (std::is_floating_point_v<T>)
        return static_cast<T>(value);
    else if constexpr (sizeof(T) == 8)
        return static_cast<T>(TruncateToInteger<int64_t>(value));
    else
        return WrapToUnsigned<T>(value);
}

}  // namespace ORVA
