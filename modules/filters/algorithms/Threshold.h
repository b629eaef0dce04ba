#pragma once

// Thresholds of a grey plane.
//
// Fixed threshold t, as OpenCV's cv::threshold (v a sample, m the maximum value):
//   BINARY      v > t ? m : 0         BINARY_INV  v > t ? 0 : m
//   TRUNC       v > t ? t : v         TOZERO      v > t ? v : 0       TOZERO_INV  v > t ? 0 : v
// For integer samples t becomes floor(t) (clamped to the type's range) and m is rounded half to
// even and saturated; float samples compare with (float)t, double samples with t.
// ThresholdMask writes 1 where v > t (0 where inverse) and 0 elsewhere, for binary outputs.
//
// Automatic thresholds return the t to use with the rules above (foreground is v > t):
// - Otsu on 8- and 16-bit samples: OpenCV's definition on the full histogram of the type
//   (2^8 or 2^16 bins): the first bin i whose between-class variance q1*q2*(mu1-mu2)^2 is
//   strictly the greatest, computed in double in OpenCV's order (bins whose class weights are
//   below FLT_EPSILON are passed over).
// - Otsu on other samples: scikit-image's threshold_otsu with 256 bins between the minimum and
//   the maximum (numpy's histogram edges, bin centres (e[i] + e[i+1]) / 2, both in float for
//   float samples as numpy keeps them); the first maximum of w1[i] * w2[i+1] *
//   (m1[i] - m2[i+1])^2 wins and its bin centre is t. A constant plane gives its value; NaN
//   samples are passed over. 32- and 64-bit integers take this definition too.
// - Triangle on 8-bit samples: OpenCV's definition (histogram of 256 bins, line from the peak
//   to the far end of the longer tail, one bin left of the greatest distance).
// - Triangle on other samples: the same on the 256-bin histogram between minimum and maximum
//   (the edges above), t the upper edge of the chosen bin; a constant plane gives its value.
#include <cstdint>
#include <vector>

#include "Plane.h"

namespace ORVA::Filters {

enum class EnThreshold { BINARY, BINARY_INV, TRUNC, TOZERO, TOZERO_INV };

namespace Detail {

// The threshold and maximum as samples of T.
template <class T>
struct SThresholdValues {
    T t, m;
    bool below;  // every sample is above t (t under the type's range)
    bool above;  // no sample is above t
};

template <class T>
SThresholdValues<T> ThresholdValues(double t, double m) {
    SThresholdValues<T> r{};
    if constexpr (std::is_floating_point_v<T>) {
        r.t = static_cast<T>(t);
        r.m = static_cast<T>(m);
    } else {
        const double lo = static_cast<double>(std::numeric_limits<T>::min());
        const double hi = static_cast<double>(std::numeric_limits<T>::max());
        double f = std::floor(t);
        r.below = f < lo;
        r.above = !(f < hi);  // NaN too: nothing is above it
        r.t = r.below ? std::numeric_limits<T>::min()
                      : (r.above ? std::numeric_limits<T>::max() : static_cast<T>(f));
        r.m = SaturateCast<T>(m);
    }
    return r;
}

}  // namespace Detail

template <class T>
void Threshold(SPlane<const T> src, SPlane<T> dst, double t, double maximum, EnThreshold mode) {
    CheckSameSize(src, dst, "Filters::Threshold");
    const auto v = Detail::ThresholdValues<T>(t, maximum);
    const T th = v.t, m = v.m, zero = T(0);
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(y);
        T* out = dst.Row(y);
        // For integers below the range every sample is above; above it none is. A sample
        // compared with the clamped threshold gives the same answer except at the clamp value.
        auto above = [&](T s) {
            if constexpr (!std::is_floating_point_v<T>)
                return v.below || (!v.above && s > th);
            else
                return s > th;
        };
        switch (mode) {
            case EnThreshold::BINARY:
                for (int64_t x = 0; x < src.width; ++x)
                    out[x] = above(in[x]) ? m : zero;
                break;
            case EnThreshold::BINARY_INV:
                for (int64_t x = 0; x < src.width; ++x)
                    out[x] = above(in[x]) ? zero : m;
                break;
            case EnThreshold::TRUNC:
                for (int64_t x = 0; x < src.width; ++x)
                    out[x] = above(in[x]) ? th : in[x];
                break;
            case EnThreshold::TOZERO:
                for (int64_t x = 0; x < src.width; ++x)
                    out[x] = above(in[x]) ? in[x] : zero;
                break;
            case EnThreshold::TOZERO_INV:
                for (int64_t x = 0; x < src.width; ++x)
                    out[x] = above(in[x]) ? zero : in[x];
                break;
        }
    }
}

template <class T>
void ThresholdMask(SPlane<const T> src, SPlane<uint8_t> dst, double t, bool inverse) {
    CheckSameSize(src, dst, "Filters::ThresholdMask");
    const auto v = Detail::ThresholdValues<T>(t, 1.0);
    const uint8_t on = inverse ? 0 : 1, off = inverse ? 1 : 0;
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(y);
        uint8_t* out = dst.Row(y);
        if constexpr (!std::is_floating_point_v<T>) {
            if (v.below || v.above) {
                std::fill(out, out + src.width, v.below ? on : off);
                continue;
            }
        }
        for (int64_t x = 0; x < src.width; ++x)
            out[x] = in[x] > v.t ? on : off;
    }
}

