#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Replaces one grey value by another, or applies a table of (source, destination) pairs given
// as a second image; warns when a value cannot be held by the pixel type.
class CPReplaceValue : public CPNode {
  public:
    CPReplaceValue();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    float m_source;
    float m_destination;
};

}  // namespace ORVA
