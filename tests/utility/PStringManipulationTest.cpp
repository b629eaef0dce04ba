#include <cmath>
#include <limits>

#include "NodeTesting.h"
#include "PStringManipulation.h"

using namespace ORVA;
using namespace testing_support;

namespace {

struct SSettings {
    const char* mode;
    const char* text = "";
    const char* search = "";
    const char* replace = "";
    int32_t start = 0;
    int32_t length = -1;
};

// Runs a node with `settings` and `inputs` on pins 0, 1, ... (null leaves a pin empty).
std::unique_ptr<CValue> Manipulate(const SSettings& settings, std::vector<CValue*> inputs) {
    CPStringManipulation node;
    CValueMap parameters;
    parameters.SetEntry("mode", new CValueString(settings.mode));
    parameters.SetEntry("text", new CValueString(settings.text));
    parameters.SetEntry("search", new CValueString(settings.search));
    parameters.SetEntry("replace", new CValueString(settings.replace));
    parameters.SetEntry("start", new CValueLong(settings.start));
    parameters.SetEntry("length", new CValueLong(settings.length));
    Configure(node, parameters);
    for (size_t pin = 0; pin < inputs.size(); ++pin)
        node.SetStackInput(static_cast<int>(pin), inputs[pin]);
    node.Run();
    return node.TakeStackOutput(0);
}

}  // namespace

TEST(StringManipulation, EveryModeGivesItsResult) {
    CValueString hello("héllo"), padded("  a b \t\n"), commas("a,,b"), blanks("  a  b "), empty(""),
        aaa("aaa"), mixed("abc-Zé"), dotted("a.b.c");
    CValueDouble tenth(0.1), huge(1e300);
    CValueLong negative(-7);
    CValueBool yes(true);
    struct Case {
        SSettings settings;
        CValue* input;
        const char* expected;  // in the text format, so the kind is checked too
    } cases[] = {
        {{"CONCAT", "!"}, &hello, R"("héllo!")"},
        {{"CONCAT", "|"}, &tenth, R"("0.1|")"},  // shortest exact, not 0.10000000000000001
        {{"CONCAT"}, &huge, R"("1e+300")"},
        {{"CONCAT"}, &negative, R"("-7")"},
        {{"CONCAT"}, &yes, R"("true")"},
        {{"CONCAT", "only"}, nullptr, R"("only")"},
        {{"PREPEND", ">"}, &hello, R"(">héllo")"},
        {{"REPLACE", "", "aa", "b"}, &aaa, R"("ba")"},  // left to right, no overlaps
        {{"REPLACE", "", ".", "--"}, &dotted, R"("a--b--c")"},
        {{"REPLACE", "", "x", "y"}, &dotted, R"("a.b.c")"},
        {{"SUBSTRING", "", "", "", 1, 3}, &hello, R"("éll")"},  // characters, not bytes
        {{"SUBSTRING", "", "", "", -3, -1}, &hello, R"("llo")"},
        {{"SUBSTRING", "", "", "", -9, 2}, &hello, R"("hé")"},
        {{"SUBSTRING", "", "", "", 4, 9}, &hello, R"("o")"},
        {{"SUBSTRING", "", "", "", 9, 2}, &hello, R"("")"},
        {{"SUBSTRING", "", "", "", 1, 0}, &hello, R"("")"},
        {{"UPPER"}, &mixed, R"("ABC-Zé")"},
        {{"LOWER"}, &mixed, R"("abc-zé")"},
        {{"TRIM"}, &padded, R"("a b")"},
        {{"SPLIT", "", ","}, &commas, R"(["a", "", "b"])"},
        {{"SPLIT", "", ",,"}, &commas, R"(["a", "b"])"},
        {{"SPLIT", "", ","}, &empty, R"([""])"},
        {{"SPLIT"}, &blanks, R"(["a", "b"])"},
        {{"SPLIT"}, &empty, R"([])"},
        {{"LENGTH"}, &hello, "5"},
        {{"LENGTH"}, nullptr, "0"},
    };
    for (const Case& c : cases) {
        std::unique_ptr<CValue> result = Manipulate(c.settings, {c.input});
        std::unique_ptr<CValue> expected = CTextSerializer::FromText(c.expected);
        ASSERT_NE(result, nullptr) << c.settings.mode;
        EXPECT_TRUE(result->Equal(*expected))
            << c.settings.mode << ": " << CTextSerializer::ToText(*result, 0) << " instead of "
            << c.expected;
    }
}

