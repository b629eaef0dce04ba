#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "tarsel.h"

using namespace ORVA;

namespace {

std::string ModulePath() {
    return std::string(ORVA_BUILD_ROOT) + "/bin/utility.so";
}
CPluginModule& Module() {
    return CPluginModule::Load(ModulePath());
}

// What creating `name` prints, and whether a node came back.
std::pair<std::string, bool> Create(const std::string& name) {
    testing::internal::CaptureStdout();
    std::unique_ptr<CPNode> node = Module().Create(name);
    return {testing::internal::GetCapturedStdout(), node != nullptr};
}

}  // namespace

TEST(Module, ExportsExactlyTheThreeEntryPoints) {
    std::string command = "nm -D --defined-only -j " + ModulePath() + " | LC_ALL=C sort";
    FILE* pipe = popen(command.c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string symbols;
    char line[512];
    while (std::fgets(line, sizeof line, pipe))
        symbols += line;
    ASSERT_EQ(pclose(pipe), 0);
    EXPECT_EQ(symbols, "CreatePluginInstanceEx\nListPlugins\nget_loading_timestamp\n");
}

TEST(Module, ListsTheFiftyOneCurrentNodesInOrder) {
    std::string listed;
    for (const std::string& name : Module().ListPlugins())
        listed += name + " ";
    EXPECT_EQ(listed,
              "ConvertType Normalize CurveIndex ReadImage CopyImage ReplaceValue ReplaceNonFinite "
              "ImageInfo MutualInformation Projection Labeling Hough PaintMarks ReadASCII "
              "BoundingBox Statistics DrawString Histogram SampleLine Radon RayMaximum RayMinimum "
              "ConvexHull Script Sort ZoneList TimerStart TimerStop FindMax HoughCircle "
              "FindBalancePoint SelectImage SelectPixel StringToImage StaticImage StaticStorage "
              "RingBuffer TextSerializer StringManipulation PixelLabel Sleep ImageToString "
              "SaveASCII SaveImage ReadMap AddMetaData SamplePoints Histogram2d GetImageAttributes "
              "SetImageAttributes GetCoordinates ");
}

TEST(Module, ReportsWhenItWasLoaded) {
    int64_t loaded = Module().LoadingTimestamp();
    EXPECT_GT(loaded, 1'700'000'000);
    EXPECT_LE(loaded, static_cast<int64_t>(std::time(nullptr)));
}

TEST(Factory, MatchesNamesExactly) {
    EXPECT_TRUE(Create("Sleep").second);
    for (const char* name : {"sleep", "Sleep ", " Sleep", "SLEEP", "", "TJHoughCircle", "EnvVa",
                             "EnvVarX", "Sleepy"}) {
        auto [printed, made] = Create(name);
        EXPECT_FALSE(made) << name;
        EXPECT_EQ(printed, "") << name;
    }
}

TEST(Factory, RelocatedNodeThrowsWithBothAddresses) {
    try {
        Module().Create("EnvVar");
        FAIL() << "no exception";
    } catch (const CExPluginRelocation& moved) {
        EXPECT_EQ(moved.OldAddress(), "utility::EnvVar");
        EXPECT_EQ(moved.NewAddress(), "sysutils::EnvVar");
    }
}

TEST(Factory, DeprecatedNodesWarnOnStandardOutput) {
    for (const char* name : {"ExpandBox", "NormalizeLine", "FindRectangle", "FindAndCutRectangle",
                             "Merge", "FillWithValue", "MeanValueDifference", "DrawCircle"}) {
        std::string expected =
            std::string("Warning: ") + name + " is deprecated and should no longer be used.\n";
        if (std::string(name) == "DrawCircle")
            expected += "We recommend to use Data::Circle instead!\n";
        EXPECT_EQ(Create(name).first, expected);
    }
    for (const std::string& name : Module().ListPlugins())
        EXPECT_EQ(Create(name).first, "") << name;
}

TEST(Factory, SaveAsciiAndImageToStringNameThemselves) {
    std::unique_ptr<CPNode> file = Module().Create("SaveASCII");
    std::unique_ptr<CPNode> text = Module().Create("ImageToString");
    CValueMap a, b;
    file->GetPluginSetup(a);
    text->GetPluginSetup(b);
    EXPECT_EQ(a.EntryString("name"), "SaveASCII");
    EXPECT_EQ(b.EntryString("name"), "ImageToString");
}
