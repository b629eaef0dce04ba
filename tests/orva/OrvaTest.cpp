#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <vector>

#include "tarsel.h"

using namespace ORVA;

namespace {

struct SResult {
    int status;
    std::string out, err;
};

std::string Slurp(const std::string& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// `text` as one word of the shell.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// Runs orva with `arguments`; `unsetRoot` runs it without ORVADIR in its environment, `input`
// is its standard input.
SResult Orva(const std::vector<std::string>& arguments, bool unsetRoot = false,
             const std::string& input = {}) {
    // Tests run in parallel processes: each run writes files of its own.
    static int calls = 0;
    std::string stem =
        testing::TempDir() + "orva-" + std::to_string(getpid()) + "-" + std::to_string(++calls);
    std::string command =
        (unsetRoot ? "env -u ORVADIR " : "") + Quoted(ORVA_BUILD_ROOT "/bin/orva");
    for (const std::string& argument : arguments)
        command += " " + Quoted(argument);
    std::ofstream(stem + "-in") << input;
    int status =
        std::system((command + " <" + stem + "-in >" + stem + "-out 2>" + stem + "-err").c_str());
    SResult result{WEXITSTATUS(status), Slurp(stem + "-out"), Slurp(stem + "-err")};
    std::remove((stem + "-out").c_str());
    std::remove((stem + "-err").c_str());
    std::remove((stem + "-in").c_str());
    return result;
}

std::string TestNode(const std::string& name) {
    return std::string(TEST_MODULES) + "/testmodule::" + name;
}

std::string WriteGraph(const std::string& name, const std::string& text) {
    std::string path = testing::TempDir() + std::to_string(getpid()) + "-" + name;
    std::ofstream(path) << text;
    return path;
}

// The graph of the tests: an image source, a timer pair (two inputs) and a sleep.
std::string TimerGraph() {
    return R"({"nodes": [
  {"id": "keep", "plugin": ")" +
           TestNode("Keeper") + R"("},
  {"id": "start", "plugin": "TimerStart", "inputs": ["keep:0"]},
  {"id": "stop", "plugin": "utility::TimerStop", "inputs": {"0": "start:0", "1": "start:1"}},
  {"id": "nap", "plugin": "Sleep", "parameters": {"time": 1000}, "inputs": ["stop:0", null]}
]})";
}

}  // namespace

