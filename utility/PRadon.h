#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Radon transform of an image, plane by plane, into an accumulator of its size measured from
// the image origin: one row per angle of the half-turn, one column per distance bin. "RADON"
// sums every pixel, "HOUGH" lets the non-zero pixels vote and can write each vote to a file.
class CPRadon : public CPNode {
  public:
    CPRadon();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    std::string m_mode;
    std::string m_rawOutPath;
    CRunOnce m_runOnce;
};

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
