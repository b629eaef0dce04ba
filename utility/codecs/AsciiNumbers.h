#pragma once

// Numbers of ASCII matrices, read and written exactly as the standard streams of the classic
// locale read (`stream >> float`) and write (`stream << value`) them, only much faster.
#include <locale.h>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ios>
#include <string>
#include <string_view>
#include <type_traits>

namespace ORVA {

namespace AsciiPowers {
// 10^0 to 10^22, all exact as doubles.
inline constexpr double DOUBLES[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                     1e8,  1e9,  1e10, 1e11, 1e12, 1e13, 1e14, 1e15,
                                     1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
// 10^0 to 10^9.
inline constexpr uint32_t INTEGERS[] = {1,      10,      100,      1000,      10000,
                                        100000, 1000000, 10000000, 100000000, 1000000000};
}  // namespace AsciiPowers

// Reads floats as a classic-locale `std::istream >> float` does, from text in which one
// chosen separator character counts as a blank (NUL chooses none).
//
// The stream skips blanks, then takes the longest prefix of the form
// [+-] digits [. digits] [(e|E) [+-] digits] that it can extend character by character (a
// second point, a letter or a sign ends it), and converts those characters with strtof. It
// fails when they are not a whole number ("", "-", ".", "1e", "1e+"), when the value is beyond
// the float range (underflow to zero or a subnormal is fine), and when only blanks are left.
// Infinities, NaN and hexadecimal are never read: "0x1p3" gives 0 and stops at the 'x'.
class CFloatReader {
  public:
    explicit CFloatReader(char separator = '\0') {
        for (int c = 0; c < 256; ++c)
            m_class[c] = OTHER;
        for (char c : {' ', '\t', '\n', '\v', '\f', '\r'})
            m_class[static_cast<uint8_t>(c)] = BLANK;
        for (char c = '0'; c <= '9'; ++c)
            m_class[static_cast<uint8_t>(c)] = DIGIT;
        m_class[static_cast<uint8_t>('.')] = POINT;
        m_class[static_cast<uint8_t>('e')] = m_class[static_cast<uint8_t>('E')] = EXPONENT;
        m_class[static_cast<uint8_t>('+')] = m_class[static_cast<uint8_t>('-')] = SIGN;
        if (separator != '\0') m_class[static_cast<uint8_t>(separator)] = BLANK;
        m_wordDigits = separator < '0' || separator > '9';
    }

    // Reads the next value of [p, end); on success moves p past it.
    bool Read(const char*& p, const char* end, float& value) const {
        return Parse<true>(p, end, &value);
    }
    // Passes over the next value as Read would, converting only what could overflow.
    bool Skip(const char*& p, const char* end) const { return Parse<false>(p, end, nullptr); }

    // The number of values a stream reads from `line` before its first failure.
    int64_t Count(std::string_view line) const {
        const char* p = line.data();
        const char* end = p + line.size();
        int64_t count = 0;
        while (Skip(p, end))
            ++count;
        return count;
    }
    // Reads at most `capacity` values of `line` into `out`; returns how many it read.
    int64_t Read(std::string_view line, float* out, int64_t capacity) const {
        const char* p = line.data();
        const char* end = p + line.size();
        int64_t count = 0;
        while (count < capacity && Read(p, end, out[count]))
            ++count;
        return count;
    }

  private:
    enum : uint8_t { OTHER, BLANK, DIGIT, POINT, EXPONENT, SIGN };

    uint8_t Class(const char* p) const { return m_class[static_cast<uint8_t>(*p)]; }

