#include "FileTesting.h"
#include "PStringManipulation.h"

using namespace ORVA;
using namespace testing_support;

namespace {

struct SSettings {
    const char* mode;
    const char* text = "";
    const char* search = "";
    const char* replace = "";
};

// Runs a node with `settings` on `inputs` (in the text format; null leaves a pin empty): the
// output in the text format, or "L | message" for a failure at the node's location.
std::string Outcome(const SSettings& settings, std::vector<const char*> inputs) {
    CPStringManipulation node;
    Configure(node, Parameters({{"mode", settings.mode},
                                {"text", settings.text},
                                {"search", settings.search},
                                {"replace", settings.replace},
                                {"start", 1},
                                {"length", 3}}));
    std::vector<std::unique_ptr<CValue>> values;
    for (size_t pin = 0; pin < inputs.size(); ++pin) {
        values.push_back(inputs[pin] ? CTextSerializer::FromText(inputs[pin]) : nullptr);
        node.SetStackInput(static_cast<int>(pin), values.back().get());
    }
    std::string error = ErrorOf([&] { node.Run(); }, true);
    if (error != "no exception")
        return Replaced(error, "(utility plugins) StringManipulation::Run |", "L |");
    return node.StackOutput(0) ? CTextSerializer::ToText(*node.StackOutput(0), 0) : "no output";
}

}  // namespace

TEST(StringManipulation, EveryModeGivesItsResult) {
    struct Case {
        SSettings settings;
        std::vector<const char*> inputs;
        const char* expected;
    } cases[] = {
        {{"CONCAT", "|"}, {"0.1"}, R"("0.1|")"},  // shortest exact, not 0.10000000000000001
        {{"PREPEND", ">"}, {nullptr}, R"(">")"},
        {{"REPLACE", "", "aa", "b"}, {R"("aaa")"}, R"("ba")"},  // left to right, no overlaps
        {{"SUBSTRING"}, {R"("héllo")"}, R"("éll")"},
        {{"UPPER"}, {R"("abc-Zé")"}, R"("ABC-Zé")"},
        {{"LOWER"}, {R"("abc-Zé")"}, R"("abc-zé")"},
        {{"TRIM"}, {R"("  a b \t\n")"}, R"("a b")"},
        {{"SPLIT", "", ","}, {R"("a,,b")"}, R"(["a", "", "b"])"},
        {{"LENGTH"}, {R"("héllo")"}, "5"},
        {{"TO_NUMBER"}, {R"("2147483648")"}, "2147483648.0"},
        // FORMAT fills %1 ... %9 from inputs 0 ... 8; an input is needed only where used.
        {{"FORMAT", "%2-%1 %1"}, {R"("a")", "3"}, R"("3-a a")"},
        {{"FORMAT", "%3"}, {nullptr, nullptr, "0.3333333333333333"}, R"("0.3333333333333333")"},
        {{"FORMAT", "%1 %2"}, {R"("a")"}, "L | the text uses %2 but input 1 is empty"},
        {{"REPLACE"}, {R"("a")"}, "L | REPLACE needs a search text that is not empty"},
        {{"CONCAT"},
         {"[1]"},
         "L | input 0 holds a CValueVector; a string, a number or a bool was expected"},
        {{"concat"},
         {R"("a")"},
         "L | unknown mode 'concat': expected one of CONCAT, PREPEND, REPLACE, SUBSTRING, UPPER, "
         "LOWER, TRIM, SPLIT, LENGTH, TO_NUMBER, FORMAT"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Outcome(c.settings, c.inputs), c.expected)
            << c.settings.mode << " " << c.settings.text;
}
