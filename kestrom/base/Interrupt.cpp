#include "base/Interrupt.h"

#include <signal.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include "base/Exception.h"
#include "base/String.h"

namespace ORVA {

namespace {

// Only lock-free atomics: the signal handler reads and writes them.
std::atomic<bool> g_requested{false};
std::atomic<int> g_signal{0};
std::atomic<int> g_interruptible{0};
constexpr int GROUP_SLOTS = 64;
std::atomic<pid_t> g_groups[GROUP_SLOTS];
constexpr int SIGNALS[] = {SIGINT, SIGTERM, SIGHUP};

static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<pid_t>::is_always_lock_free);

// The default action of `signal`, taken now (or, inside its handler, as soon as it returns).
void EndBySignal(int signal) noexcept {
    struct sigaction action {};
    action.sa_handler = SIG_DFL;
    sigemptyset(&action.sa_mask);
    sigaction(signal, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal);
    raise(signal);
    sigprocmask(SIG_UNBLOCK, &set, nullptr);
}

void OnSignal(int signal) {
    const int saved = errno;
    const bool again = g_signal.exchange(signal) != 0;
    RequestInterrupt();
    if (again || g_interruptible.load() == 0) EndBySignal(signal);
    errno = saved;
}

// A host that was interrupted ends by the signal once it has cleaned up.
void EndByPendingSignal() {
    const int signal = g_signal.load();
    if (signal == 0 || !g_requested.load()) return;
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
    EndBySignal(signal);
}

}  // namespace

void RequestInterrupt() noexcept {
    g_requested.store(true);
    for (std::atomic<pid_t>& group : g_groups)
        if (pid_t id = group.load(); id > 0) kill(-id, SIGTERM);
}

bool InterruptRequested() noexcept {
    return g_requested.load();
}

int InterruptSignal() noexcept {
    return g_requested.load() ? g_signal.load() : 0;
}

void ClearInterrupt() noexcept {
    g_requested.store(false);
    g_signal.store(0);
}

void InstallInterruptHandlers() {
    static const bool installed = [] {
        struct sigaction action {};
        action.sa_handler = OnSignal;
        sigemptyset(&action.sa_mask);
        for (int signal : SIGNALS)
            sigaddset(&action.sa_mask, signal);
        for (int signal : SIGNALS)
            sigaction(signal, &action, nullptr);
        std::atexit(EndByPendingSignal);
        return true;
    }();
    (void)installed;
}

CInterruptible::CInterruptible() noexcept {
    g_interruptible.fetch_add(1);
}

CInterruptible::~CInterruptible() {
    g_interruptible.fetch_sub(1);
}

CChildProcessGroup::CChildProcessGroup(pid_t group) : m_slot(-1) {
    for (int slot = 0; slot < GROUP_SLOTS && m_slot < 0; ++slot) {
        pid_t free = 0;
        if (g_groups[slot].compare_exchange_strong(free, group)) m_slot = slot;
    }
    if (m_slot < 0)
        throw CException("CChildProcessGroup",
                         CString("more than %1 child process groups at once").Arg(GROUP_SLOTS));
    // A request that came before the registration reaches the group all the same.
    if (g_requested.load()) kill(-group, SIGTERM);
}

CChildProcessGroup::~CChildProcessGroup() {
    g_groups[m_slot].store(0);
}

}  // namespace ORVA
