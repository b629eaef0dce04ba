#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Parses the text matrix of its "data_string" parameter into an IMAGE_GREY_F image.
class CPStringToImage : public CPNode {
  public:
    CPStringToImage();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

    // The text as the last Run left it: "\n" pairs turned into line feeds, " \n" appended.
    const std::string& DataString() const noexcept { return m_dataString; }

  private:
    std::string m_dataString;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
