#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Loads a text matrix into an IMAGE_GREY_F image of two or three dimensions; the size comes
// from the layout of the file.
class CPReadASCII : public CPNode {
  public:
    CPReadASCII();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_filename;
    std::string m_separator;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
