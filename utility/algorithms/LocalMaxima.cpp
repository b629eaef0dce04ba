#include "algorithms/LocalMaxima.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

#include "algorithms/LabelEquivalence.h"
#include "algorithms/LabelValues.h"
#include "algorithms/Threshold.h"

namespace ORVA {

namespace MaximumFilter {

namespace {

template <class T>
constexpr T Lowest() {
    if constexpr (std::is_floating_point_v<T>)
        return -std::numeric_limits<T>::infinity();
    else
        return std::numeric_limits<T>::lowest();
}

template <class T>
inline T Larger(T a, T b) {
    return a > b ? a : b;
}

template <class T>
inline T Clean(T value) {
    if constexpr (std::is_floating_point_v<T>)
        return value == value ? value : Lowest<T>();
    else
        return value;
}

template <class T>
void Larger(const T* a, const T* b, T* out, int64_t width) {
    for (int64_t x = 0; x < width; ++x)
        out[x] = Larger(a[x], b[x]);
}

// The maximum of row[max(0, x - r) .. min(width - 1, x + r)] for every x, r < width. `scratch`
// holds 2 (width + 2r) samples.
template <class T>
void FilterRow(const T* row, T* out, int64_t width, int64_t r, T* scratch) {
    if (r <= DIRECT_RADIUS) {
        T* padded = scratch;  // r lowest samples on either side
        std::fill(padded, padded + r, Lowest<T>());
        for (int64_t x = 0; x < width; ++x)
            padded[r + x] = Clean(row[x]);
        std::fill(padded + r + width, padded + 2 * r + width, Lowest<T>());
        // One loop per radius, so that the compiler keeps the window in registers.
        static_assert(DIRECT_RADIUS == 2);
        const T* p = padded;
        if (r == 0)
            for (int64_t x = 0; x < width; ++x)
                out[x] = p[x];
        else if (r == 1)
            for (int64_t x = 0; x < width; ++x)
                out[x] = Larger(Larger(p[x], p[x + 1]), p[x + 2]);
        else
            for (int64_t x = 0; x < width; ++x)
                out[x] =
                    Larger(Larger(Larger(p[x], p[x + 1]), Larger(p[x + 2], p[x + 3])), p[x + 4]);
        return;
    }
    // Blocks of w = 2r + 1 samples: forward[x] is the maximum from the block's start to x,
    // backward[x] from x to the block's end. A window of w samples spans the end of one block
    // and the start of the next, or one block exactly.
    const int64_t w = 2 * r + 1;
    T* forward = scratch;
    T* backward = scratch + width;
    for (int64_t start = 0; start < width; start += w) {
        const int64_t end = std::min(start + w, width);
        forward[start] = Clean(row[start]);
        for (int64_t x = start + 1; x < end; ++x)
            forward[x] = Larger(forward[x - 1], Clean(row[x]));
        backward[end - 1] = Clean(row[end - 1]);
        for (int64_t x = end - 2; x >= start; --x)
            backward[x] = Larger(backward[x + 1], Clean(row[x]));
    }
    // Clipped on the left, the window starts a block; clipped on the right, it ends where the
    // last block ends.
    const int64_t left = std::min(r + 1, width);
    for (int64_t x = 0; x < left; ++x)
        out[x] = forward[std::min(x + r, width - 1)];
    const int64_t right = std::max(left, width - r);
    Larger(backward + left - r, forward + left + r, out + left, right - left);
    for (int64_t x = right; x < width; ++x) {
        const int64_t lo = x - r;
        out[x] =
            lo / w == (width - 1) / w ? backward[lo] : Larger(backward[lo], forward[width - 1]);
    }
}

}  // namespace

template <class T>
CPlaneMaximum<T>::CPlaneMaximum(int64_t width, int64_t height, int64_t radius)
    : m_width(width),
      m_height(height),
      m_rx(std::min(radius, width - 1)),
      m_ry(std::min(radius, height - 1)),
      m_direct(m_ry <= DIRECT_RADIUS),
      m_kept(m_direct ? 2 * m_ry + 1 : height),
      m_rows(std::make_unique_for_overwrite<T[]>(static_cast<size_t>(m_kept * width))),
      m_forward(
          std::make_unique_for_overwrite<T[]>(static_cast<size_t>(m_direct ? 0 : m_kept * width))),
      m_scratch(std::make_unique_for_overwrite<T[]>(static_cast<size_t>(2 * (width + 2 * m_rx)))),
      m_out(std::make_unique_for_overwrite<T[]>(static_cast<size_t>(width))) {}

template <class T>
void CPlaneMaximum<T>::Start(const T* plane) {
    m_plane = plane;
    m_next = 0;
    if (m_direct) return;
    for (int64_t y = 0; y < m_height; ++y)
        FilterRow(plane + y * m_width, Kept(y), m_width, m_rx, m_scratch.get());
    // Blocks of w rows: forward rows as in FilterRow, the backward ones in place.
    const int64_t w = 2 * m_ry + 1;
    T* forward = m_forward.get();
    for (int64_t start = 0; start < m_height; start += w) {
        const int64_t end = std::min(start + w, m_height);
        std::copy(Kept(start), Kept(start) + m_width, forward + start * m_width);
        for (int64_t y = start + 1; y < end; ++y)
            Larger(forward + (y - 1) * m_width, Kept(y), forward + y * m_width, m_width);
        for (int64_t y = end - 2; y >= start; --y)
            Larger(Kept(y + 1), Kept(y), Kept(y), m_width);
    }
}

template <class T>
const T* CPlaneMaximum<T>::Row(int64_t y) {
    T* out = m_out.get();
    const int64_t r = m_ry;
    if (m_direct) {
        const int64_t lo = std::max<int64_t>(0, y - r), hi = std::min(m_height - 1, y + r);
        for (; m_next <= hi; ++m_next)
            FilterRow(m_plane + m_next * m_width, Kept(m_next), m_width, m_rx, m_scratch.get());
        if (lo == hi) return Kept(lo);
        Larger(Kept(lo), Kept(lo + 1), out, m_width);
        for (int64_t q = lo + 2; q <= hi; ++q)
            Larger(out, Kept(q), out, m_width);
        return out;
    }
    const T* forward = m_forward.get();
    const int64_t w = 2 * r + 1, lo = y - r, hi = std::min(y + r, m_height - 1);
    if (lo <= 0) return forward + hi * m_width;
    if (y + r >= m_height - 1 && lo / w == (m_height - 1) / w) return Kept(lo);
    Larger(Kept(lo), forward + hi * m_width, out, m_width);
    return out;
}

template class CPlaneMaximum<uint8_t>;
template class CPlaneMaximum<uint16_t>;
template class CPlaneMaximum<uint32_t>;
template class CPlaneMaximum<float>;

}  // namespace MaximumFilter

template <class T>
std::vector<SPeak> LocalMaxima(const T* data, const CSize& size, int64_t radius, double threshold,
                               std::vector<SPeak> storage) {
    using namespace MaximumFilter;
    std::vector<SPeak> peaks = std::move(storage);
    peaks.clear();
    const int64_t width = size.x, height = size.y, planePixels = width * height;
    const CAbove<T> above(threshold);
    if (planePixels == 0 || above.None()) return peaks;
    CPlaneMaximum<T> maximum(width, height, radius);
    // Candidate bytes, read eight at a time; the padding stays 0.
    static_assert(std::endian::native == std::endian::little);
    std::vector<uint8_t> candidate(static_cast<size_t>(width + 8), 0);
    // The plateau of every candidate of this row and the one above; 0 elsewhere.
    std::vector<uint32_t> previous(width), current(width);
    CLabelEquivalence<uint32_t> plateaus;

    for (int64_t z = 0; z < size.z; ++z) {
        const T* plane = data + z * planePixels;
        maximum.Start(plane);
        plateaus.Reset();
        // The first pixel of each provisional plateau of the plane, from here on.
        const size_t first = peaks.size();
        std::fill(previous.begin(), previous.end(), 0);
        for (int64_t y = 0; y < height; ++y) {
            const T* column = maximum.Row(y);
            const T* line = plane + y * width;
            const T* up = y > 0 ? line - width : line;
            for (int64_t x = 0; x < width; ++x)
                candidate[x] = (line[x] >= column[x]) & above(line[x]);
            std::fill(current.begin(), current.end(), 0);
            // Eight candidate bytes (0 or 1) at a time, set bit by set bit.
            for (int64_t x0 = 0; x0 < width; x0 += 8) {
                uint64_t eight;
                std::memcpy(&eight, candidate.data() + x0, 8);
                for (; eight; eight &= eight - 1) {
                    const int64_t x = x0 + (std::countr_zero(eight) >> 3);
                    // Candidates that touch and hold the same value join one plateau; its
                    // smallest provisional number is the first pixel in raster order. With a
                    // radius of 1 or more, candidates that touch always hold one value.
                    const T v = line[x];
                    uint32_t root = 0;
                    auto link = [&](uint32_t neighbour, T value) {
                        if (neighbour == 0 || (radius == 0 && value != v)) return;
                        root = root ? plateaus.JoinRoot(root, neighbour)
                                    : plateaus.Representative(neighbour);
                    };
                    if (x > 0) link(current[x - 1], line[x - 1]);
                    if (y > 0) {
                        if (x > 0) link(previous[x - 1], up[x - 1]);
                        link(previous[x], up[x]);
                        if (x + 1 < width) link(previous[x + 1], up[x + 1]);
                    }
                    if (!root) {
                        root = plateaus.NewLabel();
                        peaks.push_back({z * planePixels + y * width + x, static_cast<double>(v)});
                    }
                    current[x] = root;
                }
            }
            std::swap(previous, current);
        }
        // Only the plateaus' first provisional numbers stay.
        size_t kept = first;
        for (uint32_t k = 1; k <= plateaus.Count(); ++k)
            if (plateaus.Representative(k) == k) peaks[kept++] = peaks[first + k - 1];
        peaks.resize(kept);
    }
    return peaks;
}

template std::vector<SPeak> LocalMaxima(const uint8_t*, const CSize&, int64_t, double,
                                        std::vector<SPeak>);
template std::vector<SPeak> LocalMaxima(const uint16_t*, const CSize&, int64_t, double,
                                        std::vector<SPeak>);
template std::vector<SPeak> LocalMaxima(const uint32_t*, const CSize&, int64_t, double,
                                        std::vector<SPeak>);
template std::vector<SPeak> LocalMaxima(const float*, const CSize&, int64_t, double,
                                        std::vector<SPeak>);

template <class L>
std::vector<SPeak> LargestPerLabel(const std::vector<SPeak>& peaks, const L* labels,
                                   int64_t maxLabel) {
    std::vector<int64_t> best(static_cast<size_t>(std::max<int64_t>(maxLabel, 0)), -1);
    for (size_t i = 0; i < peaks.size(); ++i) {
        const int64_t label = LabelOf(labels[peaks[i].index]);
        if (label == NO_LABEL || label > maxLabel) continue;
        int64_t& b = best[static_cast<size_t>(label - 1)];
        if (b < 0 || peaks[i].value > peaks[static_cast<size_t>(b)].value)
            b = static_cast<int64_t>(i);
    }
    std::vector<SPeak> largest;
    for (int64_t b : best)
        if (b >= 0) largest.push_back(peaks[static_cast<size_t>(b)]);
    return largest;
}

template std::vector<SPeak> LargestPerLabel(const std::vector<SPeak>&, const uint8_t*, int64_t);
template std::vector<SPeak> LargestPerLabel(const std::vector<SPeak>&, const float*, int64_t);

namespace {

// Keys that ascend as the values descend; -0 sorts as +0.
inline uint64_t DescendingKey(double value) {
    const uint64_t bits = std::bit_cast<uint64_t>(value + 0.0);
    return bits >> 63 ? bits : ~(bits | (uint64_t(1) << 63));
}

}  // namespace

// Strongest first: descending value, raster order among equal values. A stable radix sort on
// the bits in which the values' keys differ (few, for pixel values of one scale), 11 at a time
// from the lowest, skipping the digits all keys share; the maxima come in raster order, which
// stability keeps.
void SortStrongestFirst(std::vector<SPeak>& peaks, std::vector<SPeak>& scratch) {
    const size_t n = peaks.size();
    if (n < 2) return;
    const uint64_t first = DescendingKey(peaks[0].value);
    uint64_t differ = 0;
    for (const SPeak& peak : peaks)
        differ |= DescendingKey(peak.value) ^ first;
    if (!differ) return;
    constexpr int DIGIT = 11;
    constexpr uint64_t MASK = (uint64_t(1) << DIGIT) - 1;
    const int low = std::countr_zero(differ);
    const int digits = (64 - std::countl_zero(differ) - low + DIGIT - 1) / DIGIT;
    std::vector<std::array<size_t, MASK + 1>> counts(static_cast<size_t>(digits));
    for (const SPeak& peak : peaks) {
        const uint64_t key = DescendingKey(peak.value) >> low;
        for (int d = 0; d < digits; ++d)
            ++counts[d][(key >> (DIGIT * d)) & MASK];
    }
    scratch.resize(n);
    for (int d = 0; d < digits; ++d) {
        const int shift = low + DIGIT * d;
        std::array<size_t, MASK + 1>& start = counts[d];
        if (start[(first >> shift) & MASK] == n) continue;
        size_t sum = 0;
        for (size_t& count : start)
            sum += std::exchange(count, sum);
        for (const SPeak& peak : peaks)
            scratch[start[(DescendingKey(peak.value) >> shift) & MASK]++] = peak;
        peaks.swap(scratch);
    }
}

}  // namespace ORVA
