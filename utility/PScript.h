#pragma once

#include <string>

#include "support/NodeSupport.h"

namespace ORVA {

// Runs an external command on temporary text files: each input named by %INi% is written as a
// text matrix, the command runs without a shell, and each %OUTi% file it writes is read back
// onto output i.
class CPScript : public CPNode {
  public:
    CPScript();
    void Declare(CSetupDocument& doc) override;
    void Run() override;

  private:
    std::string m_command;
    double m_timeout;
    bool m_keepFiles;
    bool m_verbose;
    CRunOnce m_runOnce;
};

}  // namespace ORVA
