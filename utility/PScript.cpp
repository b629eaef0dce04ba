#include "PScript.h"

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
#include <fstream>
#include <iostream>
#include <optional>
#include <set>

extern char** environ;

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) Script::Run";
constexpr const char* SAVE_ASCII = "%ORVADIR%/bin/utility::SaveASCII";
constexpr const char* READ_ASCII = "%ORVADIR%/bin/utility::ReadASCII";
constexpr const char* DEFAULT_COMMAND =
    "sh \"%ORVADIR%/examples/scripts/invert.sh\" %IN0% %OUT0% 255";
// Placeholders name pins 0 to 99.
constexpr int PINS = 100;
// How much of the standard error is kept, and how much of it a message shows.
constexpr size_t KEPT_ERROR = 4096;
constexpr size_t SHOWN_ERROR = 2000;
// Nine significant digits read back as the same float.
constexpr int FLOAT_DIGITS = 9;

bool IsNameChar(char c) {
    return c == '_' || (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool IsDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

struct SPlaceholder {
    bool output;
    int pin;
};

// %IN<i>% and %OUT<i>%; other names are environment variables.
std::optional<SPlaceholder> ParsePlaceholder(std::string_view name) {
    bool output = name.starts_with("OUT");
    if (!output && !name.starts_with("IN")) return std::nullopt;
    std::string_view digits = name.substr(output ? 3 : 2);
    if (!IsDigits(digits)) return std::nullopt;
    if (digits.size() > 2)
        throw CException(LOCATION, CString("%%1% names a pin beyond %2: a script has pins 0 to %2")
                                       .Arg(name)
                                       .Arg(PINS - 1));
    return SPlaceholder{output, std::stoi(std::string(digits))};
}

// `word` with each placeholder replaced by what `path` gives for it and each other %NAME% by
// the environment variable, with the rules of CStringTools::UnwrapEnvVars ("%%" is one '%').
// One pass, so that neither a path nor a variable's value is searched again.
template <class Path>
std::string Expand(std::string_view word, Path&& path) {
    std::string result;
    size_t i = 0;
    while (i < word.size()) {
        size_t close = word[i] == '%' ? word.find('%', i + 1) : std::string_view::npos;
        std::string_view name = close == std::string_view::npos ? std::string_view()
                                                                : word.substr(i + 1, close - i - 1);
        if (close == i + 1) {
            result.push_back('%');
            i += 2;
        } else if (name.empty() || !std::all_of(name.begin(), name.end(), IsNameChar)) {
            result.push_back(word[i++]);
        } else {
            if (std::optional<SPlaceholder> placeholder = ParsePlaceholder(name))
                result += path(*placeholder);
            else
                result += CStringTools::UnwrapEnvVars(word.substr(i, close - i + 1));
            i = close + 1;
        }
    }
    return result;
}

// A file name as SaveASCII and ReadASCII take it: they expand variables, so '%' is doubled.
std::string Literal(const std::string& path) {
    return CString(path).Replace("%", "%%");
}

// What a message adds about the standard error of the command.
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

// A private directory for the files of one run, removed with everything in it when it goes
// unless it is to be kept.
class CScratchDirectory {
  public:
    explicit CScratchDirectory(bool keep) : m_keep(keep) {
        std::error_code error;
        std::filesystem::path base = std::filesystem::temp_directory_path(error);
        if (error) base = "/tmp";
        std::string pattern = (base / "orva-script-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw CException(LOCATION, "cannot make a temporary directory in '" + base.string() +
                                           "': " + std::strerror(errno));
        m_path = pattern;
    }
    ~CScratchDirectory() {
        if (m_keep) {
            std::cout << "Script: the files are kept in '" << m_path << "'" << std::endl;
            return;
        }
        std::error_code error;
        std::filesystem::remove_all(m_path, error);
    }
    CScratchDirectory(const CScratchDirectory&) = delete;
    CScratchDirectory& operator=(const CScratchDirectory&) = delete;

    std::string File(const SPlaceholder& placeholder) const {
        return m_path + (placeholder.output ? "/out" : "/in") + std::to_string(placeholder.pin) +
               ".txt";
    }

  private:
    std::string m_path;
    bool m_keep;
};

// Writes input `pin` where the command expects it: an image as a text matrix through
// SaveASCII, a number, bool or string as its text.
void WriteInput(const CValue& input, const std::string& path, int pin) {
    if (HoldsType<CImage>(&input)) {
        CImage* image = UnwrapPointer<CImage>(&input, LOCATION);
        if (!image) throw CException(LOCATION, CString("input %1 holds no image").Arg(pin));
        try {
            RunPlugin(SAVE_ASCII, value(std::make_unique<CValuePointer<CImage>>(image)),
                      param("filename", Literal(path)), param("precision", FLOAT_DIGITS),
                      param("base_type", "dec"), param("text", ""), param("append", false));
        } catch (const CException& error) {
            throw CException(LOCATION, CString("input %1 cannot be written as a text matrix: %2")
                                           .Arg(pin)
                                           .Arg(error.Message()));
        }
        return;
    }
    std::string text;
    switch (input.GenericType()) {
        case CValue::VAL_LONG:
        case CValue::VAL_DOUBLE:  // the shortest text that reads back exactly
            text = input.String() + "\n";
            break;
        case CValue::VAL_BOOL:
            text = input.Bool() ? "1\n" : "0\n";
            break;
        case CValue::VAL_STRING:
            text = input.String();
            break;
        default:
            throw CException(LOCATION, CString("input %1 holds a %2; a script takes images, "
                                               "numbers, bools and strings")
                                           .Arg(pin)
                                           .Arg(TypeName(input.Type())));
    }
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file)
        throw CException(LOCATION, CString("cannot write input %1 to '%2'").Arg(pin).Arg(path));
}

// Reads the file of %OUT<pin>% through ReadASCII.
std::unique_ptr<CValue> ReadOutput(const std::string& path, int pin, const SScriptExit& exit,
                                   bool keep) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error))
        throw CException(
            LOCATION, CString("the command wrote no file for %OUT%1% ('%2').").Arg(pin).Arg(path) +
                          ErrorEnd(exit.errorTail));
    value_list read;
    try {
        read = RunPlugin(READ_ASCII, param("filename", Literal(path)),
                         param("separator", "WHITE_SPACE"), param("run_once", false));
    } catch (const CException& failure) {
        throw CException(LOCATION,
                         CString("the file of %OUT%1% cannot be read as a text matrix: %2")
                             .Arg(pin)
                             .Arg(failure.Message()));
    }
    if (read.empty() || read[0].empty())
        throw CException(LOCATION, CString("ReadASCII gave no image for %OUT%1%").Arg(pin));
    // Shares the image with the result list, which goes at once.
    std::unique_ptr<CValue> image = read[0]->CloneUnique(OWNERSHIP_SHALLOW);
    // The file is gone after the run.
    if (CImage* pixels = UnwrapPointer<CImage>(image.get(), LOCATION); pixels && !keep)
        pixels->Attributes().RemoveEntry("image_path");
    return image;
}

