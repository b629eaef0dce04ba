#include "Process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>

#include "base/Interrupt.h"
#include "tarsel.h"

extern char** environ;

namespace ORVA {

namespace {

// How much of the standard error is kept, and how much of it a message shows.
constexpr size_t KEPT_ERROR = 4096;
constexpr size_t SHOWN_ERROR = 2000;
// How long a process stopped on an interrupt has to end before it is killed.
constexpr auto STOP_GRACE = std::chrono::seconds(1);

// A file descriptor, closed when it goes.
class CDescriptor {
  public:
    explicit CDescriptor(int fd = -1) : m_fd(fd) {}
    ~CDescriptor() { Close(); }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    int Get() const noexcept { return m_fd; }
    void Close() {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = -1;
    }

  private:
    int m_fd;
};

// The process of a command: its group is killed and the process reaped when it goes early.
class CChild {
  public:
    CChild(pid_t pid, const char* where) : m_pid(pid), m_where(where) {}
    ~CChild() {
        if (m_pid > 0) Kill();
    }
    CChild(const CChild&) = delete;
    CChild& operator=(const CChild&) = delete;

    // Whether it has ended; then `status` holds how.
    bool Ended(int& status) {
        pid_t done = waitpid(m_pid, &status, WNOHANG);
        if (done == m_pid) {
            m_pid = 0;
            return true;
        }
        if (done < 0 && errno != EINTR)
            throw CException(
                m_where, CString("lost the process of the command: %1").Arg(std::strerror(errno)));
        return false;
    }
    // Asks the group to end, and kills it when it has not ended within the grace.
    void Stop() {
        ::kill(-m_pid, SIGTERM);
        const auto deadline = std::chrono::steady_clock::now() + STOP_GRACE;
        int status = 0;
        while (std::chrono::steady_clock::now() < deadline) {
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                // What it started may still run.
                ::kill(-m_pid, SIGKILL);
                m_pid = 0;
                return;
            }
            ::usleep(10000);
        }
        Kill();
    }
    void Kill() {
        ::kill(-m_pid, SIGKILL);
        int status = 0;
        while (waitpid(m_pid, &status, 0) < 0 && errno == EINTR) {
        }
        m_pid = 0;
    }

  private:
    pid_t m_pid;
    const char* m_where;
};

// Reads what the pipe holds now into `tail` (keeping its end) and passes it on to standard
// error; false once the pipe is closed. At most `rounds` reads.
bool Drain(int fd, std::string& tail, int rounds = 1 << 30) {
    char buffer[4096];
    while (rounds-- > 0) {
        ssize_t count = ::read(fd, buffer, sizeof buffer);
        if (count == 0) return false;
        if (count < 0) {
            if (errno == EINTR) continue;
            return errno == EAGAIN || errno == EWOULDBLOCK;
        }
        std::cerr.write(buffer, count);
        tail.append(buffer, static_cast<size_t>(count));
        if (tail.size() > 2 * KEPT_ERROR) tail.erase(0, tail.size() - KEPT_ERROR);
    }
    std::cerr.flush();
    return true;
}

// posix_spawn's settings, released when they go.
struct SSpawnSettings {
    SSpawnSettings() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    ~SSpawnSettings() {
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
    }
    SSpawnSettings(const SSpawnSettings&) = delete;
    SSpawnSettings& operator=(const SSpawnSettings&) = delete;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
};

}  // namespace

std::vector<std::string> SplitCommand(std::string_view command, const char* where) {
    std::vector<std::string> words;
    std::string word;
    bool inWord = false;
    for (size_t i = 0; i < command.size(); ++i) {
        char c = command[i];
        if (c == ' ' || c == '\t' || c == '\n' || c == '\r') {
            if (inWord) words.push_back(std::move(word));
            word.clear();
            inWord = false;
            continue;
        }
        inWord = true;
        if (c == '\'') {
            size_t close = command.find('\'', i + 1);
            if (close == std::string_view::npos)
                throw CException(where, CString("the command has a ' at %1 that is not closed")
                                            .Arg(static_cast<int64_t>(i)));
            word.append(command.substr(i + 1, close - i - 1));
            i = close;
        } else if (c == '"') {
            size_t open = i;
            for (++i;; ++i) {
                if (i >= command.size())
                    throw CException(where, CString("the command has a \" at %1 that is not closed")
                                                .Arg(static_cast<int64_t>(open)));
                char d = command[i];
                if (d == '"') break;
                if (d == '\\' && i + 1 < command.size() &&
                    (command[i + 1] == '"' || command[i + 1] == '\\'))
                    d = command[++i];
                word.push_back(d);
            }
        } else if (c == '\\' && i + 1 < command.size()) {
            word.push_back(command[++i]);
        } else {
            word.push_back(c);
        }
    }
    if (inWord) words.push_back(std::move(word));
    return words;
}

