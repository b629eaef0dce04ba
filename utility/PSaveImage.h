#pragma once

#include <cstdint>
#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Writes an image as a PNG, TIFF, JPEG or PGM/PPM file.
class CPSaveImage : public CPNode {
  public:
    CPSaveImage();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_filename;
    std::string m_format;
    int32_t m_quality;
    int32_t m_compression;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