    template <bool Store>
    bool Parse(const char*& p, const char* end, float* value) const {
        const char* s = p;
        while (s < end && Class(s) == BLANK)
            ++s;
        const char* start = s;
        bool negative = false;
        if (s < end && Class(s) == SIGN) negative = *s++ == '-';

        // The digits as one integer while it stays below 10^15; longer mantissas take the
        // slow way.
        uint64_t mantissa = 0;
        bool exact = true;
        const char* first = s;
        s = Digits<Store>(s, end, mantissa, exact);
        const int64_t integerDigits = s - first;
        int64_t fractionDigits = 0;
        if (s < end && Class(s) == POINT) {
            first = ++s;
            s = Digits<Store>(s, end, mantissa, exact);
            fractionDigits = s - first;
        }
        if (integerDigits + fractionDigits == 0) return false;
        int64_t exponent = 0;
        if (s < end && Class(s) == EXPONENT) {
            ++s;
            bool negativeExponent = false;
            if (s < end && Class(s) == SIGN) negativeExponent = *s++ == '-';
            first = s;
            for (; s < end && Class(s) == DIGIT; ++s)
                if (exponent < 100000) exponent = exponent * 10 + (*s - '0');
            if (s == first) return false;
            if (negativeExponent) exponent = -exponent;
        }
        p = s;

        if constexpr (!Store) {
            // The value is below 10^(integerDigits + exponent): no overflow up to 10^38.
            if (integerDigits + exponent <= 38) return true;
            return Convert(start, s, nullptr);
        } else {
            if (!exact) return Convert(start, s, value);
            exponent -= fractionDigits;
            // One correctly rounded double operation on exact operands, then the rounding to
            // float. A product up to 2^53 is exact, so only the last rounding counts; for a
            // quotient of a mantissa below 2^50 by at most 10^10 no float midpoint lies
            // closer to the true value than the double's error, so rounding twice is
            // harmless.
            double magnitude;
            if (mantissa == 0)
                magnitude = 0.0;
            else if (exponent >= 0 && exponent <= 22 && mantissa <= MaxExactFactor(exponent))
                magnitude = static_cast<double>(mantissa) * AsciiPowers::DOUBLES[exponent];
            else if (exponent < 0 && exponent >= -10)
                magnitude = static_cast<double>(mantissa) / AsciiPowers::DOUBLES[-exponent];
            else
                return Convert(start, s, value);
            float result = static_cast<float>(magnitude);
            *value = negative ? -result : result;
            return true;
        }
    }

    // Passes over a run of digits; with Store it adds them to `mantissa` while that stays
    // below 10^15, and clears `exact` when it would not.
    template <bool Store>
    const char* Digits(const char* s, const char* end, uint64_t& mantissa, bool& exact) const {
        if (m_wordDigits) {
            // Eight characters at a time: the digits among them are the bytes whose high
            // nibble is 3 and low nibble at most 9.
            while (end - s >= 8) {
                uint64_t word;
                std::memcpy(&word, s, sizeof word);
                uint64_t other =
                    ((word & 0xF0F0F0F0F0F0F0F0) ^ 0x3030303030303030) |
                    (((word & 0x0F0F0F0F0F0F0F0F) + 0x0606060606060606) & 0xF0F0F0F0F0F0F0F0);
                int count = other ? __builtin_ctzll(other) / 8 : 8;
                if (count == 0) return s;
                if constexpr (Store) {
                    if (exact && mantissa < 100000000000) {
                        mantissa = mantissa * AsciiPowers::INTEGERS[count] +
                                   EightDigits(count == 8 ? word : word << (8 * (8 - count)));
                        exact = mantissa < 1000000000000000;
                    } else {
                        exact = false;
                    }
                }
                s += count;
                if (count < 8) return s;
            }
        }
        for (; s < end && Class(s) == DIGIT; ++s) {
            if constexpr (Store) {
                if (exact && mantissa < 100000000000000)
                    mantissa = mantissa * 10 + static_cast<unsigned>(*s - '0');
                else
                    exact = false;
            }
        }
        return s;
    }

    // The value of eight ASCII digits, the first in the lowest byte (zero bytes count as 0).
    static uint64_t EightDigits(uint64_t word) {
        word = ((word & 0x0F0F0F0F0F0F0F0F) * 2561) >> 8;
        word = ((word & 0x00FF00FF00FF00FF) * 6553601) >> 16;
        return ((word & 0x0000FFFF0000FFFF) * 42949672960001) >> 32;
    }

