#include "Threshold.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstring>

namespace ORVA::Filters {

namespace Detail {

namespace {

// Four sub-histograms, one per byte of each group of four: a run of equal samples would
// otherwise make each increment wait for the store of the one before.
void AddSmallHistogram(SPlane<const uint8_t> src, int64_t* counts) {
    std::vector<int64_t> sub(4 * 256, 0);
    for (int64_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        int64_t x = 0;
        for (; x + 4 <= src.width; x += 4) {
            ++sub[in[x]];
            ++sub[256 + in[x + 1]];
            ++sub[512 + in[x + 2]];
            ++sub[768 + in[x + 3]];
        }
        for (; x < src.width; ++x)
            ++sub[in[x]];
    }
    for (int i = 0; i < 256; ++i)
        counts[i] +=
            sub[size_t(i)] + sub[size_t(256 + i)] + sub[size_t(512 + i)] + sub[size_t(768 + i)];
}

}  // namespace

void AddByteHistogram(SPlane<const uint8_t> src, int64_t* counts) {
    // Large planes count pairs of neighbours, one increment per two samples, in a table of
    // 2^16 counters: neighbours are alike in most images, so the pairs met stay in few cache
    // lines. The table costs a pass of its own, paid back from about 2^18 samples.
    if (src.width < 2 || src.width * src.height < (int64_t(1) << 18))
        return AddSmallHistogram(src, counts);
    std::vector<uint32_t> pairs(size_t(1) << 16, 0);
    int64_t pending = 0;  // pairs counted since the table was last emptied
    auto flush = [&] {
        // Entry a + 256 b counts pairs (a, b): both samples go to their bins.
        std::vector<int64_t> second(256, 0);
        for (int b = 0; b < 256; ++b) {
            const uint32_t* row = &pairs[size_t(b) * 256];
            int64_t sum = 0;
            for (int a = 0; a < 256; ++a) {
                sum += row[a];
                counts[a] += row[a];
            }
            second[size_t(b)] = sum;
        }
        for (int b = 0; b < 256; ++b)
            counts[b] += second[size_t(b)];
        std::fill(pairs.begin(), pairs.end(), 0u);
        pending = 0;
    };
    // Rows are counted in pieces short enough that no counter passes 2^32.
    constexpr int64_t PIECE = int64_t(1) << 30, LIMIT = int64_t(1) << 31;
    for (int64_t y = 0; y < src.height; ++y) {
        const uint8_t* in = src.Row(y);
        for (int64_t begin = 0; begin < src.width; begin += PIECE) {
            const int64_t end = std::min(src.width, begin + PIECE);
            int64_t x = begin;
            // A pair read as one 16-bit word: which sample lands in which byte does not
            // matter, both are counted.
            for (; x + 4 <= end; x += 4) {
                uint16_t p, q;
                std::memcpy(&p, in + x, 2);
                std::memcpy(&q, in + x + 2, 2);
                ++pairs[p];
                ++pairs[q];
            }
            for (; x + 2 <= end; x += 2) {
                uint16_t p;
                std::memcpy(&p, in + x, 2);
                ++pairs[p];
            }
            if (x < end) ++counts[in[x]];
            pending += (end - begin) / 2;
            if (pending >= LIMIT) flush();
        }
    }
    flush();
}

}  // namespace Detail

double OtsuOfCounts(const std::vector<int64_t>& counts) {
    int64_t total = 0;
    for (int64_t c : counts)
        total += c;
    if (total == 0) return 0.0;
    const int n = static_cast<int>(counts.size());
    double mu = 0, scale = 1.0 / static_cast<double>(total);
    for (int i = 0; i < n; ++i)
        mu += i * static_cast<double>(counts[i]);
    mu *= scale;
    double mu1 = 0, q1 = 0, maxSigma = 0, maxVal = 0;
    for (int i = 0; i < n; ++i) {
        double p = static_cast<double>(counts[i]) * scale;
        mu1 *= q1;
        q1 += p;
        double q2 = 1.0 - q1;
        if (std::min(q1, q2) < FLT_EPSILON || std::max(q1, q2) > 1.0 - FLT_EPSILON) continue;
        mu1 = (mu1 + i * p) / q1;
        double mu2 = (mu - q1 * mu1) / q2;
        double sigma = q1 * q2 * (mu1 - mu2) * (mu1 - mu2);
        if (sigma > maxSigma) {
            maxSigma = sigma;
            maxVal = i;
        }
    }
    return maxVal;
}

int TriangleOfCounts(const std::vector<int64_t>& counts) {
    const int n = 256;
    std::vector<int64_t> h(counts.begin(), counts.end());
    int left = 0, right = 0, peak = 0;
    int64_t peakCount = 0;
    for (int i = 0; i < n; ++i)
        if (h[i] > 0) {
            left = i;
            break;
        }
    if (left > 0) --left;
    for (int i = n - 1; i > 0; --i)
        if (h[i] > 0) {
            right = i;
            break;
        }
    if (right < n - 1) ++right;
    for (int i = 0; i < n; ++i)
        if (h[i] > peakCount) {
            peakCount = h[i];
            peak = i;
        }
    // The line always runs towards the longer tail: mirror the histogram when it is on the right.
    const bool flipped = peak - left < right - peak;
    if (flipped) {
        std::reverse(h.begin(), h.end());
        left = n - 1 - right;
        peak = n - 1 - peak;
    }
    int t = left;
    double a = static_cast<double>(peakCount), b = left - peak, distance = 0;
    for (int i = left + 1; i <= peak; ++i) {
        double d = a * i + b * static_cast<double>(h[i]);
        if (d > distance) {
            distance = d;
            t = i;
        }
    }
    --t;
    return flipped ? n - 1 - t : t;
}

void PrepareRange(SRangeHistogram& h, bool single) {
    constexpr int BINS = 256;
    h.counts.assign(BINS, 0);
    h.edges.resize(BINS + 1);
    double lo = h.minimum, hi = h.maximum;
    if (lo == hi) {  // numpy widens an empty range by 0.5 on each side
        lo -= 0.5;
        hi += 0.5;
    }
    // In the samples' own precision, as numpy keeps float32 edges for float32 samples.
    auto narrow = [single](double v) {
        return single ? static_cast<double>(static_cast<float>(v)) : v;
    };
    // numpy's linspace: i * step + start in double, the last edge exactly the stop.
    const double step = (hi - lo) / BINS;
    for (int i = 0; i < BINS; ++i)
        h.edges[i] = narrow(i * step + lo);
    h.edges[BINS] = hi;
    h.start = lo;
    h.norm = BINS / narrow(hi - lo);
    h.centres.resize(BINS);
    for (int i = 0; i < BINS; ++i)
        h.centres[i] =
            single
                ? static_cast<double>(
                      (static_cast<float>(h.edges[i]) + static_cast<float>(h.edges[i + 1])) / 2.0f)
                : (h.edges[i] + h.edges[i + 1]) / 2.0;
}

double OtsuOfRange(const SRangeHistogram& h) {
    if (h.counts.empty()) return 0.0;
    if (h.minimum == h.maximum) return h.minimum;
    const size_t n = h.counts.size();
    const std::vector<double>& centres = h.centres;
    std::vector<double> mean1(n), mean2(n);
    std::vector<int64_t> weight1(n), weight2(n);
    int64_t w = 0;
    double s = 0;
    for (size_t i = 0; i < n; ++i) {
        w += h.counts[i];
        s += static_cast<double>(h.counts[i]) * centres[i];
        weight1[i] = w;
        mean1[i] = s / static_cast<double>(w);
    }
    w = 0;
    s = 0;
    for (size_t i = n; i-- > 0;) {
        w += h.counts[i];
        s += static_cast<double>(h.counts[i]) * centres[i];
        weight2[i] = w;
        mean2[i] = s / static_cast<double>(w);
    }
    size_t best = 0;
    double bestVariance = -1;
    for (size_t i = 0; i + 1 < n; ++i) {
        double d = mean1[i] - mean2[i + 1];
        double variance = static_cast<double>(weight1[i] * weight2[i + 1]) * (d * d);
        if (variance > bestVariance) {
            bestVariance = variance;
            best = i;
        }
    }
    return centres[best];
}

}  // namespace ORVA::Filters
