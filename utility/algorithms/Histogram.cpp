#include "algorithms/Histogram.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <vector>

namespace ORVA {

namespace {

// The bin of x, or -1 for a value that is not counted.
inline int64_t BinOf(double x, double rangeMin, double rangeMax, double span, int64_t binCount) {
    if (rangeMin > x || x > rangeMax || x != x) return -1;
    double bin = (x - rangeMin) * static_cast<double>(binCount) / span;
    if (!(bin < 2147483648.0)) return bin == bin ? binCount - 1 : -1;
    return std::min<int64_t>(static_cast<int32_t>(bin), binCount - 1);
}

// The bin of a value scaled in float: truncated toward zero, negatives and NaN to 0, at most
// binCount - 1.
inline int64_t ScaledBin(float scaled, int64_t binCount) {
    if (!(scaled > 0.0f)) return 0;
    if (scaled >= 9.2e18f) return binCount - 1;
    return std::min<int64_t>(static_cast<int64_t>(scaled), binCount - 1);
}

// The bin of a value along one axis of a joint histogram, -1 outside the range. Scale and
// offset are taken in single precision; bytes look their bins up in a table made by the same
// rule.
template <class T>
class CAxisBins {
  public:
    CAxisBins(double rangeMin, double rangeMax, int64_t binCount)
        : m_min(rangeMin),
          m_max(rangeMax),
          m_binCount(binCount),
          m_scale(static_cast<float>(binCount) / static_cast<float>(rangeMax - rangeMin)),
          m_offset(static_cast<float>(static_cast<double>(m_scale) * rangeMin)) {
        if constexpr (std::is_same_v<T, uint8_t>)
            for (int v = 0; v < 256; ++v)
                m_table[v] = Compute(static_cast<uint8_t>(v));
    }

    int64_t operator()(T value) const {
        if constexpr (std::is_same_v<T, uint8_t>)
            return m_table[value];
        else
            return Compute(value);
    }

  private:
    int64_t Compute(T value) const {
        const float v = static_cast<float>(value);
        if (v < m_min || v > m_max) return -1;  // NaN is in range
        return ScaledBin(v * m_scale - m_offset, m_binCount);
    }

