#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Hands out a copy of an image's attribute map.
class CPGetImageAttributes : public CPNode {
  public:
    void Declare(CSetupDocument& doc) override;
    void Run() override;
};

}  // namespace ORVA
