#include <algorithm>
#include <cstdlib>

#include "NodeTesting.h"
#include "PTimerStart.h"
#include "PTimerStop.h"

using namespace ORVA;
using namespace testing_support;

TEST(Timers, StartAndStopMeasureTheTimeBetween) {
    CPTimerStart start;
    CPTimerStop stop;
    // Ids count each class on its own.
    CPTimerStart between;
    CPTimerStop next;
    EXPECT_EQ(next.Id(), stop.Id() + 1);
    auto image = GreyF(CSize(2, 1), {1.5f, 2.5f});
    start.SetStackInput(0, image.get());
    start.Run();
    ASSERT_TRUE(HoldsType<CValueVector>(start.StackOutput(0)));
    EXPECT_EQ(Samples<float>(OutputImage(start, 1)), (std::vector<float>{1.5f, 2.5f}));

    // A start time 125 ms in the past.
    CTime then = CTime::FromMicroseconds(CTime(true).ToMicroseconds() - 125'000);
    CValuePointer<CValueVector> time(then.Vectorize(), true);
    stop.SetStackInput(0, &time);
    stop.SetStackInput(1, image.get());
    std::string printed = CapturedStdout([&] { stop.Run(); });
    const std::string prefix = " id(" + std::to_string(stop.Id()) + "): Elapsed time: ";
    const int elapsed = std::atoi(printed.c_str() + std::min(printed.size(), prefix.size()));
    EXPECT_EQ(printed, prefix + std::to_string(elapsed) + " Milliseconds.\n");
    EXPECT_GE(elapsed, 125);
    EXPECT_LT(elapsed, 5000);
    EXPECT_EQ(Samples<float>(OutputImage(stop)), (std::vector<float>{1.5f, 2.5f}));
}

TEST(Timers, InputChecksThrowAndLaterFailuresArePrinted) {
    CPTimerStart start;
    EXPECT_EQ(RunError(start, {}), "CPTimerStart::Run | Error, input(0) has no image!");
    CValueLong number(1);
    SetInputs(start, {&number});
    EXPECT_EQ(CapturedStdout([&] { start.Run(); }),
              "CPTimerStart::Run: expected a value holding CImage, but found CValueLong\n");
    EXPECT_FALSE(start.IsStackOutputSet(0));

    CPTimerStop stop;
    auto image = Grey8(CSize(1, 1), {7});
    EXPECT_EQ(RunError(stop, {}), "CPTimerStop::Run | Stackinput 1 is NULL!");
    EXPECT_EQ(RunError(stop, {&number, image.get()}),
              "CPTimerStop::Run | Input 0 is not a vector!");
    EXPECT_EQ(RunError(stop, {nullptr, &number}), "CPTimerStop::Run | Input 1 is not an Image!");

    // Without a start time the time itself fails; the failure is printed, not thrown.
    SetInputs(stop, {nullptr, image.get()});
    EXPECT_EQ(CapturedStdout([&] { stop.Run(); }),
              "CTime: no time given: the time vector is null\n");
    EXPECT_FALSE(stop.IsStackOutputSet(0));
}
