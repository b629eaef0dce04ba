#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Reads a PNG, TIFF, JPEG or PGM/PPM file, recognised by its content, into an image.
class CPReadImage : public CPNode {
  public:
    CPReadImage();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_filename;
    std::string m_rgbType;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
