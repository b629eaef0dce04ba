#pragma once

// Running external programs: a command line split into words as a shell splits it, a child
// process in a group of its own with a timeout, stopped on an interrupt of the host, and a
// private temporary directory for the files it works on.
#include <string>
#include <string_view>
#include <vector>

namespace ORVA {

// The words of a command line as a POSIX shell splits them, without any expansion: blanks,
// tabs and line ends part words; '...' keeps everything up to the next '; "..." keeps
// everything but a backslash before " or \ ; a backslash outside quotes keeps the next
// character. Unbalanced quotes throw CException at `where`.
std::vector<std::string> SplitCommand(std::string_view command, const char* where);

// How a process ended.
struct SProcessExit {
    int status = 0;  // the exit status, when it exited
    int signal = 0;  // the signal that ended it, or 0
    bool timedOut = false;
    bool interrupted = false;  // the host was interrupted (InterruptRequested) and stopped it
    std::string errorTail;     // the last part of its standard error
};

// Runs `arguments` (the first one looked up in PATH unless it holds a '/') in a process group
// of its own, standard input from /dev/null, standard output shared, standard error passed on
// and its end kept. After `timeout` seconds (none when not above 0) the group is killed; on an
// interrupt of the host it is stopped (SIGTERM, then SIGKILL a second later). Failures to
// start it throw CException at `where`.
SProcessExit RunProcess(const std::vector<std::string>& arguments, double timeout,
                        const char* where);

// What a message adds about the standard error of a command: " Its standard error ends
// with:" and its last lines, or that it wrote nothing.
std::string ErrorEnd(const std::string& tail);

// A word as a shell would need it written, for logs.
std::string ShellQuoted(const std::string& word);

// A new private directory in the temporary directory ($TMPDIR, else /tmp), named `prefix` and
// six random characters, removed with everything in it when it goes; unless `keep`, when
// `keptNote` and its path are printed on standard output instead.
class CTemporaryDirectory {
  public:
    CTemporaryDirectory(const std::string& prefix, bool keep, std::string keptNote,
                        const char* where);
    ~CTemporaryDirectory();
    CTemporaryDirectory(const CTemporaryDirectory&) = delete;
    CTemporaryDirectory& operator=(const CTemporaryDirectory&) = delete;

    const std::string& Path() const noexcept { return m_path; }

  private:
    std::string m_path;
    bool m_keep;
    std::string m_keptNote;
};

}  // namespace ORVA