    // The exact conversion of a whole number text: correctly rounded by from_chars, with the
    // stream's own strtof deciding the out-of-range cases.
    static bool Convert(const char* first, const char* last, float* value) {
        float converted = 0.0f;
        const char* digits = *first == '+' ? first + 1 : first;
        std::from_chars_result result = std::from_chars(digits, last, converted);
        if (result.ec != std::errc() || result.ptr != last) {
            std::string text(first, last);
            static const locale_t classic = newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
            converted = strtof_l(text.c_str(), nullptr, classic);
            if (std::isinf(converted)) return false;
        }
        if (value) *value = converted;
        return true;
    }

    // The largest mantissa whose product with 10^e is at most 2^53.
    static uint64_t MaxExactFactor(int64_t e) {
        static constexpr auto LIMITS = [] {
            std::array<uint64_t, 23> limits{};
            uint64_t limit = uint64_t(1) << 53;
            for (uint64_t& entry : limits) {
                entry = limit;
                limit /= 10;
            }
            return limits;
        }();
        return LIMITS[static_cast<size_t>(e)];
    }

    std::array<uint8_t, 256> m_class;
    bool m_wordDigits;
};

// Writes numbers as a classic-locale `std::ostream << value` does when its width is 0 and
// no showpos, showpoint, uppercase or showbase flag is set. Floats go through the stream's
// conversion to double and printf's "%.*g", "%.*f" or "%.*e" by the floatfield.
class CNumberWriter {
  public:
    // `floatfield` is 0, std::ios::fixed or std::ios::scientific; `precision` is not negative.
    CNumberWriter(std::ios::fmtflags floatfield, std::streamsize precision)
        : m_floatfield(floatfield & std::ios::floatfield), m_precision(precision) {}

    // Whether a stream in this state writes numbers as this class does (after imbuing the
    // classic locale).
    static bool Handles(const std::ios_base& stream) {
        std::ios::fmtflags flags = stream.flags();
        std::ios::fmtflags base = flags & std::ios::basefield;
        std::ios::fmtflags floatfield = flags & std::ios::floatfield;
        return stream.width() == 0 && stream.precision() >= 0 &&
               !(flags & (std::ios::showpos | std::ios::showpoint | std::ios::uppercase |
                          std::ios::showbase)) &&
               (base == std::ios::dec || base == std::ios::fmtflags(0)) &&
               floatfield != std::ios::floatfield;
    }

    // Room one number may need.
    size_t MaxLength() const { return static_cast<size_t>(m_precision) + 64; }

    // Writes `value` at `out` (which has MaxLength() bytes of room); returns the end.
    char* Write(char* out, float value) const {
        double v = value;
        if (m_floatfield == std::ios::fmtflags(0)) {
            int significant = m_precision == 0 ? 1 : static_cast<int>(m_precision);
            if (significant <= 9)
                if (char* end = FastDigits(out, v, significant, true)) return end;
            return std::to_chars(out, out + MaxLength(), v, std::chars_format::general,
                                 static_cast<int>(m_precision))
                .ptr;
        }
        if (m_floatfield == std::ios::scientific) {
            if (m_precision <= 8)
                if (char* end = FastDigits(out, v, static_cast<int>(m_precision) + 1, false))
                    return end;
            return std::to_chars(out, out + MaxLength(), v, std::chars_format::scientific,
                                 static_cast<int>(m_precision))
                .ptr;
        }
        return std::to_chars(out, out + MaxLength(), v, std::chars_format::fixed,
                             static_cast<int>(m_precision))
            .ptr;
    }

    template <class T>
    requires std::is_unsigned_v<T>
    static char* Write(char* out, T value) { return std::to_chars(out, out + 24, value).ptr; }

