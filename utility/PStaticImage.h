#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// One IMAGE_GREY_F image shared by every node of the process and kept between runs.
class CPStaticImage : public CPNode {
  public:
    CPStaticImage();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_mode;
};

}  // namespace ORVA