// Shows a word as a shell would need it, for the log.
std::string Quoted(const std::string& word) {
    if (!word.empty() && word.find_first_of(" \t\n'\"\\$`;&|<>()*?[]#~%") == std::string::npos)
        return word;
    return "'" + CString(word).Replace("'", "'\\''") + "'";
}

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
    explicit CChild(pid_t pid) : m_pid(pid) {}
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
                LOCATION, CString("lost the process of the command: %1").Arg(std::strerror(errno)));
        return false;
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

CPScript::CPScript()
    : m_command(DEFAULT_COMMAND), m_timeout(60.0), m_keepFiles(false), m_verbose(false) {}

void CPScript::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "Script");
    doc.Brief(
        "Runs an external program on temporary text files.",
        "Each input that \"command\" names as %IN0%, %IN1%, ... is written to a new file in a "
        "private temporary directory: an image as a text matrix (SaveASCII, floats with 9 "
        "digits, so they read back exactly), a number as its shortest exact text, a bool as 1 "
        "or 0, a string as it is. %OUT0%, %OUT1%, ... name files the program is to write; "
        "after it ends, each is read as a text matrix (ReadASCII) onto output 0, 1, ... as an "
        "IMAGE_GREY_F image. Any pin from 0 to 99 can be used.\n"
        "The command is split into words as a shell does (blanks part them; '...', \"...\" and "
        "a backslash keep blanks and quotes), then in each word the placeholders and "
        "environment variables (%ORVADIR%, %HOME%; %% is a single %) are replaced. It runs "
        "without a shell, in the current directory, so no file name and no value can ever "
        "become a command; write \"sh -c '...'\" where pipes or redirections are wanted. The "
        "first word is looked up in PATH unless it holds a '/'. Standard input is empty, "
        "standard output and standard error are those of the host.\n"
        "A program that exits with a status other than 0, is ended by a signal or runs longer "
        "than \"timeout\" (it is then killed with every process it started) fails the node, "
        "and the message carries the end of its standard error; so does an output file it did "
        "not write. The temporary directory is removed afterwards, also on failure, unless "
        "\"keep_files\" is set.");
    doc.Note(
        "The shipped example examples/scripts/invert.sh inverts a matrix with awk; the graph "
        "examples/script.json runs it on the sample image. Images of types that SaveASCII "
        "cannot write (IMAGE_GREY_64, IMAGE_GREY_D, colour, IMAGE_BINARY_BG) are refused: "
        "convert them with ConvertType first.");
    // Pins beyond these work alike.
    for (int pin = 0; pin < 3; ++pin)
        doc.Input(pin,
                  CString("Value written to %IN%1%: an image of type IMAGE_GREY_F, IMAGE_GREY_8, "
                          "IMAGE_GREY_16, IMAGE_GREY_32 or IMAGE_BINARY_FG, a number, a bool or a "
                          "string.")
                      .Arg(pin),
                  CSetupDocument::PIN_VALUE)
            .Optional();
    for (int pin = 0; pin < 3; ++pin)
        doc.Output(pin, CString("The file %OUT%1% read as an IMAGE_GREY_F image.").Arg(pin));
    doc.Parameter("command", m_command,
                  "the program and its arguments, with %IN0%, %OUT0%, ... for the files");
    doc.Parameter("timeout", m_timeout,
                  "seconds the program may run before it is killed; 0 or less waits for ever");
    doc.Parameter("keep_files", m_keepFiles,
                  "keep the temporary directory and print its path, to look at the files")
        .Toggle();
    doc.Parameter("verbose", m_verbose, "print the command as it is run, and its duration")
        .Toggle()
        .Order(98);
    doc.Parameter("run_once", m_runOnce.Enabled(),
                  "run the program only on the first run after the parameters are set")
        .Toggle()
        .Order(99);
    doc.Keywords(
        {"script", "external", "program", "command", "process", "shell", "python", "call"});
    doc.SeeAlso("SaveASCII, ReadASCII, ConvertType");
    doc.WriteTo(setup);
}

