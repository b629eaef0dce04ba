// orva interrupted while a script runs: the script's processes and files go, and orva ends by
// the signal.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace {

TEST(Interrupt, StopsTheScriptAndLeavesNothingBehind) {
    const std::filesystem::path directory =
        std::filesystem::path(testing::TempDir()) / ("orva-interrupt-" + std::to_string(getpid()));
    std::filesystem::create_directories(directory / "tmp");
    const std::string pidFile = (directory / "pid").string();
    const std::string errors = (directory / "err").string();
    pid_t orva = fork();
    ASSERT_GE(orva, 0);
    if (orva == 0) {
        setenv("TMPDIR", (directory / "tmp").c_str(), 1);
        setenv("ORVA_TEST_PID", pidFile.c_str(), 1);
        if (!freopen(errors.c_str(), "w", stderr)) _exit(126);
        execl(ORVA_BUILD_ROOT "/bin/orva", "orva", "pipe", "--quiet", "StringToImage", "!",
              "Script", "command=sh -c 'echo $$ > \"$1\"; exec sleep 370' sh %ORVA_TEST_PID%",
              "timeout=600", static_cast<char*>(nullptr));
        _exit(127);
    }
    // Interrupted once the command runs.
    for (int tries = 0; tries < 3000 && !std::filesystem::exists(pidFile); ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    kill(orva, SIGINT);
    int status = 0;
    ASSERT_EQ(waitpid(orva, &status, 0), orva);

    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGINT) << status;
    std::ifstream text(errors);
    std::string said((std::istreambuf_iterator<char>(text)), {});
    EXPECT_EQ(
        said,
        "error: node 'Script#2' (Script): (utility plugins) Script::Run: interrupted by signal 2 "
        "(Interrupt): the command was stopped\n");
    pid_t sleeper = 0;
    std::ifstream(pidFile) >> sleeper;
    ASSERT_GT(sleeper, 0);
    EXPECT_TRUE(kill(sleeper, 0) != 0 && errno == ESRCH) << "the sleep still runs";
    EXPECT_TRUE(std::filesystem::is_empty(directory / "tmp"));
    std::filesystem::remove_all(directory);
}

}  // namespace
