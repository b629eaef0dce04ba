#pragma once

#include <sys/types.h>

#include "base/Export.h"

namespace ORVA {

// Stopping work cleanly on SIGINT, SIGTERM or SIGHUP.
//
// A host that wants it calls InstallInterruptHandlers() once. While work that can stop
// cleanly is under way (a CInterruptible exists), such a signal only requests an interrupt:
// it sets a flag the work polls (InterruptRequested) and sends SIGTERM to the process groups
// of the child processes the work registered (CChildProcessGroup). The work then stops its
// children, removes what it made and fails with a CException; when the host exits afterwards,
// the process ends by that signal, so that its caller sees what happened. Without such work,
// or on a second signal, the process ends at once, as if no handler were installed.

// Sets the flag and sends SIGTERM to every registered child process group. Async-signal-safe.
TARSEL_API void RequestInterrupt() noexcept;
TARSEL_API bool InterruptRequested() noexcept;
// The signal that requested the interrupt; 0 when none did (no request, or a call).
TARSEL_API int InterruptSignal() noexcept;
// Forgets a request, for a host that goes on after an interrupted run.
TARSEL_API void ClearInterrupt() noexcept;
// Routes SIGINT, SIGTERM and SIGHUP to RequestInterrupt, with the behaviour above.
TARSEL_API void InstallInterruptHandlers();

// Marks work that polls InterruptRequested and stops cleanly, for as long as it exists.
class TARSEL_API CInterruptible {
  public:
    CInterruptible() noexcept;
    ~CInterruptible();
    CInterruptible(const CInterruptible&) = delete;
    CInterruptible& operator=(const CInterruptible&) = delete;
};

// Registers the process group of a child process, which an interrupt ends with SIGTERM, for
// as long as it exists. Throws CException when too many groups are registered at once.
class TARSEL_API CChildProcessGroup {
  public:
    explicit CChildProcessGroup(pid_t group);
    ~CChildProcessGroup();
    CChildProcessGroup(const CChildProcessGroup&) = delete;
    CChildProcessGroup& operator=(const CChildProcessGroup&) = delete;

  private:
    int m_slot;
};

}  // namespace ORVA
