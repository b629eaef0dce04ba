#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// One text operation per run on the value of input 0: joining, replacing, cutting, changing
// case, splitting, measuring, parsing a number, or filling a template from inputs 0 to 8.
class CPStringManipulation : public CPNode {
  public:
    CPStringManipulation();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_mode;
    std::string m_text;
    std::string m_search;
    std::string m_replace;
    int32_t m_start;
    int32_t m_length;
};

}  // namespace ORVA
