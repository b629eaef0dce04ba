#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Replaces +infinity, -infinity and NaN in a float image by three chosen values.
class CPReplaceNonFinite : public CPNode {
  public:
    CPReplaceNonFinite();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    float m_positiveInfinity;
    float m_negativeInfinity;
    float m_nan;
};

}  // namespace ORVA
