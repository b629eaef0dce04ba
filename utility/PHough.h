#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Hough transform for straight lines: an image into an accumulator of (distance from the
// image centre, angle) and back. The accumulator has the size of its image: one row per angle
// of the half-turn, one column per distance bin.
class CPHough : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_direction = "FORWARD";
    std::string m_inType = "STANDARD";
};

}  // namespace ORVA
