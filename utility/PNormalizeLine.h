#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Normalizes every row of an image on its own: each row is mapped from its own minimum and
// maximum onto the output range, with the arithmetic of Normalize.
class CPNormalizeLine : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

  private:
    float m_outMin = 0.0f;
    float m_outMax = 255.0f;
    float m_outDefault = 0.0f;
    bool m_upcast = false;
};

}  // namespace ORVA