SProcessExit RunProcess(const std::vector<std::string>& arguments, double timeout,
                        const char* where) {
    if (arguments.empty()) throw CException(where, "the command is empty");
    SProcessExit result;
    if (InterruptRequested()) {
        result.interrupted = true;
        return result;
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw CException(where, CString("cannot make a pipe: %1").Arg(std::strerror(errno)));
    CDescriptor reader(ends[0]), writer(ends[1]);

    SSpawnSettings settings;
    posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&settings.actions, writer.Get(), STDERR_FILENO);
    // Its own process group, so that a timeout ends whatever it started; no signal blocked,
    // and neither a broken pipe nor the request to stop ignored because the host had it so.
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    sigaddset(&defaults, SIGTERM);
    posix_spawnattr_setsigmask(&settings.attributes, &none);
    posix_spawnattr_setsigdefault(&settings.attributes, &defaults);
    posix_spawnattr_setpgroup(&settings.attributes, 0);
    posix_spawnattr_setflags(&settings.attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK |
                                                       POSIX_SPAWN_SETSIGDEF);
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);

    // What the host printed comes before what the program prints.
    std::cout.flush();
    std::cerr.flush();
    std::fflush(nullptr);
    pid_t pid = 0;
    if (int failed = posix_spawnp(&pid, argv[0], &settings.actions, &settings.attributes,
                                  argv.data(), environ))
        throw CException(where, "cannot run '" + arguments[0] + "': " + std::strerror(failed));
    CChild child(pid, where);
    // An interrupt of the host sends the group SIGTERM from now on.
    CChildProcessGroup registered(pid);
    writer.Close();
    fcntl(reader.Get(), F_SETFL, fcntl(reader.Get(), F_GETFL) | O_NONBLOCK);

    using Clock = std::chrono::steady_clock;
    // Beyond about 30 years a limit is no limit, and the arithmetic stays in range.
    const bool limited = timeout > 0.0 && timeout < 1e9;
    const Clock::time_point deadline =
        limited ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                     std::chrono::duration<double>(timeout))
                : Clock::time_point::max();
    bool open = true;
    int nap = 1;  // milliseconds between looks once the pipe is closed
    int status = 0;
    for (;;) {
        // The interrupt first: the SIGTERM it sent may have ended the command already.
        if (InterruptRequested()) {
            child.Stop();
            result.interrupted = true;
            break;
        }
        if (child.Ended(status)) break;
        Clock::time_point now = Clock::now();
        if (now >= deadline) {
            child.Kill();
            result.timedOut = true;
            break;
        }
        // With the pipe open, its end wakes us as the program exits, and a signal as it comes.
        int wait = open ? 100 : nap;
        if (!open) nap = std::min(nap * 2, 50);
        if (limited)
            wait = static_cast<int>(std::min<int64_t>(
                wait,
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - now).count() + 1));
        pollfd ready{reader.Get(), POLLIN, 0};
        if (::poll(&ready, open ? 1 : 0, wait) > 0) open = Drain(reader.Get(), result.errorTail);
    }
    // What is left, without waiting for processes it may have left behind.
    if (open) Drain(reader.Get(), result.errorTail, 64);
    std::cerr.flush();
    if (!result.timedOut && !result.interrupted) {
        if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    }
    return result;
}

std::string ErrorEnd(const std::string& tail) {
    std::string_view text = tail;
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    if (text.empty()) return " It wrote nothing to standard error.";
    std::string cut;
    if (text.size() > SHOWN_ERROR) {
        text = text.substr(text.size() - SHOWN_ERROR);
        // Start at a line when one begins in the part shown.
        if (size_t feed = text.find('\n'); feed != std::string_view::npos && feed + 1 < text.size())
            text.remove_prefix(feed + 1);
        cut = "...";
    }
    return " Its standard error ends with:\n" + cut + std::string(text);
}

std::string ShellQuoted(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\n'\"\\$`;&|<>()*?[]#~%") == std::string::npos)
        return word;
    return "'" + CString(word).Replace("'", "'\\''") + "'";
}

CTemporaryDirectory::CTemporaryDirectory(const std::string& prefix, bool keep, std::string keptNote,
                                         const char* where)
    : m_keep(keep), m_keptNote(std::move(keptNote)) {
    std::error_code error;
    std::filesystem::path base = std::filesystem::temp_directory_path(error);
    if (error) base = "/tmp";
    std::string pattern = (base / (prefix + "-XXXXXX")).string();
    if (!mkdtemp(pattern.data()))
        throw CException(where, "cannot make a temporary directory in '" + base.string() +
                                    "': " + std::strerror(errno));
    m_path = pattern;
}

CTemporaryDirectory::~CTemporaryDirectory() {
    if (m_keep) {
        std::cout << m_keptNote << "'" << m_path << "'" << std::endl;
        return;
    }
    std::error_code error;
    std::filesystem::remove_all(m_path, error);
}

}  // namespace ORVA
