#include <gtest/gtest.h>

#include <cstdlib>

#include "tarsel.h"

using namespace ORVA;

TEST(StringArg, FillsLowestPlaceholderFirst) {
    struct Case {
        CString text;
        CString expected;
    } cases[] = {
        {CString("Sizes are %1 vs %2.").Arg("(1, 2, 3)").Arg("(4, 5, 6)"),
         "Sizes are (1, 2, 3) vs (4, 5, 6)."},
        {CString("%2 then %1").Arg("a").Arg("b"), "b then a"},
        {CString("%1 and %1").Arg(7), "7 and 7"},
        {CString("%10 %9").Arg("nine").Arg("ten"), "ten nine"},
        {CString("no placeholder").Arg("x"), "no placeholder"},
        {CString("100% of %1").Arg("x"), "100% of x"},
        {CString("%1").Arg(-12), "-12"},
        {CString("%1").Arg(4294967295u), "4294967295"},
        {CString("%1").Arg(300.7, 0), "301"},
        {CString("%1").Arg(2.5, 2), "2.50"},
        {CString("%1").Arg(0.1), "0.1"},
        {CString("%1").Arg(1.3333334f), "1.3333334"},
        {CString("%1").Arg(true), "true"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(c.text, c.expected);
}

TEST(StringArg, InsertedPlaceholdersAreFilledByLaterCalls) {
    // Each call looks at the text as it is now, so an inserted "%1" is the lowest next time.
    EXPECT_EQ(CString("%1 %2").Arg("%1").Arg("y"), "y %2");
}

TEST(StringReplace, EveryOccurrenceLeftToRight) {
    CString text("a\\nb\\n");
    text.Replace("\\n", "\n");
    EXPECT_EQ(text, "a\nb\n");
    EXPECT_EQ(CString("aaa").Replace("aa", "b"), "ba");
    EXPECT_EQ(CString("abc").Replace("", "x"), "abc");
}

TEST(UnwrapEnvVars, ExpandsNamesAndKeepsStrayPercents) {
    setenv("ORVA_TEST_DIR", "/data", 1);
    unsetenv("ORVA_TEST_UNSET");
    struct Case {
        const char* text;
        const char* expected;
    } cases[] = {
        {"%ORVA_TEST_DIR%/images/a.txt", "/data/images/a.txt"},
        {"%ORVA_TEST_UNSET%/a.txt", "/a.txt"},
        {"%ORVA_TEST_DIR%%ORVA_TEST_DIR%", "/data/data"},
        {"100%", "100%"},
        {"50% and %ORVA_TEST_DIR%", "50% and /data"},
        {"100%%", "100%"},
        {"%not a name%x", "%not a name%x"},
        {"", ""},
    };
    for (const Case& c : cases)
        EXPECT_EQ(CStringTools::UnwrapEnvVars(c.text), c.expected) << c.text;
}

TEST(Path, PartsOfAPath) {
    CPath path("/a//b/./coconut.txt");
    EXPECT_EQ(path.PathString(), "/a/b/coconut.txt");
    EXPECT_EQ(path.Name(), "coconut.txt");
    EXPECT_EQ(path.Directory(), "/a/b");
    EXPECT_EQ(path.Extension(), ".txt");
    EXPECT_EQ(CPath("name").Directory(), "");
    EXPECT_EQ(CPath(".hidden").Extension(), "");
    EXPECT_EQ(CPath("").PathString(), "");
}

TEST(Exception, LocationMessageAndObject) {
    CException plain("(utility plugins) CopyImage::Run", "input image is NULL");
    EXPECT_STREQ(plain.what(), "input image is NULL");
    EXPECT_EQ(plain.FormattedWhat(), "(utility plugins) CopyImage::Run: input image is NULL");
    EXPECT_EQ(CException("L", "M", "obj").FormattedWhat(), "L: M (obj)");

    CException located(ORVA_LOCATION, "failed");
    EXPECT_NE(located.Location().find("StringTest.cpp:"), std::string::npos);
    EXPECT_NE(located.Location().find("TestBody"), std::string::npos);
}
