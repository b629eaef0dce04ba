// A batch runs each file in a child process of its own (nodes share process-wide state, so
// jobs cannot be threads). A job writes the files its settings name under a temporary name in
// the same directory; only a job that succeeded has them renamed to their names, so a failed or
// interrupted job leaves no file behind, and no reader ever sees half a file.
#include "Batch.h"

#include <fcntl.h>
#include <glob.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>

#include "Graph.h"
#include "base/Interrupt.h"

namespace orva {

namespace {

// Interrupt slots for child process groups are few; more jobs than this gain nothing anyway.
constexpr long MAX_JOBS = 32;

std::vector<std::string> Expand(const std::string& pattern) {
    glob_t found{};
    const int result = glob(pattern.c_str(), 0, nullptr, &found);
    std::vector<std::string> paths;
    if (result == 0)
        for (size_t i = 0; i < found.gl_pathc; ++i)
            paths.emplace_back(found.gl_pathv[i]);
    globfree(&found);
    if (paths.empty()) throw UsageError("--each '" + pattern + "' matches no file");
    return paths;
}

// A --set of the batch: the node, the key and the value with its placeholders.
struct SBatchSetting {
    std::string node, key, value;
    bool output = false;  // names a file the job writes
};

bool HasPlaceholder(const std::string& text) {
    for (const char* mark : {"{}", "{stem}", "{name}", "{dir}"})
        if (text.find(mark) != std::string::npos) return true;
    return false;
}

// Files the job runs on and the files it writes.
struct SJob {
    std::string input;
    std::vector<std::string> settings;
    std::vector<std::pair<std::string, std::string>> outputs;  // temporary name, final name
    std::string out, err;  // files that keep the child's standard output and error
    pid_t pid = 0;
    std::unique_ptr<ORVA::CChildProcessGroup> group;
};

std::string Captured(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    std::remove(path.c_str());
    return text.str();
}

// The last line a failed job wrote, without the "error: " every failure starts with.
std::string LastLine(std::string text) {
    while (!text.empty() && text.back() == '\n')
        text.pop_back();
    text = text.substr(text.rfind('\n') + 1);
    return text.starts_with("error: ") ? text.substr(7) : text;
}

std::string TemporaryFile() {
    std::string path = (std::filesystem::temp_directory_path() / "orva-job-XXXXXX").string();
    const int descriptor = mkstemp(path.data());
    if (descriptor < 0)
        throw std::runtime_error(std::string("cannot make a temporary file: ") +
                                 std::strerror(errno));
    close(descriptor);
    return path;
}

void Start(SJob& job, const std::vector<std::string>& common) {
    job.out = TemporaryFile();
    job.err = TemporaryFile();
    std::vector<std::string> arguments = {"orva", "run"};
    arguments.insert(arguments.end(), common.begin(), common.end());
    for (const std::string& setting : job.settings) {
        arguments.push_back("--set");
        arguments.push_back(setting);
    }
    std::vector<char*> argv;
    for (std::string& argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    std::cout.flush();
    std::cerr.flush();
    const pid_t pid = fork();
    if (pid < 0)
        throw std::runtime_error(std::string("cannot start a job: ") + std::strerror(errno));
    if (pid == 0) {
        // Its own process group: an interrupt reaches the job through the batch, which cleans up.
        setpgid(0, 0);
        const int out = open(job.out.c_str(), O_WRONLY | O_TRUNC);
        const int err = open(job.err.c_str(), O_WRONLY | O_TRUNC);
        if (out < 0 || err < 0 || dup2(out, STDOUT_FILENO) < 0 || dup2(err, STDERR_FILENO) < 0)
            _exit(127);
        execv("/proc/self/exe", argv.data());
        _exit(127);
    }
    setpgid(pid, pid);
    job.pid = pid;
    job.group = std::make_unique<ORVA::CChildProcessGroup>(pid);
}

std::string Duration(double seconds) {
    const long whole = static_cast<long>(seconds + 0.5);
    char text[32];
    std::snprintf(text, sizeof text, "%ld:%02ld", whole / 60, whole % 60);
    return text;
}

}  // namespace

std::string Substitute(const std::string& text, const std::string& path) {
    const std::filesystem::path file(path);
    const std::string dir = file.parent_path().empty() ? "." : file.parent_path().string();
    std::string out;
    for (size_t i = 0; i < text.size();) {
        bool replaced = false;
        for (const auto& [mark, value] : {std::pair<std::string, std::string>{"{}", path},
                                          {"{stem}", file.stem().string()},
                                          {"{name}", file.filename().string()},
                                          {"{dir}", dir}}) {
            if (text.compare(i, mark.size(), mark) == 0) {
                out += value;
                i += mark.size();
                replaced = true;
                break;
            }
        }
        if (!replaced) out += text[i++];
    }
    return out;
}

int RunBatch(const SRunOptions& options) {
    if (options.graph == "-") throw UsageError("--each runs a graph file, not standard input");
    if (!options.output.empty())
        throw UsageError("--output takes the JSON of one run; with --each each job prints its own");
    const long jobs = ParseCount("--jobs", options.jobs, 1);
    if (jobs > MAX_JOBS)
        throw UsageError("--jobs runs at most " + std::to_string(MAX_JOBS) + " files at once");
    const std::vector<std::string> files = Expand(options.each);

    // Everything is checked once, on the first file, before any job starts.
    const SCheckOptions check{options.lenient};
    CGraph graph = CGraph::Load(options.graph, check);
    std::vector<SBatchSetting> settings;
    for (const std::string& setting : options.sets) {
        graph.Set(Substitute(setting, files.front()), check);
        const size_t dot = setting.find('.');
        const size_t equals = setting.find('=', dot);
        SBatchSetting parsed{setting.substr(0, dot), setting.substr(dot + 1, equals - dot - 1),
                             setting.substr(equals + 1)};
        // A per-file name given to a node fed by others is a file that node writes.
        const std::string key = parsed.key.substr(parsed.key.rfind('/') + 1);
        const size_t index = graph.IndexOf(parsed.node);
        parsed.output = HasPlaceholder(parsed.value) && !parsed.key.ends_with(":") &&
                        key == "filename" && !graph.Links(index).empty();
        settings.push_back(std::move(parsed));
    }
    for (const std::string& reference : options.prints)
        graph.Find(reference);

    std::vector<std::string> common = {options.graph, "--repeat", options.repeat};
    for (const std::string& reference : options.prints)
        common.insert(common.end(), {"--print", reference});
    for (auto [flag, on] : {std::pair{"--time", options.time},
                            {"--pixels", options.pixels},
                            {"--lenient", options.lenient}})
        if (on) common.push_back(flag);

    std::vector<SJob> queue(files.size());
    for (size_t i = 0; i < files.size(); ++i) {
        SJob& job = queue[i];
        job.input = files[i];
        for (const SBatchSetting& setting : settings) {
            std::string value = Substitute(setting.value, job.input);
            if (setting.output) {
                std::filesystem::path target(value);
                std::filesystem::path temporary =
                    target.parent_path() / (".orva-" + std::to_string(getpid()) + "-" +
                                            std::to_string(i) + "-" + target.filename().string());
                job.outputs.emplace_back(temporary.string(), value);
                value = temporary.string();
            }
            job.settings.push_back(setting.node + "." + setting.key + "=" + value);
        }
    }

    ORVA::CInterruptible interruptible;
    const bool terminal = isatty(STDERR_FILENO);
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::pair<std::string, std::string>> failures;
    std::vector<SJob*> running;
    size_t next = 0, done = 0;
    auto progress = [&] {
        if (!terminal) return;
        constexpr size_t WIDTH = 30;
        const size_t filled = WIDTH * done / files.size();
        const double elapsed =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::string eta = done ? " ETA " + Duration(elapsed / static_cast<double>(done) *
                                                    static_cast<double>(files.size() - done))
                               : "";
        std::fprintf(
            stderr, "\r\033[K[%s%s] %zu/%zu%s%s", std::string(filled, '#').c_str(),
            std::string(WIDTH - filled, '.').c_str(), done, files.size(),
            failures.empty() ? "" : (" " + std::to_string(failures.size()) + " failed").c_str(),
            eta.c_str());
        std::fflush(stderr);
    };
    auto finish = [&](SJob& job, int status) {
        job.group.reset();
        const bool succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
        std::string out = Captured(job.out);
        const std::string err = Captured(job.err);
        for (const auto& [temporary, target] : job.outputs) {
            std::error_code ignored;
            if (succeeded && std::filesystem::exists(temporary, ignored))
                std::filesystem::rename(temporary, target, ignored);
            std::filesystem::remove(temporary, ignored);
            // What the job printed names its files as they are now called.
            for (size_t at = out.find(temporary); at != std::string::npos;
                 at = out.find(temporary, at + target.size()))
                out.replace(at, temporary.size(), target);
        }
        if (terminal) std::fputs("\r\033[K", stderr);
        std::cout << out << std::flush;
        std::cerr << err << std::flush;
        if (!succeeded)
            failures.emplace_back(job.input, WIFSIGNALED(status) ? std::string("ended by signal ") +
                                                                       strsignal(WTERMSIG(status))
                                                                 : LastLine(err));
        ++done;
        progress();
    };

    progress();
    while (done < files.size()) {
        while (!ORVA::InterruptRequested() && next < files.size() &&
               running.size() < static_cast<size_t>(jobs)) {
            Start(queue[next], common);
            running.push_back(&queue[next++]);
        }
        if (ORVA::InterruptRequested()) {
            // The interrupt sent SIGTERM to the jobs' groups; wait for them and clean up.
            const size_t completed = done;
            for (SJob* job : running) {
                kill(-job->pid, SIGTERM);
                int status = 0;
                waitpid(job->pid, &status, 0);
                finish(*job, status);
            }
            if (terminal) std::fputc('\n', stderr);
            std::cerr << "orva: interrupted after " << completed << " of " << files.size()
                      << " files" << std::endl;
            return 1;
        }
        int status = 0;
        const pid_t ended = waitpid(-1, &status, WNOHANG);
        if (ended <= 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            continue;
        }
        for (auto it = running.begin(); it != running.end(); ++it) {
            if ((*it)->pid != ended) continue;
            SJob* job = *it;
            running.erase(it);
            finish(*job, status);
            break;
        }
    }
    if (terminal) std::fputc('\n', stderr);
    if (failures.empty()) return 0;
    std::cerr << "orva: " << failures.size() << " of " << files.size() << " files failed:\n";
    for (const auto& [file, message] : failures)
        std::cerr << "  " << file << ": " << message << "\n";
    std::cerr.flush();
    return 1;
}

}  // namespace orva
