#pragma once

#include <cstdint>

#include "support/NodeSupport.h"

namespace ORVA {

// Draws the bounding box of the foreground, or of every label, into a new image.
class CPBoundingBox : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_fgValue = 1.0;
    double m_bgValue = 0.0;
    bool m_label = false;
    bool m_fill = true;
    int32_t m_resizeBox = 0;
};

}  // namespace ORVA