void CPScript::NodeInit() {
    m_command = Parameters().EntryString("command", m_command);
    ReadDoubleOrLong(Parameters(), "timeout", m_timeout);
    m_keepFiles = Parameters().EntryBool("keep_files", m_keepFiles);
    m_verbose = Parameters().EntryBool("verbose", m_verbose);
    m_runOnce.Reset(Parameters().EntryBool("run_once", m_runOnce.Enabled()));
}

void CPScript::Run() {
    if (m_runOnce.Skip()) return;
    std::vector<std::string> words = SplitCommand(m_command);
    if (words.empty()) throw CException(LOCATION, "the command is empty");
    std::set<int> inputs, outputs;
    for (const std::string& word : words)
        Expand(word, [&](const SPlaceholder& placeholder) {
            (placeholder.output ? outputs : inputs).insert(placeholder.pin);
            return std::string();
        });
    for (int pin : inputs) {
        const CValue* input = GetStackInput(pin, false);
        if (!input || input->GenericType() == CValue::VAL_NULL)
            throw CException(LOCATION,
                             CString("the command uses %IN%1% but input %1 is empty").Arg(pin));
    }

    CScratchDirectory directory(m_keepFiles);
    for (int pin : inputs)
        WriteInput(*GetStackInput(pin, false), directory.File({false, pin}), pin);
    std::vector<std::string> arguments;
    for (const std::string& word : words)
        arguments.push_back(Expand(
            word, [&](const SPlaceholder& placeholder) { return directory.File(placeholder); }));
    if (m_verbose) {
        std::cout << "Script: running";
        for (const std::string& argument : arguments)
            std::cout << ' ' << Quoted(argument);
        std::cout << std::endl;
    }

    auto start = std::chrono::steady_clock::now();
    SScriptExit exit = RunScriptProcess(arguments, m_timeout);
    if (m_verbose)
        std::cout
            << "Script: the command took "
            << FormatNumber(
                   std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                   3)
            << " s" << std::endl;
    if (exit.timedOut)
        throw CException(
            LOCATION,
            CString("the command did not end within %1 s and was killed.").Arg(m_timeout) +
                ErrorEnd(exit.errorTail));
    if (exit.signal != 0)
        throw CException(LOCATION, CString("the command was ended by signal %1 (%2).")
                                           .Arg(exit.signal)
                                           .Arg(strsignal(exit.signal)) +
                                       ErrorEnd(exit.errorTail));
    if (exit.status != 0)
        throw CException(LOCATION, CString("the command exited with status %1.").Arg(exit.status) +
                                       ErrorEnd(exit.errorTail));

    // Outputs are set only when every file could be read.
    std::vector<std::pair<int, std::unique_ptr<CValue>>> results;
    for (int pin : outputs)
        results.emplace_back(pin, ReadOutput(directory.File({true, pin}), pin, exit, m_keepFiles));
    for (auto& [pin, result] : results)
        SetStackOutput(pin, std::move(result));
    m_runOnce.MarkDone();
}