    double m_min, m_max;
    int64_t m_binCount;
    float m_scale, m_offset;
    int64_t m_table[std::is_same_v<T, uint8_t> ? 256 : 1];
};

}  // namespace

template <class T>
void CountHistogram(const T* data, int64_t size, double rangeMin, double rangeMax, int64_t binCount,
                    uint64_t* counts) {
    const double span = rangeMax - rangeMin;
    if constexpr (sizeof(T) == 1) {
        // A byte's bin depends on its value only: count the values, then add them up by bin.
        // Four tables of 32-bit counters (so that a repeated value rarely waits for its own
        // increment), emptied into 64-bit counts before they could overflow.
        uint64_t values[256] = {};
        uint32_t tables[4][256];
        for (int64_t start = 0; start < size; start += int64_t(1) << 31) {
            const int64_t end = std::min(size, start + (int64_t(1) << 31));
            std::memset(tables, 0, sizeof(tables));
            int64_t i = start;
            for (; i + 16 <= end; i += 16) {
                uint64_t low, high;
                std::memcpy(&low, data + i, 8);
                std::memcpy(&high, data + i + 8, 8);
                for (uint64_t word : {low, high}) {
                    ++tables[0][word & 255];
                    ++tables[1][(word >> 8) & 255];
                    ++tables[2][(word >> 16) & 255];
                    ++tables[3][(word >> 24) & 255];
                    ++tables[0][(word >> 32) & 255];
                    ++tables[1][(word >> 40) & 255];
                    ++tables[2][(word >> 48) & 255];
                    ++tables[3][word >> 56];
                }
            }
            for (; i < end; ++i)
                ++tables[0][data[i]];
            for (int v = 0; v < 256; ++v)
                values[v] += uint64_t(tables[0][v]) + tables[1][v] + tables[2][v] + tables[3][v];
        }
        for (int v = 0; v < 256; ++v) {
            int64_t bin = BinOf(v, rangeMin, rangeMax, span, binCount);
            if (bin >= 0) counts[bin] += values[v];
        }
    } else {
        for (int64_t i = 0; i < size; ++i) {
            int64_t bin = BinOf(data[i], rangeMin, rangeMax, span, binCount);
            if (bin >= 0) ++counts[bin];
        }
    }
}

template void CountHistogram(const uint8_t*, int64_t, double, double, int64_t, uint64_t*);
template void CountHistogram(const float*, int64_t, double, double, int64_t, uint64_t*);

template <class T, class C>
void CountJointHistogram(const T* first, const CSize& firstSize, const T* second,
                         const CSize& secondSize, double rangeMin, double rangeMax,
                         int64_t binCount, C* out) {
    const CAxisBins<T> bins(rangeMin, rangeMax, binCount);
    auto add = [&](T a, T b) {
        const int64_t column = bins(a), row = bins(b);
        if ((column | row) >= 0) out[row * binCount + column] += C(1);
    };
    if (firstSize == secondSize) {
        const int64_t n = firstSize.Elements();
        for (int64_t i = 0; i < n; ++i)
            add(first[i], second[i]);
        return;
    }
    const int64_t secondPixels = secondSize.Elements();
    int64_t i = 0;
    for (int64_t z = 0; z < firstSize.z; ++z) {
        for (int64_t y = 0; y < firstSize.y; ++y) {
            for (int64_t x = 0; x < firstSize.x; ++x, ++i) {
                // The second image's own extents still count as positions.
                if (x > secondSize.x || y > secondSize.y || z > secondSize.z) continue;
                const int64_t j = (z * secondSize.y + y) * secondSize.x + x;
                if (j >= secondPixels) continue;
                add(first[i], second[j]);
            }
        }
    }
}

template void CountJointHistogram(const uint8_t*, const CSize&, const uint8_t*, const CSize&,
                                  double, double, int64_t, float*);
template void CountJointHistogram(const float*, const CSize&, const float*, const CSize&, double,
                                  double, int64_t, float*);
template void CountJointHistogram(const uint8_t*, const CSize&, const uint8_t*, const CSize&,
                                  double, double, int64_t, uint64_t*);
template void CountJointHistogram(const float*, const CSize&, const float*, const CSize&, double,
                                  double, int64_t, uint64_t*);

bool CountsToFloat(const uint64_t* counts, int64_t bins, float* out) {
    bool inexact = false;
    for (int64_t i = 0; i < bins; ++i) {
        out[i] = static_cast<float>(counts[i]);
        inexact |= counts[i] > 16777215;
    }
    return inexact;
}

void NormalizedCounts(const uint64_t* counts, int64_t bins, float* out) {
    double sum = 0.0;
    for (int64_t i = 0; i < bins; ++i)
        sum += static_cast<double>(counts[i]);
    if (sum == 0.0) sum = 1.0;
    for (int64_t i = 0; i < bins; ++i)
        out[i] = static_cast<float>(static_cast<double>(counts[i]) / sum);
}

void NormalizeBins(float* bins, int64_t count) {
    double sum = 0.0;
    for (int64_t i = 0; i < count; ++i)
        sum += bins[i];
    if (sum == 0.0) return;
    const float divisor = static_cast<float>(sum);
    for (int64_t i = 0; i < count; ++i)
        bins[i] /= divisor;
}

SEntropies JointEntropies(const uint64_t* counts, int64_t bins) {
    std::vector<uint64_t> first(static_cast<size_t>(bins), 0), second(static_cast<size_t>(bins), 0);
    uint64_t total = 0;
    for (int64_t j = 0; j < bins; ++j)
        for (int64_t i = 0; i < bins; ++i) {
            const uint64_t c = counts[j * bins + i];
            first[static_cast<size_t>(i)] += c;
            second[static_cast<size_t>(j)] += c;
            total += c;
        }
    SEntropies h;
    h.pairs = total;
    if (total == 0) return h;
    // H = log2(N) - sum(c log2 c) / N for each histogram.
    const double n = static_cast<double>(total), log2n = std::log2(n);
    auto entropy = [&](const std::vector<uint64_t>& marginal) {
        double s = 0.0;
        for (uint64_t c : marginal)
            if (c) s += static_cast<double>(c) * std::log2(static_cast<double>(c));
        return log2n - s / n;
    };
    h.first = entropy(first);
    h.second = entropy(second);
    std::vector<double> log2First(first.size()), log2Second(second.size());
    for (size_t k = 0; k < first.size(); ++k) {
        log2First[k] = first[k] ? std::log2(static_cast<double>(first[k])) : 0.0;
        log2Second[k] = second[k] ? std::log2(static_cast<double>(second[k])) : 0.0;
    }
    // I = sum(c log2(c N / (a b))) / N, cell by cell, so that nearly independent images do
    // not lose it to cancellation.
    double joint = 0.0, mutual = 0.0;
    for (int64_t j = 0; j < bins; ++j)
        for (int64_t i = 0; i < bins; ++i) {
            const uint64_t c = counts[j * bins + i];
            if (!c) continue;
            const double count = static_cast<double>(c), log2c = std::log2(count);
            joint += count * log2c;
            mutual += count * (log2c + log2n - log2First[static_cast<size_t>(i)] -
                               log2Second[static_cast<size_t>(j)]);
        }
    h.joint = log2n - joint / n;
    h.mutual = std::max(0.0, mutual / n);
    return h;
}

}  // namespace ORVA