  private:
    // The general ("%.*g", trimmed) or scientific ("%.*e" with significant - 1 digits) text of
    // a finite non-zero v rounded to `significant` (1 to 9) digits. Null when the digits cannot
    // be had from one double operation with certainty: v too small or large for an exact
    // power of ten, or the scaled value too close to a rounding tie.
    static char* FastDigits(char* out, double v, int significant, bool general) {
        if (!std::isfinite(v) || v == 0.0) return nullptr;
        bool negative = std::signbit(v);
        double magnitude = negative ? -v : v;
        // magnitude = f * 2^binary with f in [0.5, 1): floats are normal as doubles.
        uint64_t bits;
        std::memcpy(&bits, &magnitude, sizeof bits);
        int binary = static_cast<int>((bits >> 52) & 0x7FF) - 1022;
        // floor(log10(magnitude)) is near this; the loops below settle it.
        int exponent = ((binary - 1) * 78913) >> 18;
        double scaled = 0.0;
        auto scale = [&](int e) {
            int k = significant - 1 - e;
            if (k > 22 || k < -22) return false;
            scaled =
                k >= 0 ? magnitude * AsciiPowers::DOUBLES[k] : magnitude / AsciiPowers::DOUBLES[-k];
            return true;
        };
        if (!scale(exponent)) return nullptr;
        while (scaled >= AsciiPowers::DOUBLES[significant])
            if (!scale(++exponent)) return nullptr;
        // Coming from below, scaled may end a rounding error above 10^significant; the digits
        // then carry over exactly as they would from the exact value.
        while (scaled < AsciiPowers::DOUBLES[significant - 1])
            if (!scale(--exponent)) return nullptr;
        // scaled < 2^30 is within 2^-24 of the exact product, so unless the fraction is near
        // one half, rounding it gives the digits printf rounds the exact value to.
        uint32_t whole = static_cast<uint32_t>(scaled);
        double fraction = scaled - whole;
        if (std::fabs(fraction - 0.5) < 0x1p-20) return nullptr;
        uint32_t number = whole + (fraction > 0.5 ? 1 : 0);
        if (number >= AsciiPowers::INTEGERS[significant]) {
            number /= 10;
            ++exponent;
        }

        int kept = significant;
        if (general)
            while (kept > 1 && number % 10 == 0) {
                number /= 10;
                --kept;
            }
        if (negative) *out++ = '-';
        if (general && exponent >= -4 && exponent < significant) {
            if (exponent < 0) {
                std::memcpy(out, "0.0000", 6);
                out += 1 - exponent;
                return WriteDigits(out, number, kept);
            }
            int wholeDigits = exponent + 1;
            if (kept <= wholeDigits) {
                out = WriteDigits(out, number, kept);
                std::memcpy(out, "00000000", 8);
                return out + (wholeDigits - kept);
            }
            uint32_t divisor = AsciiPowers::INTEGERS[kept - wholeDigits];
            out = WriteDigits(out, number / divisor, wholeDigits);
            *out++ = '.';
            return WriteDigits(out, number % divisor, kept - wholeDigits);
        }
        uint32_t divisor = AsciiPowers::INTEGERS[kept - 1];
        *out++ = static_cast<char>('0' + number / divisor);
        if (kept > 1) {
            *out++ = '.';
            out = WriteDigits(out, number % divisor, kept - 1);
        }
        *out++ = 'e';
        *out++ = exponent < 0 ? '-' : '+';
        int e = exponent < 0 ? -exponent : exponent;
        std::memcpy(out, PAIRS + 2 * e, 2);
        return out + 2;
    }

    // Writes `value` (below 10^count) as exactly `count` digits, leading zeros included;
    // returns the end. The last four digits come apart from the others, to keep the chain
    // of divisions short.
    static char* WriteDigits(char* out, uint32_t value, int count) {
        char* end = out + count;
        if (count > 4) {
            uint32_t high = value / 10000, low = value - high * 10000;
            uint32_t lowPair = low / 100;
            std::memcpy(end - 4, PAIRS + 2 * lowPair, 2);
            std::memcpy(end - 2, PAIRS + 2 * (low - lowPair * 100), 2);
            value = high;
            count -= 4;
        }
        for (; count >= 2; count -= 2) {
            uint32_t rest = value / 100;
            std::memcpy(out + count - 2, PAIRS + 2 * (value - rest * 100), 2);
            value = rest;
        }
        if (count == 1) out[0] = static_cast<char>('0' + value);
        return end;
    }

    static constexpr char PAIRS[] =
        "00010203040506070809101112131415161718192021222324252627282930313233343536373839"
        "40414243444546474849505152535455565758596061626364656667686970717273747576777879"
        "8081828384858687888990919293949596979899";

    std::ios::fmtflags m_floatfield;
    std::streamsize m_precision;
};

}  // namespace ORVA