TEST(OrvaList, NamesInOrder) {
    SResult result = Orva({"list"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out.rfind("ConvertType\nNormalize\nCurveIndex\n", 0), 0u);
    EXPECT_EQ(Orva({"list", "utility"}).out, result.out);
    EXPECT_EQ(Orva({"list", std::string(TEST_MODULES) + "/testmodule"}).out,
              "Echo\nKeeper\nParams\n");

    // Without ORVADIR orva finds its installation from its own place.
    EXPECT_EQ(Orva({"list"}, true).out, result.out);
}

TEST(OrvaDescribe, ReadablePageAndDocument) {
    SResult page = Orva({"describe", "TimerStart"});
    EXPECT_EQ(page.status, 0);
    EXPECT_NE(page.out.find("TimerStart (module utility, Generic / Utility)"), std::string::npos);
    EXPECT_NE(page.out.find("  0 (required)  original image\n"), std::string::npos);
    EXPECT_NE(page.out.find("  1  a copy of the input image\n"), std::string::npos);
    EXPECT_NE(page.out.find("/doc/vimbro/html/utility/PTimerStart/index.html"), std::string::npos);

    // Texts of the document that are no settings come after the settings, apart.
    EXPECT_NE(
        Orva({"describe", "ConvertType"})
            .out.find("true the second\n\nDocumentation only (no settings):\n  in] (string)\n"),
        std::string::npos);

    SResult params = Orva({"describe", TestNode("Params")});
    EXPECT_NE(params.out.find("  count (long, default 1)\n      a declared long\n"),
              std::string::npos);
    EXPECT_NE(params.out.find("  name (string, default \"x\")"), std::string::npos);
}

TEST(OrvaPipe, TypedAndJsonSettings) {
    SResult result = Orva({"pipe", TestNode("Params"), "count=7", "scale=3", "flag=true", "name=12",
                           "ratio=2", "ratio:={\"@double\": 2}"});
    ASSERT_EQ(result.status, 0) << result.err;
    // Written back without indentation, each value shows its type: 3.0 is a double, "12" a text.
    EXPECT_EQ(CTextSerializer::ToText(*CTextSerializer::FromText(result.out), 0),
              R"({"0": {"count": 7, "flag": true, "name": "12", "ratio": 2.0, "scale": 3.0}})");
}

TEST(OrvaPipe, OutputZeroFeedsTheNextNode) {
    SResult result = Orva({"pipe", "--pixels", TestNode("Keeper"), "!", "Sleep", "time=0", "!",
                           "Sleep", "unit=seconds", "time=0"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::unique_ptr<CValue> printed = CTextSerializer::FromText(result.out);
    const CImage* image = UnwrapPointer<CImage>(printed->Map()->Entry("0"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->Size(), CSize(2, 2));
    EXPECT_EQ(image->Bytes()[0], 5);

    // "@PIN=STEP:OUT" feeds further inputs: TimerStop takes the time and TimerStart's copy.
    SResult linked = Orva(
        {"pipe", "--pixels", TestNode("Keeper"), "!", "TimerStart", "!", "TimerStop", "@1=2:1"});
    ASSERT_EQ(linked.status, 0) << linked.err;
    // TimerStop prints its time before the outputs.
    std::unique_ptr<CValue> outputs =
        CTextSerializer::FromText(linked.out.substr(linked.out.find("{\n")));
    const CImage* copy = UnwrapPointer<CImage>(outputs->Map()->Entry("0"));
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->Bytes()[0], 5);

    EXPECT_EQ(Orva({"pipe", "--quiet", TestNode("Keeper"), "!", "Sleep", "time=0"}).out, "");
    SResult timed = Orva({"pipe", "--time", TestNode("Keeper"), "!", "Sleep", "time=0"});
    EXPECT_NE(timed.err.find("time: Sleep#2 "), std::string::npos) << timed.err;
}

TEST(OrvaRun, GraphWithTwoInputsRepeatSetAndPrint) {
    std::string graph = WriteGraph("timers.json", TimerGraph());
    SResult result = Orva({"run", graph, "--pixels", "--repeat", "3", "--set", "nap.time=0",
                           "--print", "nap:0", "--print", "keep:2", "--print", "keep:1"});
    ASSERT_EQ(result.status, 0) << result.err;
    // TimerStop prints one line per run, then the chosen outputs follow.
    size_t json = result.out.find('{');
    ASSERT_NE(json, std::string::npos);
    std::string lines = result.out.substr(0, json);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 3);
    EXPECT_EQ(lines.find(" id("), 0u);
    std::unique_ptr<CValue> printed = CTextSerializer::FromText(result.out.substr(json));
    EXPECT_NE(UnwrapPointer<CImage>(printed->Map()->Entry("nap:0")), nullptr);
    EXPECT_EQ(printed->Map()->EntryLong("keep:2"), 2);
    EXPECT_EQ(printed->Map()->Entry("keep:1")->GenericType(), CValue::VAL_NULL);
}

TEST(OrvaErrors, ExitStatusAndMessage) {
    std::string later = WriteGraph("later.json", R"({"nodes": [
  {"id": "a", "plugin": "Sleep", "inputs": ["b:0"]},
  {"id": "b", "plugin": "Sleep"}]})");
    std::string broken = WriteGraph("broken.json", "{\"nodes\": [\n  {\"id\": \"a\",, }\n]}");
    std::string graph = WriteGraph("timers.json", TimerGraph());
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string message;
    } cases[] = {
        {{"pipe", "Sleeep"},
         2,
         "orva: unknown node 'Sleeep' in module utility; did you mean Sleep?\n"},
        {{"pipe", "EnvVar"},
         2,
         "orva: node 'EnvVar' has moved: create 'sysutils::EnvVar' instead\n"},
        {{"pipe", "Sleep", "oops"},
         2,
         "orva: malformed setting 'oops': expected KEY=VALUE or KEY:=JSON\n"},
        {{"pipe", "Sleep", "time:=[1"},
         2,
         "orva: node 'Sleep' (Sleep): parameter 'time': malformed JSON at line 1, column 2"},
        {{"run", later},
         2,
         "orva: " + later +
             ": node 'a', input 0 names 'b', which is not an earlier node of the graph\n"},
        {{"run", broken}, 2, "orva: " + broken + ": malformed JSON at line 2, column 14"},
        {{"run", graph, "--set", "nobody.time=1"},
         2,
         "orva: --set 'nobody.time=1' names no node of the graph\n"},
        {{"frobnicate"}, 2, "orva: unknown command 'frobnicate'\n"},
        {{"rnu", graph}, 2, "orva: unknown command 'rnu'; did you mean run?\n"},
        {{"run", "/nonexistent/graph.json"},
         2,
         "orva: cannot read /nonexistent/graph.json: No such file or directory\n"},
        {{"list", "--json"}, 2, "orva: The following argument was not expected: --json\n"},
        {{"doc", "utility", "Labelling"},
         2,
         "orva: unknown node 'Labelling' in module utility; did you mean Labeling?\n"},
        {{"pipe", "Sleep"},
         1,
         "error: node 'Sleep' (Sleep): Sleep: No input on first input pin!\n"},
        {{"pipe", "Sleep", "!", "Sleep", "@0=2"},
         2,
         "orva: '@0=2' of Sleep#2 is no input link: STEP counts the nodes before it from 1 to 1\n"},
        {{"pipe", "Sleep", "!", "Sleep", "@0=1:1"},
         2,
         "orva: '@0=1:1' of Sleep#2 is no input link: Sleep has no output 1\n"},
        {{"pipe", "Sleep", "!", "Sleep", "@1=1"},
         2,
         "orva: '@1=1' of Sleep#2 is no input link: Sleep#2 has no input 1\n"},
        {{"pipe", "Sleep", "!", "Sleep", "@0=-1"}, 2, "orva: '@0=-1' of Sleep#2 is no input link"},
    };
    for (const Case& c : cases) {
        SResult result = Orva(c.arguments);
        EXPECT_EQ(result.status, c.status) << c.arguments[0] << " " << c.arguments.back();
        EXPECT_EQ(result.err.rfind(c.message, 0), 0u) << result.err;
        if (c.status == 2) {
            EXPECT_EQ(result.out, "");  // nothing ran
        }
    }
}

