#include <filesystem>
#include <fstream>

#include "FileTesting.h"
#include "PScript.h"
#include "base/Interrupt.h"

using namespace ORVA;
using namespace testing_support;

namespace {

const char* const INVERT = "sh \"%ORVADIR%/examples/scripts/invert.sh\" %IN0% %OUT0% 255";

// Every test runs with TMPDIR at a directory of its own, so that what Script leaves behind
// shows.
class Script : public FileTest {
  protected:
    // A Script node with `command` and further settings, its inputs placed.
    std::unique_ptr<CPScript> Prepared(const std::string& command, std::vector<CValue*> inputs,
                                       CValueMap settings) {
        auto node = std::make_unique<CPScript>();
        settings.SetEntry("command", new CValueString(command));
        Configure(*node, settings);
        SetInputs(*node, inputs);
        return node;
    }
    std::unique_ptr<CPScript> RunScript(const std::string& command,
                                        std::vector<CValue*> inputs = {}, CValueMap settings = {}) {
        auto node = Prepared(command, inputs, settings);
        node->Run();
        return node;
    }
    // The message of a run that fails, which sets no output; what it printed on standard error
    // goes to `errors`.
    std::string Failure(const std::string& command, std::vector<CValue*> inputs = {},
                        CValueMap settings = {}, std::string* errors = nullptr) {
        auto node = Prepared(command, inputs, settings);
        std::string message;
        std::string printed = CapturedStderr([&] { message = ErrorOf([&] { node->Run(); }); });
        EXPECT_FALSE(node->IsStackOutputSet(0)) << command;
        if (errors) *errors = printed;
        return message;
    }
    std::vector<std::string> Left() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(m_directory))
            names.push_back(entry.path().string());
        return names;
    }

    CScopedVariable m_temporary{"TMPDIR", m_directory.c_str()};
};

}  // namespace

TEST_F(Script, RunsTheExampleOnAnImage) {
    // Values whose inverses are exact; floats that need all nine digits; two planes.
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(3, 2, 2),
                                   {0.5f, 254.75f, -1.25f, 100.0f, 0.0f, 1e-3f, 255.0f, 3.0f});
    auto node = RunScript(INVERT, {image.get()});
    const CImage& inverted = OutputImage(*node);
    EXPECT_EQ(inverted.Type(), IMAGE_GREY_F);
    EXPECT_EQ(inverted.Size(), CSize(3, 2, 2));
    std::vector<float> expected;
    for (float value : Samples<float>(*UnwrapPointer<CImage>(image.get())))
        expected.push_back(static_cast<float>(255.0 - static_cast<double>(value)));
    EXPECT_EQ(Samples<float>(inverted), expected);
    EXPECT_FALSE(inverted.Attributes().HasEntry("image_path"));
    EXPECT_TRUE(Left().empty());
}

TEST_F(Script, WritesScalarsAsTheirTextAndTakesSeveralPins) {
    CValueLong number(7);
    CValueDouble tenth(0.1);
    CValueBool yes(true);
    CValueString text("-2.5 4");
    auto image = ImageValue<uint8_t>(IMAGE_GREY_8, CSize(2, 1), {9, 200});
    auto node = RunScript(
        "sh -c 'echo $(cat \"$1\") $(cat \"$2\") $(cat \"$3\") $(cat \"$4\") > \"$6\"; "
        "cp \"$5\" \"$7\"' sh %IN0% %IN1% %IN2% %IN3% %IN4% %OUT1% %OUT0%",
        {&number, &tenth, &yes, &text, image.get()});
    EXPECT_EQ(Samples<float>(OutputImage(*node, 1)), (std::vector<float>{7, 0.1f, 1, -2.5f, 4}));
    EXPECT_EQ(Samples<float>(OutputImage(*node, 0)), (std::vector<float>{9, 200}));
}

TEST_F(Script, NoValueCanBecomeACommand) {
    // A variable's value, blanks and all, is one argument, and nothing in it is run.
    CScopedVariable value("ORVA_SCRIPT_TEST_VALUE", "5 6; exit 7 $(exit 8) `exit 9` | false");
    auto node = RunScript("sh -c 'echo \"$1\" > \"$2\"' sh %ORVA_SCRIPT_TEST_VALUE% %OUT0%");
    EXPECT_EQ(Samples<float>(OutputImage(*node)), (std::vector<float>{5, 6}));
}

