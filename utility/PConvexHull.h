#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// The convex hull of the non-zero pixels of an image or of the points of a table: its vertices,
// its filled mask and its measures.
class CPConvexHull : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_inputMode = "IMAGE";
    int32_t m_xColumn = 0;
};

}  // namespace ORVA
