#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "support/NodeSupport.h"

namespace ORVA {

// Runs an external command on temporary text files: each input named by %INi% is written as a
// text matrix, the command runs without a shell, and each %OUTi% file it writes is read back
// onto output i.
class CPScript : public CPNode {
  public:
    CPScript();
    void GetPluginSetup(CValueMap& setup) override;
    void NodeInit() override;
    void Run() override;

  private:
    std::string m_command;
    double m_timeout;
    bool m_keepFiles;
    bool m_verbose;
    CRunOnce m_runOnce;
};

// The words of a command line as a POSIX shell splits them, without any expansion: blanks,
// tabs and line ends part words; '...' keeps everything up to the next '; "..." keeps
// everything but a backslash before " or \ ; a backslash outside quotes keeps the next
// character. Unbalanced quotes throw.
std::vector<std::string> SplitCommand(std::string_view command);

// How a script process ended.
struct SScriptExit {
    int status = 0;  // the exit status, when it exited
    int signal = 0;  // the signal that ended it, or 0
    bool timedOut = false;
    std::string errorTail;  // the last part of its standard error
};

// Runs `arguments` (the first one looked up in PATH unless it holds a '/') in a process group
// of its own, standard input from /dev/null, standard output shared, standard error passed on
// and its end kept. After `timeout` seconds (none when not above 0) the group is killed.
SScriptExit RunScriptProcess(const std::vector<std::string>& arguments, double timeout);

}  // namespace ORVA