TEST(OrvaDoc, HelpPagesWhereTheDocumentsSay) {
    std::string page =
        Slurp(std::string(ORVA_BUILD_ROOT) + "/doc/vimbro/html/utility/PTimerStart/index.html");
    EXPECT_NE(page.find("<h1>TimerStart</h1>"), std::string::npos);
    EXPECT_NE(page.find("<td>original image</td>"), std::string::npos);
    std::string index = Slurp(std::string(ORVA_BUILD_ROOT) + "/doc/vimbro/html/utility/index.html");
    EXPECT_NE(index.find("<a href=\"PSleep/index.html\">Sleep</a>"), std::string::npos);

    // See-also names link to pages that exist; those the list hides are marked.
    std::string marks =
        Slurp(std::string(ORVA_BUILD_ROOT) + "/doc/vimbro/html/utility/PFindRectangle/index.html");
    EXPECT_NE(
        marks.find("<p><a href=\"../PFindAndCutRectangle/index.html\">FindAndCutRectangle</a> "
                   "(deprecated), <a href=\"../PExpandBox/index.html\">ExpandBox</a> "
                   "(deprecated), <a href=\"../PZoneList/index.html\">ZoneList</a></p>"),
        std::string::npos);
    EXPECT_NE(
        Orva({"describe", "HoughCircle"}).out.find("See also: HoughCircleTJ (deprecated), Hough\n"),
        std::string::npos);
}