// ---- automatic thresholds ----

// OpenCV's Otsu on a histogram of `counts` bins (bin i holds the samples of value i).
double OtsuOfCounts(const std::vector<int64_t>& counts);
// OpenCV's triangle on a histogram of 256 bins; returns the bin.
int TriangleOfCounts(const std::vector<int64_t>& counts);

// The 256-bin histogram between minimum and maximum, as numpy builds it.
struct SRangeHistogram {
    double minimum = 0, maximum = 0;
    std::vector<int64_t> counts;  // 256 bins, empty when there is no sample
    std::vector<double> edges;    // 257 edges
    std::vector<double> centres;  // (e[i] + e[i+1]) / 2
    double start = 0, norm = 0;   // bin = (v - start) * norm before the edges correct it
};
// scikit-image's Otsu on such a histogram: the centre of the chosen bin.
double OtsuOfRange(const SRangeHistogram& histogram);
// Edges, centres and the bin scale of a histogram whose minimum and maximum are set.
// `single`: the samples are float32, and numpy computes edges and centres in float32 then.
void PrepareRange(SRangeHistogram& histogram, bool single);

template <class T>
SRangeHistogram RangeHistogram(SPlane<const T> src) {
    constexpr bool SINGLE = std::is_same_v<T, float>;
    // NaN never passes the comparisons, so it never becomes an extreme.
    T lo = std::numeric_limits<T>::has_infinity ? std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::max();
    T hi = std::numeric_limits<T>::has_infinity ? -std::numeric_limits<T>::infinity()
                                                : std::numeric_limits<T>::lowest();
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(y);
        for (int64_t x = 0; x < src.width; ++x) {
            lo = in[x] < lo ? in[x] : lo;
            hi = in[x] > hi ? in[x] : hi;
        }
    }
    SRangeHistogram h;
    if (src.width * src.height == 0 || hi < lo) return h;
    h.minimum = static_cast<double>(lo);
    h.maximum = static_cast<double>(hi);
    PrepareRange(h, SINGLE);
    constexpr int64_t BINS = 256;
    const double start = h.start, norm = h.norm;
    const float startSingle = static_cast<float>(start);
    for (int64_t y = 0; y < src.height; ++y) {
        const T* in = src.Row(y);
        for (int64_t x = 0; x < src.width; ++x) {
            const T s = in[x];
            if (s != s) continue;
            const double v = static_cast<double>(s);
            double offset;
            if constexpr (SINGLE)
                offset = static_cast<double>(s - startSingle);
            else
                offset = v - start;
            int64_t bin = static_cast<int64_t>(offset * norm);
            if (bin >= BINS) bin = BINS - 1;
            // The edges decide, as in numpy: the computed bin may be off by one.
            if (v < h.edges[static_cast<size_t>(bin)])
                --bin;
            else if (bin != BINS - 1 && v >= h.edges[static_cast<size_t>(bin) + 1])
                ++bin;
            ++h.counts[static_cast<size_t>(bin)];
        }
    }
    return h;
}

namespace Detail {

// counts[v] += the number of samples equal to v.
void AddByteHistogram(SPlane<const uint8_t> src, int64_t* counts);

template <class T>
std::vector<int64_t> FullHistogram(SPlane<const T> src) {
    std::vector<int64_t> counts(static_cast<size_t>(std::numeric_limits<T>::max()) + 1, 0);
    if constexpr (std::is_same_v<T, uint8_t>) {
        AddByteHistogram(src, counts.data());
    } else {
        for (int64_t y = 0; y < src.height; ++y) {
            const T* in = src.Row(y);
            for (int64_t x = 0; x < src.width; ++x)
                ++counts[in[x]];
        }
    }
    return counts;
}

}  // namespace Detail

template <class T>
double OtsuThreshold(SPlane<const T> src) {
    CheckPlane(src, "Filters::OtsuThreshold");
    if constexpr (std::is_same_v<T, uint8_t> || std::is_same_v<T, uint16_t>)
        return OtsuOfCounts(Detail::FullHistogram(src));
    else
        return OtsuOfRange(RangeHistogram(src));
}

template <class T>
double TriangleThreshold(SPlane<const T> src) {
    CheckPlane(src, "Filters::TriangleThreshold");
    if constexpr (std::is_same_v<T, uint8_t>) {
        return TriangleOfCounts(Detail::FullHistogram(src));
    } else {
        SRangeHistogram h = RangeHistogram(src);
        if (h.counts.empty()) return 0.0;
        if (h.minimum == h.maximum) return h.minimum;
        int bin = TriangleOfCounts(h.counts);
        return bin < 0 ? h.minimum : h.edges[size_t(bin) + 1];
    }
}

}  // namespace ORVA::Filters
