#pragma once

#include <string>

#include "tarsel.h"

namespace ORVA::Filters {

// Cuts a rectangle out of an image.
class CPCrop : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    int m_x = 0;
    int m_y = 0;
    int m_width = 0;
    int m_height = 0;
    int m_row = 0;
};

}  // namespace ORVA::Filters
