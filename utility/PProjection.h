#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Collapses an image along one axis by the sum, mean, maximum or minimum of its values.
class CPProjection : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_axis = "Y";
    std::string m_mode = "SUM";
};

}  // namespace ORVA
