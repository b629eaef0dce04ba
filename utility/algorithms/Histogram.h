#pragma once

// Counting grey values into equally wide bins over a value range, alone and in pairs, and the
// entropies of a joint histogram.
#include <cstdint>

#include "image/Geometry.h"

namespace ORVA {

// Adds the values of `data` that lie in [rangeMin, rangeMax] to `counts` (binCount entries):
// bin trunc((x - rangeMin) * binCount / (rangeMax - rangeMin)) in double, truncated to 32 bits,
// at most binCount - 1. NaN values, and values whose bin is no number, are skipped. Defined for
// uint8_t and float.
template <class T>
void CountHistogram(const T* data, int64_t size, double rangeMin, double rangeMax, int64_t binCount,
                    uint64_t* counts);

// Adds 1 to out(i, j) (binCount x binCount counters, row j) for each position of `first` (size
// `firstSize`) whose pair of values, with the value of `second` (size `secondSize`) at the same
// x, y and z, lies in [rangeMin, rangeMax]: the bin of the first value is the column i, that of
// the second the row j. Bins are trunc(v * s - o) in float with s = binCount / (rangeMax -
// rangeMin) and o = s * rangeMin, negatives and NaN in bin 0, at most binCount - 1. Positions
// beyond the second image's extents are skipped, but its extents themselves are positions,
// read on at the flat index as long as it lies inside the second image. Defined for uint8_t and
// float, with float or uint64_t counters.
template <class T, class C>
void CountJointHistogram(const T* first, const CSize& firstSize, const T* second,
                         const CSize& secondSize, double rangeMin, double rangeMax,
                         int64_t binCount, C* out);

// Counts as the float bins of a histogram image: the nearest float each, or, normalised, each
// count divided by the sum of all in double (a sum of 0 counts as 1). CountsToFloat tells
// whether a count above 16777215 may have been rounded.
bool CountsToFloat(const uint64_t* counts, int64_t bins, float* out);
void NormalizedCounts(const uint64_t* counts, int64_t bins, float* out);
// Divides float bins by their sum, taken in double and then rounded to float, unless it is 0.
void NormalizeBins(float* bins, int64_t count);

// Entropies in bits of a joint histogram: counts(i, j), i the column (first image), j the row
// (second image), of `bins` x `bins` counters.
struct SEntropies {
    uint64_t pairs = 0;  // the counts' sum
    double first = 0.0, second = 0.0, joint = 0.0;
    double mutual = 0.0;  // first + second - joint, summed cell by cell

    // (first + second) / joint; 2 when all pairs share one bin, 0 without pairs.
    double Normalized() const {
        if (pairs == 0) return 0.0;
        return joint > 0.0 ? (first + second) / joint : 2.0;
    }
};
SEntropies JointEntropies(const uint64_t* counts, int64_t bins);

}  // namespace ORVA
