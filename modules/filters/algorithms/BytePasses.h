#pragma once

// Byte planes filtered by two small integer kernels, on processors with AVX2: the column pass
// first, into 16-bit sums of the window's rows, then the row pass over those sums in 32 bits,
// one row at a time (nothing larger than a row is kept). Both sums are exact, so taking the
// columns first gives what the rows first give, sample for sample.
#include <vector>

#include "Plane.h"

namespace ORVA::Filters::Detail {

// The 8-bit Gaussian: `k` the fixed-point weights (summing to 256) across and along, the
// result (s + 2^15) >> 16. False, with nothing written, without AVX2.
bool GaussianBytesWide(SPlane<const uint8_t> src, SPlane<uint8_t> dst,
                       const std::vector<uint16_t>& k, EnBorder border);

// sum kx[i] ky[j] src into floats. False, with nothing written, without AVX2 or when the
// column sums could leave 16 bits or the whole sum 24 bits (where floats stop being exact).
bool IntegerBytesWide(SPlane<const uint8_t> src, SPlane<float> dst, const std::vector<int>& kx,
                      const std::vector<int>& ky, EnBorder border);

}  // namespace ORVA::Filters::Detail
