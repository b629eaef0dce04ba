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
        {0, "seconds", 0},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CPSleep::WaitMilliseconds(c.time, c.unit), c.expected) << c.time;
    EXPECT_EQ(ErrorOf([] { CPSleep::WaitMilliseconds(1, "Seconds"); }, true),
              "Sleep | parameter 'unit' must be 'milliseconds' or 'seconds', but it is 'Seconds'.");
}

TEST(Sleep, ClampsNegativeTimesAndPassesValuesOn) {
    CPSleep node;
    Configure(node, {{"time", -5}});
    CValueLong number(42);
    node.SetStackInput(0, &number);
    node.Run();
    EXPECT_EQ(node.Time(), 0);
    ASSERT_NE(node.StackOutput(0), nullptr);
    EXPECT_NE(node.StackOutput(0), &number);
    EXPECT_TRUE(node.StackOutput(0)->Equal(number));

    auto image = Grey8(CSize(2, 2), {1, 2, 3, 4});
    const CImage& copy = RunImage(node, {image.get()});
    EXPECT_NE(&copy, image->VoidPointer());
    EXPECT_EQ(Samples<uint8_t>(copy), (std::vector<uint8_t>{1, 2, 3, 4}));
}

TEST(Sleep, ChecksTheInputBeforeTheUnit) {
    CPSleep node;
    Configure(node, {{"unit", "minutes"}, {"time", -1}});
    EXPECT_EQ(RunError(node, {}), "Sleep | No input on first input pin!");
    CValueLong number(1);
    EXPECT_EQ(RunError(node, {&number}),
              "Sleep | parameter 'unit' must be 'milliseconds' or 'seconds', but it is 'minutes'.");
    EXPECT_EQ(node.Time(), 0);  // clamped before the unit was looked at
}
