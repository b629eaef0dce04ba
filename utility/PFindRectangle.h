#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Finds the bounding rectangle of the pixels of the first plane above a threshold.
class CPFindRectangle : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    double m_threshold = 0.0;
};

}  // namespace ORVA
