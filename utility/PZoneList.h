#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Turns a label image into one bounding box per label value.
class CPZoneList : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void NodeInit() override;
    void Run() override;

  private:
    CRunOnce m_runOnce;
    int32_t m_xoffset = 0;
    int32_t m_yoffset = 0;
    std::string m_outputMode = "VALUEVECTOR";
};

}  // namespace ORVA
