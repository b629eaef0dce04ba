#include "PStringManipulation.h"

#include <limits>

#include "algorithms/TextOperations.h"

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) StringManipulation::Run";
constexpr const char* MODES =
    "CONCAT, PREPEND, REPLACE, SUBSTRING, UPPER, LOWER, TRIM, SPLIT, LENGTH, TO_NUMBER, FORMAT";

// A value as text: strings as they are, numbers in their shortest exact form, bools as "true"
// or "false", no value (or a null) as the empty text. Other kinds throw.
std::string ValueText(const CValue* value, int pin) {
    if (!value) return {};
    switch (value->GenericType()) {
        case CValue::VAL_NULL:
            return {};
        case CValue::VAL_STRING:
        case CValue::VAL_BOOL:
        case CValue::VAL_LONG:
        case CValue::VAL_DOUBLE:
            return value->String();  // doubles through FormatNumber: shortest exact
        default:
            throw CException(LOCATION, CString("input %1 holds a %2; a string, a number or a bool "
                                               "was expected")
                                           .Arg(pin)
                                           .Arg(TypeName(value->Type())));
    }
}

}  // namespace

CPStringManipulation::CPStringManipulation() : m_mode("CONCAT"), m_start(0), m_length(-1) {}

void CPStringManipulation::Declare(CSetupDocument& doc) {
    UtilityIdentity(doc, "Image", "Utility", "StringManipulation");
    doc.Brief(
        "Joins, replaces, cuts, splits, measures or formats text.",
        "Input 0 is turned into text first: a string as it is, a number in its shortest form "
        "that reads back exactly (5, 0.1, 1e+300, nan), a bool as true or false, and no value "
        "as the empty text. Then the mode decides:\n"
        "CONCAT: the input followed by \"text\". PREPEND: \"text\" followed by the input.\n"
        "REPLACE: every occurrence of \"search\" replaced by \"replace\", left to right.\n"
        "SUBSTRING: \"length\" characters from character \"start\" on; a negative start counts "
        "from the end (-1 is the last character), a negative length takes the rest, and what "
        "lies beyond the text is left out, as Python's slices do.\n"
        "UPPER, LOWER: the letters A to Z changed in case; other characters stay.\n"
        "TRIM: blanks, tabs and line ends removed at both ends.\n"
        "SPLIT: a vector of the pieces between the occurrences of \"search\" (empty pieces "
        "kept); with an empty search the text is split at runs of white space and empty pieces "
        "are dropped, as Python's str.split does.\n"
        "LENGTH: the number of characters, as a long.\n"
        "TO_NUMBER: the text without surrounding white space read as a number: a long when it "
        "is an integer of 32 bits, else a double (nan and inf included).\n"
        "FORMAT: \"text\" with each %1 ... %9 replaced by the text of input 0 ... 8; %10 and "
        "above stay as they are, and text taken from an input is never searched again.");
    doc.Note(
        "Characters are UTF-8 code points: SUBSTRING never cuts one apart and LENGTH counts "
        "each once.");
    doc.Input(0, "Value turned into text: a string, a long, a double or a bool.",
              CSetupDocument::PIN_VALUE)
        .Optional();
    doc.Output(0,
               "The result: a string; a vector of strings (SPLIT); a long (LENGTH); a long or a "
               "double (TO_NUMBER).",
               CSetupDocument::PIN_VALUE);
    doc.Parameter("mode", m_mode, "the operation").Values(MODES);
    doc.Parameter("text", m_text,
                  "text joined to the input (CONCAT, PREPEND), or the template "
                  "(FORMAT)");
    doc.Parameter("search", m_search, "text searched for (REPLACE) or the separator (SPLIT)");
    doc.Parameter("replace", m_replace, "replacement of each occurrence of search (REPLACE)");
    doc.Parameter("start", m_start,
                  "first character of SUBSTRING, counted from 0; negative counts from the end");
    doc.Parameter("length", m_length, "number of characters of SUBSTRING; negative takes the rest");
    doc.Keywords({"string", "text", "concatenate", "replace", "substring", "split", "format",
                  "number", "case", "trim"});
    doc.SeeAlso("StringToImage, ImageToString");
}

void CPStringManipulation::Run() {
    if (m_mode == "FORMAT") {
        std::string filled = Text::FillPlaceholders(m_text, [&](int pin) {
            const CValue* value = GetStackInput(pin, false);
            if (!value)
                throw CException(LOCATION, "the text uses %" + std::to_string(pin + 1) +
                                               " but input " + std::to_string(pin) + " is empty");
            return ValueText(value, pin);
        });
        SetStackOutput(0, std::make_unique<CValueString>(std::move(filled)));
        return;
    }
    std::string input = ValueText(GetStackInput(0, false), 0);
    std::unique_ptr<CValue> result;
    if (m_mode == "CONCAT") {
        result = std::make_unique<CValueString>(input + m_text);
    } else if (m_mode == "PREPEND") {
        result = std::make_unique<CValueString>(m_text + input);
    } else if (m_mode == "REPLACE") {
        if (m_search.empty())
            throw CException(LOCATION, "REPLACE needs a search text that is not empty");
        result = std::make_unique<CValueString>(CString(input).Replace(m_search, m_replace));
    } else if (m_mode == "SUBSTRING") {
        result = std::make_unique<CValueString>(Text::Substring(input, m_start, m_length));
    } else if (m_mode == "UPPER" || m_mode == "LOWER") {
        result =
            std::make_unique<CValueString>(Text::ChangeCase(std::move(input), m_mode == "UPPER"));
    } else if (m_mode == "TRIM") {
        result = std::make_unique<CValueString>(Text::Trim(input));
    } else if (m_mode == "SPLIT") {
        auto pieces = std::make_unique<CValueVector>();
        for (std::string& piece : Text::Split(input, m_search))
            pieces->PushBack(new CValueString(std::move(piece)));
        result = std::move(pieces);
    } else if (m_mode == "LENGTH") {
        int64_t count = Text::CharacterCount(input);
        if (count > std::numeric_limits<int32_t>::max())
            throw CException(
                LOCATION, CString("the text has %1 characters, more than a long holds").Arg(count));
        result = std::make_unique<CValueLong>(static_cast<int32_t>(count));
    } else if (m_mode == "TO_NUMBER") {
        std::variant<int32_t, double> number = Text::ParseNumber(input, LOCATION);
        if (const int32_t* integer = std::get_if<int32_t>(&number))
            result = std::make_unique<CValueLong>(*integer);
        else
            result = std::make_unique<CValueDouble>(std::get<double>(number));
    } else {
        throw CException(LOCATION,
                         "unknown mode '" + m_mode + "': expected one of " + std::string(MODES));
    }
    SetStackOutput(0, std::move(result));
}

}  // namespace ORVA
