#pragma once

#include "support/NodeSupport.h"

namespace ORVA {

// Reports an image's pixel type and extents, as a small float image and as a map.
class CPImageInfo : public CPNode {
  public:
    CPImageInfo();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    bool m_verbose;
};

}  // namespace ORVA