TEST(OrvaDoc, EveryPageShowsAnExampleThatRan) {
    std::vector<std::string> missing;
    for (const char* module : {"utility", "filters"})
        for (const auto& entry : std::filesystem::directory_iterator(std::string(ORVA_BUILD_ROOT) +
                                                                     "/doc/vimbro/html/" + module))
            if (entry.is_directory() &&
                Slurp(entry.path() / "index.html").find("<h2>Example</h2>") == std::string::npos)
                missing.push_back(entry.path().filename());
    EXPECT_EQ(missing, std::vector<std::string>{});
}

TEST(OrvaExamples, EveryExampleGraphRuns) {
    std::filesystem::path examples = std::filesystem::path(ORVA_BUILD_ROOT) / "examples";
    int graphs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(examples)) {
        if (entry.path().extension() != ".json") continue;
        ++graphs;
        SResult result = Orva({"run", entry.path().string(), "--repeat", "2"});
        EXPECT_EQ(result.status, 0) << entry.path() << "\n" << result.err;
    }
    EXPECT_GE(graphs, 2);
}

TEST(OrvaChecks, SettingsRefusedBeforeAnythingRunsUnlessLenient) {
    std::string pins = WriteGraph("pins.json", R"({"nodes": [
  {"id": "keep", "plugin": ")" + TestNode("Params") +
                                                   R"("},
  {"id": "nap", "plugin": "Sleep", "inputs": ["keep:7"]}]})");
    std::string keys = WriteGraph("keys.json", R"({"nodes": [
  {"id": "nap", "plugin": "Sleep", "paramters": {"time": 0}}]})");
    std::string top = WriteGraph("top.json", R"({"nodes": [], "uii": {}})");
    std::string nap = WriteGraph("nap.json", R"({"nodes": [{"id": "nap", "plugin": "Sleep"}]})");
    struct Case {
        std::vector<std::string> arguments;
        std::string message;
        std::string warning = message;  // with --lenient
    } cases[] = {
        {{"pipe", "Labeling", "neighborhood=8"},
         "node 'Labeling' (Labeling): parameter 'neighborhood' is not a parameter of the node; "
         "did you mean neighbourhood?"},
        {{"pipe", "ConvertType", "out_type=GREY8"},
         "node 'ConvertType' (ConvertType): parameter 'out_type' is 'GREY8', which is not one of "
         "IMAGE_GREY_F, IMAGE_GREY_8, IMAGE_BINARY_FG, IMAGE_RGB_8, IMAGE_RGB_8I, IMAGE_RGB_FI"},
        {{"pipe", "DrawString", "value:=[255,0,0]"},
         "node 'DrawString' (DrawString): parameter 'value' takes a double or a long, not a "
         "vector"},
        {{"pipe", "Sleep", "time:=0.5"},
         "node 'Sleep' (Sleep): parameter 'time' takes a long (32-bit integer), not a double"},
        {{"pipe", "Sleep", "time=0.5"},
         "node 'Sleep' (Sleep): parameter 'time' takes a long (32-bit integer), not '0.5'",
         "node 'Sleep' (Sleep): parameter 'time' takes a long (32-bit integer), not a double"},
        {{"run", keys},
         keys + ": node 'nap' has an unknown key \"paramters\"; did you mean \"parameters\"?"},
        {{"run", top}, top + " has an unknown key \"uii\"; did you mean \"ui\"?"},
        {{"run", pins},
         pins + ": node 'nap', input 0 names output 7 of 'keep', which has outputs 0"},
        {{"run", nap, "--set", "nap.tim=1"},
         "node 'nap' (Sleep): parameter 'tim' is not a parameter of the node; did you mean time?"},
    };
    for (const Case& c : cases) {
        SResult strict = Orva(c.arguments);
        EXPECT_EQ(strict.status, 2) << c.message;
        EXPECT_EQ(strict.err.rfind("orva: " + c.message + "\n", 0), 0u) << strict.err;
        EXPECT_EQ(strict.out, "");

        // Lenient: the same text as a warning, and the value passed on as given.
        std::vector<std::string> lenient = c.arguments;
        lenient.insert(lenient.begin() + 1, "--lenient");
        SResult warned = Orva(lenient);
        EXPECT_EQ(warned.err.rfind("orva: warning: " + c.warning + " (", 0), 0u) << warned.err;
        EXPECT_NE(warned.status, 2) << warned.err;
    }
    SResult passed = Orva({"pipe", "--lenient", TestNode("Params"), "bogus=1", "count=0.5"});
    ASSERT_EQ(passed.status, 0) << passed.err;
    std::unique_ptr<CValue> printed = CTextSerializer::FromText(passed.out);
    const CValueMap* values = printed->Map()->Entry("0")->Map();
    EXPECT_EQ(values->EntryLong("bogus"), 1);
    EXPECT_EQ(values->Entry("count")->GenericType(), CValue::VAL_DOUBLE);
}

