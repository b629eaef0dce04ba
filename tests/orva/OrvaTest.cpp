#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

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

// Runs orva with `arguments`; `unsetRoot` runs it without ORVADIR in its environment.
SResult Orva(const std::vector<std::string>& arguments, bool unsetRoot = false) {
    // Tests run in parallel processes: each run writes files of its own.
    static int calls = 0;
    std::string stem =
        testing::TempDir() + "orva-" + std::to_string(getpid()) + "-" + std::to_string(++calls);
    std::string command =
        (unsetRoot ? "env -u ORVADIR " : "") + Quoted(ORVA_BUILD_ROOT "/bin/orva");
    for (const std::string& argument : arguments)
        command += " " + Quoted(argument);
    int status = std::system((command + " >" + stem + "-out 2>" + stem + "-err").c_str());
    SResult result{WEXITSTATUS(status), Slurp(stem + "-out"), Slurp(stem + "-err")};
    std::remove((stem + "-out").c_str());
    std::remove((stem + "-err").c_str());
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
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 51);
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

    SResult params = Orva({"describe", TestNode("Params")});
    EXPECT_NE(params.out.find("  count (long, default 1)\n      a declared long\n"),
              std::string::npos);
    EXPECT_NE(params.out.find("  name (string, default \"x\")"), std::string::npos);

    SResult json = Orva({"describe", "--json", "Sleep"});
    EXPECT_EQ(json.status, 0);
    // Sleep's document is the minimal one: identity, parameters and pins only.
    EXPECT_EQ(CTextSerializer::ToText(*CTextSerializer::FromText(json.out), 0),
              R"({"inputs": {"0": {"@image": null}}, "name": "Sleep", )"
              R"("outputs": {"0": {"@image": null}}, "parameters": {"time": 10, )"
              R"("unit": {"@value": "milliseconds", "@meta": {"val": {"enValues": )"
              R"("milliseconds,seconds"}}}}, "pluginType": "Image", "subType": "Utility"})");
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
    SResult result = Orva({"pipe", TestNode("Keeper"), "!", "Sleep", "time=0", "!", "Sleep",
                           "unit=seconds", "time=0"});
    ASSERT_EQ(result.status, 0) << result.err;
    std::unique_ptr<CValue> printed = CTextSerializer::FromText(result.out);
    const CImage* image = UnwrapPointer<CImage>(printed->Map()->Entry("0"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->Size(), CSize(2, 2));
    EXPECT_EQ(image->Bytes()[0], 5);

    EXPECT_EQ(Orva({"pipe", "--quiet", TestNode("Keeper"), "!", "Sleep", "time=0"}).out, "");
    SResult timed = Orva({"pipe", "--time", TestNode("Keeper"), "!", "Sleep", "time=0"});
    EXPECT_NE(timed.err.find("time: Sleep#2 "), std::string::npos) << timed.err;
}

TEST(OrvaRun, GraphWithTwoInputsRepeatSetAndPrint) {
    std::string graph = WriteGraph("timers.json", TimerGraph());
    SResult result = Orva({"run", graph, "--repeat", "3", "--set", "nap.time=0", "--print", "nap:0",
                           "--print", "keep:2", "--print", "keep:1"});
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
        {{"pipe", "Sleep", "time=ten"},
         2,
         "orva: node 'Sleep' (Sleep): parameter 'time' takes a long (32-bit integer), not 'ten'\n"},
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
        {{"run", graph, "--repeat", "0"}, 2, "orva: --repeat needs a count of 1 or more\n"},
        {{"frobnicate"}, 2, "orva: unknown command 'frobnicate'\n"},
        {{"pipe", "Sleep"},
         1,
         "error: node 'Sleep' (Sleep): Sleep: No input on first input pin!\n"},
        {{"pipe", "Sleep", "unit=hours"},
         2,
         "orva: node 'Sleep' (Sleep): parameter 'unit' is 'hours', which is not one of "
         "milliseconds, seconds\n"},
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
