#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Radon transform of an image, plane by plane, into an accumulator of its size measured from
// the image origin: one row per angle of the half-turn, one column per distance bin. "RADON"
// sums every pixel, "HOUGH" lets the non-zero pixels vote and can write each vote to a file.
class CPRadon : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    CRunOnce m_runOnce;
    std::string m_mode = "RADON";
    std::string m_rawOutPath = "NULL";
};

}  // namespace ORVA
