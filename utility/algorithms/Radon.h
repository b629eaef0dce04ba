#pragma once

// The Radon transform of one plane into an accumulator of its size, measured from the image
// origin: one row per angle of the half-turn, one column per distance bin, the diagonal
// spanning the width and the origin in the middle.
#include <cstdint>
#include <cstdio>

namespace ORVA {

// The kernels transform one plane of `width` x `height` into `out` of the same size, which
// must start at zero; `width` must be below 2^31 - 1. A vote for bin `width` counts in column 0
// of the next angle row; in the last row, which has none, it is dropped.

// Adds every pixel, zeros included, at its bin of every angle; x cos and y sin are running
// sums along the row and down the rows.
void RadonSum(const float* plane, int64_t width, int64_t height, float* out);

// Adds every non-zero pixel at its bin of every angle. With `raw`, writes "angle position"
// for each vote, position being the bin before truncation.
void RadonVote(const float* plane, int64_t width, int64_t height, float* out, std::FILE* raw);

}  // namespace ORVA
