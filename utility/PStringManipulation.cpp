#include "PStringManipulation.h"

#include <algorithm>
#include <charconv>
#include <limits>

namespace ORVA {

namespace {
constexpr const char* LOCATION = "(utility plugins) StringManipulation::Run";
constexpr const char* MODES =
    "CONCAT, PREPEND, REPLACE, SUBSTRING, UPPER, LOWER, TRIM, SPLIT, LENGTH, TO_NUMBER, FORMAT";
constexpr std::string_view WHITE_SPACE = " \t\n\r\f\v";
// Placeholders %1 ... %9 take inputs 0 ... 8.
constexpr int FORMAT_INPUTS = 9;

// Whether the byte begins a character: it is not a UTF-8 continuation byte.
bool StartsCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

int64_t CharacterCount(std::string_view text) {
    return std::count_if(text.begin(), text.end(), StartsCharacter);
}

// The byte offset of character `index` (the text's size when it has fewer characters).
size_t ByteOffset(std::string_view text, int64_t index) {
    for (size_t i = 0; i < text.size(); ++i)
        if (StartsCharacter(text[i]) && index-- == 0) return i;
    return text.size();
}

std::string_view Trim(std::string_view text) {
    size_t first = text.find_first_not_of(WHITE_SPACE);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(WHITE_SPACE) - first + 1);
}

std::string ChangeCase(std::string text, bool upper) {
    for (char& c : text) {
        if (upper && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        if (!upper && c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
}  // namespace

CPStringManipulation::CPStringManipulation() : m_mode("CONCAT"), m_start(0), m_length(-1) {}

void CPStringManipulation::GetPluginSetup(CValueMap& setup) {
    CSetupDocument doc = UtilityDocument("Image", "Utility", "StringManipulation");
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
    doc.WriteTo(setup);
}

void CPStringManipulation::NodeInit() {
    m_mode = Parameters().EntryString("mode", m_mode);
    m_text = Parameters().EntryString("text", m_text);
    m_search = Parameters().EntryString("search", m_search);
    m_replace = Parameters().EntryString("replace", m_replace);
    m_start = Parameters().EntryLong("start", m_start);
    m_length = Parameters().EntryLong("length", m_length);
}

void CPStringManipulation::Run() {
    if (m_mode == "FORMAT") {
        SetStackOutput(0, std::make_unique<CValueString>(Format()));
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
        result = std::make_unique<CValueString>(Substring(input, m_start, m_length));
    } else if (m_mode == "UPPER" || m_mode == "LOWER") {
        result = std::make_unique<CValueString>(ChangeCase(std::move(input), m_mode == "UPPER"));
    } else if (m_mode == "TRIM") {
        result = std::make_unique<CValueString>(Trim(input));
    } else if (m_mode == "SPLIT") {
        auto pieces = std::make_unique<CValueVector>();
        for (std::string& piece : Split(input, m_search))
            pieces->PushBack(new CValueString(std::move(piece)));
        result = std::move(pieces);
    } else if (m_mode == "LENGTH") {
        int64_t count = CharacterCount(input);
        if (count > std::numeric_limits<int32_t>::max())
            throw CException(
                LOCATION, CString("the text has %1 characters, more than a long holds").Arg(count));
        result = std::make_unique<CValueLong>(static_cast<int32_t>(count));
    } else if (m_mode == "TO_NUMBER") {
        result = ParseNumber(input);
    } else {
        throw CException(LOCATION,
                         "unknown mode '" + m_mode + "': expected one of " + std::string(MODES));
    }
    SetStackOutput(0, std::move(result));
}

std::string CPStringManipulation::ValueText(const CValue* value, int pin) {
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

std::string CPStringManipulation::Substring(std::string_view text, int32_t start, int32_t length) {
    int64_t count = CharacterCount(text);
    int64_t first =
        start < 0 ? std::max<int64_t>(count + start, 0) : std::min<int64_t>(start, count);
    int64_t last = length < 0 ? count : std::min<int64_t>(first + length, count);
    size_t begin = ByteOffset(text, first);
    size_t end = begin + ByteOffset(text.substr(begin), last - first);
    return std::string(text.substr(begin, end - begin));
}

std::vector<std::string> CPStringManipulation::Split(std::string_view text,
                                                     std::string_view separator) {
    std::vector<std::string> pieces;
    if (separator.empty()) {
        for (size_t start = text.find_first_not_of(WHITE_SPACE); start != std::string_view::npos;) {
            size_t end = std::min(text.find_first_of(WHITE_SPACE, start), text.size());
            pieces.emplace_back(text.substr(start, end - start));
            start = text.find_first_not_of(WHITE_SPACE, end);
        }
        return pieces;
    }
    for (size_t start = 0;;) {
        size_t hit = text.find(separator, start);
        pieces.emplace_back(text.substr(start, hit - start));
        if (hit == std::string_view::npos) return pieces;
        start = hit + separator.size();
    }
}

std::unique_ptr<CValue> CPStringManipulation::ParseNumber(std::string_view text) {
    std::string_view number = Trim(text);
    // from_chars takes no '+'; a sign must be followed by the number itself.
    std::string_view digits = number;
    if (!digits.empty() && digits[0] == '+' && digits.size() > 1 && digits[1] != '-')
        digits.remove_prefix(1);
    const char* begin = digits.data();
    const char* end = begin + digits.size();
    bool integer = !digits.empty() &&
                   std::all_of(begin + (digits[0] == '-' ? 1 : 0), end, IsDigit) && digits != "-";
    if (integer) {
        int32_t value = 0;
        auto [at, error] = std::from_chars(begin, end, value);
        if (error == std::errc() && at == end) return std::make_unique<CValueLong>(value);
    }
    double value = 0.0;
    auto [at, error] = std::from_chars(begin, end, value);
    if (digits.empty() || at != end ||
        (error != std::errc() && error != std::errc::result_out_of_range))
        throw CException(LOCATION, CString("'%1' is not a number").Arg(text));
    if (error == std::errc::result_out_of_range)
        throw CException(LOCATION, CString("'%1' is beyond the range of a double").Arg(text));
    return std::make_unique<CValueDouble>(value);
}

std::string CPStringManipulation::Format() {
    std::string result;
    std::vector<std::string> texts(FORMAT_INPUTS);
    std::vector<bool> read(FORMAT_INPUTS, false);
    for (size_t i = 0; i < m_text.size(); ++i) {
        // A placeholder is '%' and one or two digits, as CString::Arg reads them.
        if (m_text[i] != '%' || i + 1 >= m_text.size() || !IsDigit(m_text[i + 1])) {
            result.push_back(m_text[i]);
            continue;
        }
        int number = m_text[i + 1] - '0';
        size_t length = 1;
        if (i + 2 < m_text.size() && IsDigit(m_text[i + 2])) {
            number = number * 10 + (m_text[i + 2] - '0');
            length = 2;
        }
        if (number < 1 || number > FORMAT_INPUTS) {
            result.append(m_text, i, 1 + length);
        } else {
            int pin = number - 1;
            if (!read[pin]) {
                const CValue* value = GetStackInput(pin, false);
                if (!value)
                    throw CException(LOCATION, "the text uses %" + std::to_string(number) +
                                                   " but input " + std::to_string(pin) +
                                                   " is empty");
                texts[pin] = ValueText(value, pin);
                read[pin] = true;
            }
            result.append(texts[pin]);
        }
        i += length;
    }
    return result;
}

}  // namespace ORVA
