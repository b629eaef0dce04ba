#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Paints a mark at every point of a table into a copy of an image.
class CPPaintMarks : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_shape = "CROSS";
    int32_t m_size = 3;
    double m_value = 255.0;
    int32_t m_xColumn = 0;
};

}  // namespace ORVA
