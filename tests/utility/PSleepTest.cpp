#include "PSleep.h"

#include "NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(Sleep, WaitsInMillisecondsOrWrappedSeconds) {
    struct Case {
        int32_t time;
        const char* unit;
        uint32_t expected;
    } cases[] = {
        {10, "milliseconds", 10},
        {2, "seconds", 2000},
        {5000000, "seconds", 705032704u},  // 5e9 mod 2^32
    };
    for (const Case& c : cases)
        EXPECT_EQ(CPSleep::WaitMilliseconds(c.time, c.unit), c.expected) << c.time;
}

TEST(Sleep, ClampsChecksTheUnitAndPassesValuesOn) {
    CPSleep node;
    Configure(node, {{"unit", "Seconds"}, {"time", -5}});
    EXPECT_EQ(RunError(node, {}), "Sleep | No input on first input pin!");
    CValueLong number(42);
    EXPECT_EQ(RunError(node, {&number}),
              "Sleep | parameter 'unit' must be 'milliseconds' or 'seconds', but it is 'Seconds'.");
    EXPECT_EQ(node.Time(), 0);  // clamped before the unit was looked at

    Configure(node, {{"time", -5}, {"unit", "milliseconds"}});
    SetInputs(node, {&number});
    node.Run();
    ASSERT_NE(node.StackOutput(0), nullptr);
    EXPECT_NE(node.StackOutput(0), &number);
    EXPECT_TRUE(node.StackOutput(0)->Equal(number));
    auto image = Grey8(CSize(2, 2), {1, 2, 3, 4});
    const CImage& copy = RunImage(node, {image.get()});
    EXPECT_NE(&copy, image->VoidPointer());
    EXPECT_EQ(Samples<uint8_t>(copy), (std::vector<uint8_t>{1, 2, 3, 4}));
}