TEST_F(Script, FileNamesWithBlanksQuotesAndPercentSigns) {
    std::filesystem::path odd = m_directory / "a dir with 'single' \"double\" %HOME% $(x) ;";
    std::filesystem::create_directories(odd);
    CScopedVariable temporary("TMPDIR", odd.c_str());
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(2, 1), {1.0f, 2.0f});
    std::string printed = CapturedStdout([&] {
        auto node = RunScript(INVERT, {image.get()}, Parameters({{"keep_files", true}}));
        EXPECT_EQ(Samples<float>(OutputImage(*node)), (std::vector<float>{254, 253}));
        // Kept files keep the path the image was read from.
        EXPECT_EQ(OutputImage(*node).Attributes().EntryString("image_path").rfind(odd.string(), 0),
                  0u);
    });
    // The kept directory is the one named on standard output, and holds both files.
    const std::string lead = "Script: the files are kept in '";
    ASSERT_EQ(printed.rfind(lead, 0), 0u) << printed;
    std::filesystem::path kept = printed.substr(lead.size(), printed.size() - lead.size() - 2);
    EXPECT_EQ(kept.parent_path(), odd);
    EXPECT_TRUE(std::filesystem::exists(kept / "in0.txt"));
    EXPECT_TRUE(std::filesystem::exists(kept / "out0.txt"));
}

TEST_F(Script, FailuresCarryTheEndOfStandardError) {
    auto image = ImageValue<float>(IMAGE_GREY_F, CSize(1, 1), {1.0f});
    auto colour = ImageValue<uint8_t>(IMAGE_RGB_8I, CSize(1, 1), {1});
    CValueVector list;
    std::string errors;
    EXPECT_EQ(Failure("sh -c 'echo first >&2; echo \"it failed\" >&2; exit 3'", {}, {}, &errors),
              "the command exited with status 3. Its standard error ends with:\nfirst\nit failed");
    EXPECT_EQ(errors, "first\nit failed\n");  // passed on as it came

    // Only the end of a long standard error, from the start of a line.
    std::string message =
        Failure("sh -c 'for i in $(seq 1000); do echo line $i >&2; done; exit 1'");
    EXPECT_NE(message.find(". Its standard error ends with:\n...line "), std::string::npos)
        << message;
    EXPECT_EQ(message.substr(message.size() - 9), "line 1000");
    EXPECT_LT(message.size(), 2100u);

    struct Case {
        std::string command;
        std::string message;  // its beginning
        CValue* input = nullptr;
    } cases[] = {
        {"sh -c 'kill -TERM $$'",
         "the command was ended by signal 15 (Terminated). It wrote nothing to standard error."},
        {"sh -c 'echo 1 > \"$1\"; echo \"1 2\" >> \"$1\"' sh %OUT0%",
         "the file of %OUT0% cannot be read as a text matrix: inconsistent data in x direction!"},
        {"no-such-program-of-orva",
         "cannot run 'no-such-program-of-orva': No such file or directory"},
        {"cat %IN0% %IN1%", "the command uses %IN1% but input 1 is empty", image.get()},
        {"cat %IN0%",
         "input 0 cannot be written as a text matrix: input image is not of type IMAGE_GREY_F, "
         "IMAGE_GREY_8, IMAGE_GREY_16, IMAGE_GREY_32, nor IMAGE_MONO_BINARY",
         colour.get()},
        {"cat %IN0%",
         "input 0 holds a CValueVector; a script takes images, numbers, bools and strings", &list},
        {"cat %IN100%", "%IN100% names a pin beyond 99: a script has pins 0 to 99"},
        // Outputs are set only when every file is read.
        {"sh -c 'echo 1 > \"$1\"' sh %OUT0% %OUT1%", "the command wrote no file for %OUT1% ('"},
        {" ", "the command is empty"},
    };
    for (const Case& c : cases) {
        std::string got = Failure(c.command, {c.input});
        EXPECT_EQ(got.substr(0, c.message.size()), c.message) << c.command;
    }
    // A host that was interrupted starts no command and keeps no file.
    RequestInterrupt();
    std::string interrupted = Failure(INVERT, {image.get()});
    ClearInterrupt();
    EXPECT_EQ(interrupted, "interrupted: the command was stopped");
    // Everything made for the failed runs is gone.
    EXPECT_TRUE(Left().empty());
}

TEST_F(Script, ATimeoutFailsWithTheEndOfStandardError) {
    EXPECT_EQ(Failure("sh -c 'echo waiting >&2; sleep 30'", {}, Parameters({{"timeout", 0.5}})),
              "the command did not end within 0.5 s and was killed. Its standard error ends "
              "with:\nwaiting");
    EXPECT_TRUE(Left().empty());
}
