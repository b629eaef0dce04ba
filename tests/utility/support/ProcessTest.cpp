// External commands: words as a shell splits them, and a command that an interrupt of the host
// stops together with what it started.
#include <chrono>
#include <fstream>
#include <thread>

#include "FileTesting.h"
#include "base/Interrupt.h"
#include "support/Process.h"

using namespace ORVA;
using namespace testing_support;

namespace {

// Whether process `pid` is gone (or a zombie no one has reaped yet), waiting up to two seconds.
bool Gone(pid_t pid) {
    for (int tries = 0; tries < 100; ++tries) {
        std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
        std::string id, name, state;
        stat >> id >> name >> state;
        if (!stat || state == "Z") return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

TEST(SplitCommand, SplitsIntoWordsAsAShellDoes) {
    struct Case {
        const char* command;
        std::vector<std::string> words;
    } cases[] = {
        {"  sh  -c\t'a  b'\n", {"sh", "-c", "a  b"}},
        {R"(a"b c"d 'e"f' "g'h")", {"ab cd", "e\"f", "g'h"}},
        {R"("q\"uote" "back\\slash" "keep\n" esc\ aped \'x)",
         {"q\"uote", "back\\slash", "keep\\n", "esc aped", "'x"}},
        {R"('' "" x)", {"", "", "x"}},
        {"$(rm -rf x); `y` | z > w", {"$(rm", "-rf", "x);", "`y`", "|", "z", ">", "w"}},
        {"   ", {}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(SplitCommand(c.command, "here"), c.words) << c.command;
    EXPECT_EQ(ErrorOf([] { SplitCommand("a 'b", "here"); }, true),
              "here | the command has a ' at 2 that is not closed");
    EXPECT_EQ(ErrorOf([] { SplitCommand(R"(a "b\")", "here"); }, true),
              "here | the command has a \" at 2 that is not closed");
}

class RunProcessTest : public FileTest {
  protected:
    void TearDown() override {
        ClearInterrupt();
        FileTest::TearDown();
    }
};

TEST_F(RunProcessTest, ATimeoutOrAnInterruptEndsTheCommandAndWhatItStarted) {
    // The shell starts a sleep in the background, tells its process id and waits.
    const std::string pidFile = Path("pid");
    const std::vector<std::string> command = {
        "sh", "-c", "sleep 30 & echo $! > \"$1\"; echo started >&2; wait", "sh", pidFile};
    for (bool interrupt : {false, true}) {
        SCOPED_TRACE(interrupt ? "interrupt" : "timeout");
        std::filesystem::remove(pidFile);
        std::thread interrupter([&] {
            while (interrupt && !std::filesystem::exists(pidFile))
                std::this_thread::sleep_for(std::chrono::milliseconds(10));
            if (interrupt) RequestInterrupt();
        });
        auto start = std::chrono::steady_clock::now();
        SProcessExit exit;
        std::string printed =
            CapturedStderr([&] { exit = RunProcess(command, interrupt ? 0.0 : 0.5, "here"); });
        interrupter.join();
        double seconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        EXPECT_EQ(exit.interrupted, interrupt);
        EXPECT_EQ(exit.timedOut, !interrupt);
        EXPECT_EQ(exit.errorTail, "started\n");
        EXPECT_EQ(printed, "started\n");  // passed on as it came
        EXPECT_GE(seconds, interrupt ? 0.0 : 0.5);
        EXPECT_LT(seconds, 10.0);
        pid_t sleeper = 0;
        std::ifstream(pidFile) >> sleeper;
        ASSERT_GT(sleeper, 0);
        EXPECT_TRUE(Gone(sleeper)) << "the background sleep still runs";
    }
    // Once interrupted, nothing more is started.
    std::filesystem::remove(pidFile);
    EXPECT_TRUE(RunProcess(command, 0.0, "here").interrupted);
    EXPECT_FALSE(std::filesystem::exists(pidFile));
}

}  // namespace
