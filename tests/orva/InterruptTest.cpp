// orva interrupted while a script or a batch runs: their processes and files go, and orva ends
// by the signal.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

namespace {

namespace fs = std::filesystem;

// Runs orva with `arguments`, TMPDIR at `directory`/tmp, interrupts it a moment after `ready`
// holds and returns what it wrote on standard error; it must end by the signal.
std::string Interrupted(const fs::path& directory, const std::vector<std::string>& arguments,
                        const std::function<bool()>& ready) {
    fs::create_directories(directory / "tmp");
    const std::string errors = (directory / "err").string();
    std::vector<char*> argv = {const_cast<char*>("orva")};
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t orva = fork();
    if (orva == 0) {
        setenv("TMPDIR", (directory / "tmp").c_str(), 1);
        if (!freopen(errors.c_str(), "w", stderr)) _exit(126);
        execv(ORVA_BUILD_ROOT "/bin/orva", argv.data());
        _exit(127);
    }
    EXPECT_GE(orva, 0);
    for (int tries = 0; tries < 3000 && !ready(); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    kill(orva, SIGINT);
    int status = 0;
    EXPECT_EQ(waitpid(orva, &status, 0), orva);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    std::ifstream text(errors);
    return std::string((std::istreambuf_iterator<char>(text)), {});
}

TEST(Interrupt, StopsTheScriptAndLeavesNothingBehind) {
    const fs::path directory =
        fs::path(testing::TempDir()) / ("orva-interrupt-" + std::to_string(getpid()));
    const std::string pidFile = (directory / "pid").string();
    EXPECT_EQ(Interrupted(
                  directory,
                  {"pipe", "--quiet", "StringToImage", "!", "Script",
                   "command=sh -c 'echo $$ > \"$1\"; exec sleep 370' sh " + pidFile, "timeout=600"},
                  [&] { return fs::exists(pidFile); }),
              "error: node 'Script#2' (Script): (utility plugins) Script::Run: interrupted by "
              "signal 2 (Interrupt): the command was stopped\n");
    pid_t sleeper = 0;
    std::ifstream(pidFile) >> sleeper;
    ASSERT_GT(sleeper, 0);
    EXPECT_TRUE(kill(sleeper, 0) != 0 && errno == ESRCH) << "the sleep still runs";
    EXPECT_TRUE(fs::is_empty(directory / "tmp"));
    fs::remove_all(directory);
}

TEST(Interrupt, StopsTheBatchAndLeavesNoFiles) {
    const fs::path directory =
        fs::path(testing::TempDir()) / ("orva-batch-interrupt-" + std::to_string(getpid()));
    fs::create_directories(directory / "out");
    for (const char* name : {"a.png", "b.png", "c.png"})
        fs::copy_file(fs::path(ORVA_BUILD_ROOT) / "examples/images/coconut.png", directory / name);
    const std::string graph = (directory / "graph.json").string();
    std::ofstream(graph) << R"({"nodes": [{"id": "read", "plugin": "ReadImage"},
  {"id": "nap", "plugin": "Sleep", "parameters": {"time": 20000}, "inputs": ["read:0"]},
  {"id": "save", "plugin": "SaveImage", "inputs": ["nap:0"]}]})";
    // Interrupted once both jobs run (each has its two files of captured output).
    const std::string said = Interrupted(
        directory,
        {"run", graph, "--each", (directory / "*.png").string(), "--jobs", "2", "--set",
         "read.filename={}", "--set", "save.filename=" + (directory / "out/{name}").string()},
        [&] {
            return std::distance(fs::directory_iterator(directory / "tmp"),
                                 fs::directory_iterator()) >= 4;
        });
    EXPECT_NE(said.find("orva: interrupted after 0 of 3 files\n"), std::string::npos) << said;
    EXPECT_TRUE(fs::is_empty(directory / "out"));
    EXPECT_TRUE(fs::is_empty(directory / "tmp"));
    fs::remove_all(directory);
}

}  // namespace
