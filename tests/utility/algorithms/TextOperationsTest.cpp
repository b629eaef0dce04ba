#include "algorithms/TextOperations.h"

#include <cmath>

#include "../NodeTesting.h"

using namespace ORVA;
using namespace testing_support;

TEST(TextOperations, CharactersAreCutWhole) {
    struct Case {
        int32_t start, length;
        const char* expected;
    } cases[] = {
        {1, 3, "éll"}, {-3, -1, "llo"}, {-9, 2, "hé"}, {4, 9, "o"}, {9, 2, ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Text::Substring("héllo", c.start, c.length), c.expected) << c.start;
}

TEST(TextOperations, SplitKeepsEmptyPiecesOnlyWithASeparator) {
    using V = std::vector<std::string>;
    EXPECT_EQ(Text::Split("a,,b", ","), (V{"a", "", "b"}));
    EXPECT_EQ(Text::Split("a,,b", ",,"), (V{"a", "b"}));
    EXPECT_EQ(Text::Split("", ","), (V{""}));
    EXPECT_EQ(Text::Split("  a \t b\n", ""), (V{"a", "b"}));
    EXPECT_EQ(Text::Split("", ""), V{});
}

TEST(TextOperations, NumbersAreLongsOnlyForIntegersOf32Bits) {
    auto text = [](const char* number) {
        std::variant<int32_t, double> value = Text::ParseNumber(number, "here");
        if (const int32_t* integer = std::get_if<int32_t>(&value))
            return "long " + std::to_string(*integer);
        return "double " + std::string(CString("%1").Arg(std::get<double>(value)));
    };
    EXPECT_EQ(text(" 42\n"), "long 42");
    EXPECT_EQ(text("-2147483648"), "long -2147483648");
    EXPECT_EQ(text("2147483648"), "double 2147483648");
    EXPECT_EQ(text("+1.5e3"), "double 1500");
    EXPECT_EQ(text("-.25"), "double -0.25");
    EXPECT_EQ(text("1e-320"), "double 1e-320");  // subnormal, still a number
    EXPECT_EQ(text("-inf"), "double -inf");
    EXPECT_EQ(ErrorOf([&] { text("12abc"); }, true), "here | '12abc' is not a number");
    EXPECT_EQ(ErrorOf([&] { text("0x10"); }), "'0x10' is not a number");
    EXPECT_EQ(ErrorOf([&] { text("+-1"); }), "'+-1' is not a number");
    EXPECT_EQ(ErrorOf([&] { text("1e999"); }), "'1e999' is beyond the range of a double");
}

TEST(TextOperations, PlaceholdersAreFilledOnceAndNotSearchedAgain) {
    std::vector<int> asked;
    auto text = [&](int index) {
        asked.push_back(index);
        return index == 0 ? std::string("%2") : "<" + std::to_string(index) + ">";
    };
    EXPECT_EQ(Text::FillPlaceholders("%2-%1 %1 %10 %0 100% %", text), "<1>-%2 %2 %10 %0 100% %");
    EXPECT_EQ(asked, (std::vector<int>{1, 0}));
}
