#include "algorithms/PixelSums.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace ORVA {

template <class T>
void SumAndSquares(const T* data, int64_t count, double& sum, double& squares) {
    if constexpr (std::is_integral_v<T>) {
        // Integer terms add up exactly in double while no partial sum exceeds 2^53 in
        // magnitude; then integer sums, converted once, are the same numbers. Blocks of 2^20
        // keep the block sums within 64 bits.
        constexpr uint64_t EXACT = uint64_t(1) << 53;
        constexpr int64_t BLOCK = int64_t(1) << 20;
        uint64_t values = 0, magnitudes = 0;
        int64_t total = 0;
        bool exact = true;
        for (int64_t start = 0; start < count && exact; start += BLOCK) {
            const int64_t end = std::min(count, start + BLOCK);
            uint64_t blockValues = 0, blockMagnitudes = 0;
            int64_t blockTotal = 0;
            for (int64_t i = start; i < end; ++i) {
                const int64_t square = PixelSquare(data[i]);
                blockValues += data[i];
                blockTotal += square;
                blockMagnitudes += static_cast<uint64_t>(square < 0 ? -square : square);
            }
            values += blockValues;
            total += blockTotal;
            magnitudes += blockMagnitudes;
            exact = values <= EXACT && magnitudes <= EXACT;
        }
        if (exact) {
            sum = static_cast<double>(values);
            squares = static_cast<double>(total);
            return;
        }
    }
    double s = 0.0, q = 0.0;
    for (int64_t i = 0; i < count; ++i) {
        s += static_cast<double>(data[i]);
        q += static_cast<double>(PixelSquare(data[i]));
    }
    sum = s;
    squares = q;
}

template void SumAndSquares(const uint8_t*, int64_t, double&, double&);
template void SumAndSquares(const uint16_t*, int64_t, double&, double&);
template void SumAndSquares(const uint32_t*, int64_t, double&, double&);
template void SumAndSquares(const float*, int64_t, double&, double&);

template <class T>
SPairSums PairSums(const T* a, const T* b, int64_t count) {
    SPairSums sums;
    if constexpr (std::is_integral_v<T>) {
        // 2^20 samples of at most 2^32 add up to less than 2^64.
        constexpr int64_t BLOCK = int64_t(1) << 20;
        for (int64_t start = 0; start < count; start += BLOCK) {
            const int64_t end = std::min(count, start + BLOCK);
            uint64_t first = 0, second = 0, difference = 0;
            for (int64_t i = start; i < end; ++i) {
                first += a[i];
                second += b[i];
                difference += a[i] > b[i] ? uint64_t(a[i] - b[i]) : uint64_t(b[i] - a[i]);
            }
            sums.first += static_cast<double>(first);
            sums.second += static_cast<double>(second);
            sums.absoluteDifference += static_cast<double>(difference);
        }
    } else {
        for (int64_t i = 0; i < count; ++i) {
            const double x = a[i], y = b[i];
            sums.first += x;
            sums.second += y;
            sums.absoluteDifference += std::fabs(x - y);
        }
    }
    return sums;
}

template SPairSums PairSums(const uint8_t*, const uint8_t*, int64_t);
template SPairSums PairSums(const uint16_t*, const uint16_t*, int64_t);
template SPairSums PairSums(const uint32_t*, const uint32_t*, int64_t);
template SPairSums PairSums(const float*, const float*, int64_t);

}  // namespace ORVA