TEST(OrvaChecks, NumbersOnTheCommandLineAreStrict) {
    std::string graph = WriteGraph("timers.json", TimerGraph());
    struct Case {
        std::string repeat, message;
    } cases[] = {
        {"0", "--repeat needs a count of 1 or more, not '0'"},
        {"+5", "--repeat needs a count of 1 or more, not '+5'"},
        {"9223372036854775808", "--repeat '9223372036854775808' is too large"},
    };
    for (const Case& c : cases) {
        SResult result = Orva({"run", graph, "--repeat", c.repeat});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(result.err.rfind("orva: " + c.message + "\n", 0), 0u) << result.err;
    }
}

TEST(OrvaOutput, SummariesFilesAndListings) {
    // A 2 x 2 GREY_8 image of 5, 0, 0, 0.
    SResult summary = Orva({"pipe", TestNode("Keeper")});
    ASSERT_EQ(summary.status, 0) << summary.err;
    EXPECT_EQ(CTextSerializer::ToText(*CTextSerializer::FromText(summary.out), 0),
              R"({"0": {"image": {"max": 5.0, "mean": 1.25, "min": 0.0, "nonfinite": 0, )"
              R"("size": [2, 2, 1], "type": "IMAGE_GREY_8"}}, "2": 2})");

    // --output: the JSON in the file, nothing the nodes print mixed in.
    std::string file = testing::TempDir() + std::to_string(getpid()) + "-out.json";
    SResult quiet = Orva({"pipe", "--output", file, TestNode("Keeper")});
    EXPECT_EQ(quiet.out, "");
    EXPECT_EQ(Slurp(file), summary.out);
    std::string graph = WriteGraph("timers.json", TimerGraph());
    SResult run =
        Orva({"run", graph, "--set", "nap.time=0", "--print", "keep:2", "--output", file});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out.find('{'), std::string::npos);  // TimerStop's line only
    EXPECT_EQ(Slurp(file), "{\n  \"keep:2\": 2\n}\n");

    // `run -` reads the graph from standard input.
    SResult piped =
        Orva({"run", "-", "--print", "nap:0"}, false,
             R"({"nodes": [{"id": "nap", "plugin": "Sleep", "parameters": {"time": 0}}]})");
    EXPECT_EQ(piped.status, 1);
    EXPECT_EQ(piped.err, "error: node 'nap' (Sleep): Sleep: No input on first input pin!\n");

    // --save: each output image as a file that keeps its type.
    std::string directory = testing::TempDir() + std::to_string(getpid()) + "-saved";
    SResult saved = Orva({"pipe", "--quiet", "--save", directory, TestNode("Keeper"), "!",
                          "ConvertType", "out_type=IMAGE_GREY_F"});
    ASSERT_EQ(saved.status, 0) << saved.err;
    SResult back = Orva({"pipe", "ReadImage", "filename=" + directory + "/0.tif"});
    EXPECT_NE(back.out.find("\"type\": \"IMAGE_GREY_F\""), std::string::npos) << back.err;
    EXPECT_NE(back.out.find("\"mean\": 1.25"), std::string::npos) << back.out;
    // A mask, which no format holds, becomes an 8-bit PNG of 0 and 255.
    ASSERT_EQ(Orva({"pipe", "--quiet", "--save", directory, TestNode("Keeper"), "!", "ConvertType",
                    "out_type=IMAGE_BINARY_FG"})
                  .status,
              0);
    SResult mask = Orva({"pipe", "ReadImage", "filename=" + directory + "/0.png"});
    EXPECT_NE(mask.out.find("\"max\": 255.0"), std::string::npos) << mask.out << mask.err;
    EXPECT_NE(mask.out.find("\"type\": \"IMAGE_GREY_8\""), std::string::npos) << mask.out;
    std::filesystem::remove_all(directory);
    std::remove(file.c_str());

    SResult list = Orva({"list", "-l"});
    EXPECT_EQ(list.out.rfind("ConvertType         Image/Utility         Change image type", 0), 0u)
        << list.out;
    SResult search = Orva({"search", "CIRCLE"});
    EXPECT_EQ(search.out.rfind("HoughCircle  Image/Transformation  Hough transform for circles", 0),
              0u)
        << search.out;
    EXPECT_EQ(Orva({"search", "nosuchword"}).status, 1);
    EXPECT_EQ(Orva({"--version"}).out, "orva 1.0.0\n");

    // A deprecated node's document is still valid JSON; the warning goes to standard error.
    SResult deprecated = Orva({"describe", "--json", "Merge"});
    EXPECT_EQ(CTextSerializer::FromText(deprecated.out)->Map()->EntryString("name", ""), "Merge");
    EXPECT_EQ(deprecated.err, "Warning: Merge is deprecated and should no longer be used.\n");
}