TEST(StringManipulation, ToNumberGivesALongOnlyForIntegersOf32Bits) {
    struct Case {
        const char* text;
        const char* expected;
    } cases[] = {
        {" 42\n", "42"},
        {"-2147483648", "-2147483648"},
        {"2147483648", R"({"@double": 2147483648})"},
        {"+7", "7"},
        {"0.5", "0.5"},
        {"+1.5e3", "1500.0"},
        {"-.25", "-0.25"},
        {"1e-320", "1e-320"},  // subnormal, still a number
        {"inf", R"({"@double": "inf"})"},
        {"-inf", R"({"@double": "-inf"})"},
    };
    for (const Case& c : cases) {
        CValueString input(c.text);
        std::unique_ptr<CValue> result = Manipulate({"TO_NUMBER"}, {&input});
        EXPECT_TRUE(result->Equal(*CTextSerializer::FromText(c.expected)))
            << "'" << c.text << "' gave " << CTextSerializer::ToText(*result, 0);
    }
    CValueString nan("nan");
    std::unique_ptr<CValue> result = Manipulate({"TO_NUMBER"}, {&nan});
    EXPECT_EQ(result->GenericType(), CValue::VAL_DOUBLE);
    EXPECT_TRUE(std::isnan(result->Double()));
}

TEST(StringManipulation, FormatFillsPlaceholdersFromTheirInputs) {
    CValueString a("a"), placeholder("%2"), x("x");
    CValueLong three(3);
    CValueDouble third(1.0 / 3.0);
    struct Case {
        const char* text;
        std::vector<CValue*> inputs;
        const char* expected;
    } cases[] = {
        {"%2-%1 %1", {&a, &three}, "3-a a"},
        {"%1 %10 %0 100% %", {&a}, "a %10 %0 100% %"},  // only %1 ... %9
        {"%1=%2", {&placeholder, &x}, "%2=x"},          // input text is not searched again
        {"%3", {nullptr, nullptr, &third}, "0.3333333333333333"},
        {"no placeholders", {}, "no placeholders"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Manipulate({"FORMAT", c.text}, c.inputs)->String(), c.expected) << c.text;
}

TEST(StringManipulation, FailuresSayWhatWasExpected) {
    CValueString word("12abc"), empty(""), hex("0x10"), tooLarge("1e999"), sign("-"), text("a");
    CValueVector vector;
    struct Case {
        SSettings settings;
        std::vector<CValue*> inputs;
        const char* message;
    } cases[] = {
        {{"TO_NUMBER"}, {&word}, "'12abc' is not a number"},
        {{"TO_NUMBER"}, {&empty}, "'' is not a number"},
        {{"TO_NUMBER"}, {&hex}, "'0x10' is not a number"},
        {{"TO_NUMBER"}, {&sign}, "'-' is not a number"},
        {{"TO_NUMBER"}, {&tooLarge}, "'1e999' is beyond the range of a double"},
        {{"REPLACE"}, {&text}, "REPLACE needs a search text that is not empty"},
        {{"FORMAT", "%1 %2"}, {&text}, "the text uses %2 but input 1 is empty"},
        {{"CONCAT"},
         {&vector},
         "input 0 holds a CValueVector; a string, a number or a bool was "
         "expected"},
        {{"concat"},
         {&text},
         "unknown mode 'concat': expected one of CONCAT, PREPEND, REPLACE, "
         "SUBSTRING, UPPER, LOWER, TRIM, SPLIT, LENGTH, TO_NUMBER, FORMAT"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ErrorOf([&] { Manipulate(c.settings, c.inputs); }, true),
                  std::string("(utility plugins) StringManipulation::Run | ") + c.message)
            << c.settings.mode;
}
