#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Reads a map from a file in the framework's text format, whole or one entry of it.
class CPReadMap : public CPNode {
  public:
    CPReadMap();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_filename;
    std::string m_key;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
