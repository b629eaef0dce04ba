#pragma once

#include "Gradient.h"

namespace ORVA::Filters {

// Sobel derivatives, gradient magnitude or direction of a grey image.
class CPSobel : public CPGradientNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_size = 3;
};

}  // namespace ORVA::Filters
