#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Draws a text with the module's bitmap font into a copy of an image.
class CPDrawString : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_text = "Text";
    int32_t m_x = 0;
    int32_t m_y = 0;
    double m_value = 255.0;
    int32_t m_scale = 1;
    bool m_background = false;
    double m_backgroundValue = 0.0;
    bool m_allPlanes = false;
};

}  // namespace ORVA