TEST(OrvaBatch, FailingFileAmongGoodOnes) {
    namespace fs = std::filesystem;
    const fs::path root = testing::TempDir() + "orva-batch-" + std::to_string(getpid());
    fs::create_directories(root / "in");
    fs::create_directories(root / "out");
    const fs::path coconut = fs::path(ORVA_BUILD_ROOT) / "examples/images/coconut.png";
    fs::copy_file(coconut, root / "in/a.png");
    fs::copy_file(coconut, root / "in/c.png");
    std::ofstream(root / "in/b.png") << "not an image";
    std::string graph = WriteGraph("batch.json", R"({"nodes": [
  {"id": "read", "plugin": "ReadImage"},
  {"id": "save", "plugin": "SaveImage", "inputs": ["read:0"]}]})");

    SResult result =
        Orva({"run", graph, "--each", (root / "in/*.png").string(), "--jobs", "2", "--set",
              "read.filename={dir}/{name}", "--set",
              "save.filename=" + (root / "out").string() + "/{stem}-x.png", "--print", "save:0"});
    EXPECT_EQ(result.status, 1);
    // Only the good files' outputs, under their names; nothing of the failed or temporary ones.
    std::vector<std::string> written;
    for (const auto& entry : fs::directory_iterator(root / "out"))
        written.push_back(entry.path().filename().string());
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, (std::vector<std::string>{"a-x.png", "c-x.png"}));
    EXPECT_NE(result.out.find("\"save:0\": \"" + (root / "out/c-x.png").string() + "\""),
              std::string::npos)
        << result.out;
    const std::string summary = "orva: 1 of 3 files failed:\n  " + (root / "in/b.png").string() +
                                ": node 'read' (ReadImage): ";
    EXPECT_NE(result.err.find(summary), std::string::npos) << result.err;

    struct Case {
        std::vector<std::string> arguments;
        std::string message;
    } refused[] = {
        {{"--each", (root / "none/*.png").string()},
         "--each '" + (root / "none/*.png").string() + "' matches no file"},
        {{"--each", (root / "in/*.png").string(), "--jobs", "0"},
         "--jobs needs a count of 1 or more, not '0'"},
        {{"--jobs", "2"}, "--jobs needs --each"},
        {{"--each", (root / "in/*.png").string(), "--set", "read.filenam={}"},
         "node 'read' (ReadImage): parameter 'filenam' is not a parameter of the node; did you "
         "mean filename?"},
    };
    for (const Case& c : refused) {
        std::vector<std::string> arguments = {"run", graph};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        SResult usage = Orva(arguments);
        EXPECT_EQ(usage.status, 2);
        EXPECT_EQ(usage.err.rfind("orva: " + c.message + "\n", 0), 0u) << usage.err;
    }
    fs::remove_all(root);
}