std::vector<std::string> SplitCommand(std::string_view command) {
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
                throw CException(LOCATION, CString("the command has a ' at %1 that is not closed")
                                               .Arg(static_cast<int64_t>(i)));
            word.append(command.substr(i + 1, close - i - 1));
            i = close;
        } else if (c == '"') {
            size_t open = i;
            for (++i;; ++i) {
                if (i >= command.size())
                    throw CException(LOCATION,
                                     CString("the command has a \" at %1 that is not closed")
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

SScriptExit RunScriptProcess(const std::vector<std::string>& arguments, double timeout) {
    if (arguments.empty()) throw CException(LOCATION, "the command is empty");
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throw CException(LOCATION, CString("cannot make a pipe: %1").Arg(std::strerror(errno)));
    CDescriptor reader(ends[0]), writer(ends[1]);

    SSpawnSettings settings;
    posix_spawn_file_actions_addopen(&settings.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&settings.actions, writer.Get(), STDERR_FILENO);
    // Its own process group, so that a timeout ends whatever it started; no signal blocked or
    // ignored because the host had it so.
    sigset_t none, defaults;
    sigemptyset(&none);
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
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
        throw CException(LOCATION, "cannot run '" + arguments[0] + "': " + std::strerror(failed));
    CChild child(pid);
    writer.Close();
    fcntl(reader.Get(), F_SETFL, fcntl(reader.Get(), F_GETFL) | O_NONBLOCK);

    using Clock = std::chrono::steady_clock;
    // Beyond about 30 years a limit is no limit, and the arithmetic stays in range.
    const bool limited = timeout > 0.0 && timeout < 1e9;
    const Clock::time_point deadline =
        limited ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                     std::chrono::duration<double>(timeout))
                : Clock::time_point::max();
    SScriptExit result;
    bool open = true;
    int nap = 1;  // milliseconds between looks once the pipe is closed
    int status = 0;
    for (;;) {
        if (child.Ended(status)) break;
        Clock::time_point now = Clock::now();
        if (now >= deadline) {
            child.Kill();
            result.timedOut = true;
            break;
        }
        // With the pipe open, its end wakes us as the program exits.
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
    if (!result.timedOut) {
        if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
        if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    }
    return result;
}

}  // namespace ORVA
