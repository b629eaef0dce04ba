#pragma once

#include <string>

#include "AsciiNumbers.h"
#include "support/NodeSupport.h"

namespace ORVA {

// Parses the text matrix of its "data_string" parameter into an IMAGE_GREY_F image.
class CPStringToImage : public CPNode {
  public:
    CPStringToImage();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

    // The text as the last Run left it: "\n" pairs turned into line feeds, " \n" appended.
    const std::string& DataString() const noexcept { return m_dataString; }

  private:
    std::string m_dataString;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
