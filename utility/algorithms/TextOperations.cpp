#include "algorithms/TextOperations.h"

#include <algorithm>
#include <charconv>

#include "base/Exception.h"
#include "base/String.h"

namespace ORVA::Text {

namespace {

constexpr std::string_view WHITE_SPACE = " \t\n\r\f\v";
// Placeholders %1 ... %9.
constexpr int PLACEHOLDERS = 9;

// Whether the byte begins a character: it is not a UTF-8 continuation byte.
bool StartsCharacter(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
}

// The byte offset of character `index` (the text's size when it has fewer characters).
size_t ByteOffset(std::string_view text, int64_t index) {
    for (size_t i = 0; i < text.size(); ++i)
        if (StartsCharacter(text[i]) && index-- == 0) return i;
    return text.size();
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

int64_t CharacterCount(std::string_view text) {
    return std::count_if(text.begin(), text.end(), StartsCharacter);
}

std::string Substring(std::string_view text, int32_t start, int32_t length) {
    int64_t count = CharacterCount(text);
    int64_t first =
        start < 0 ? std::max<int64_t>(count + start, 0) : std::min<int64_t>(start, count);
    int64_t last = length < 0 ? count : std::min<int64_t>(first + length, count);
    size_t begin = ByteOffset(text, first);
    size_t end = begin + ByteOffset(text.substr(begin), last - first);
    return std::string(text.substr(begin, end - begin));
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

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
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

std::variant<int32_t, double> ParseNumber(std::string_view text, const char* where) {
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
        if (error == std::errc() && at == end) return value;
    }
    double value = 0.0;
    auto [at, error] = std::from_chars(begin, end, value);
    if (digits.empty() || at != end ||
        (error != std::errc() && error != std::errc::result_out_of_range))
        throw CException(where, CString("'%1' is not a number").Arg(text));
    if (error == std::errc::result_out_of_range)
        throw CException(where, CString("'%1' is beyond the range of a double").Arg(text));
    return value;
}

std::string FillPlaceholders(std::string_view pattern,
                             const std::function<std::string(int index)>& text) {
    std::string result;
    std::vector<std::string> texts(PLACEHOLDERS);
    std::vector<bool> made(PLACEHOLDERS, false);
    for (size_t i = 0; i < pattern.size(); ++i) {
        // A placeholder is '%' and one or two digits, as CString::Arg reads them.
        if (pattern[i] != '%' || i + 1 >= pattern.size() || !IsDigit(pattern[i + 1])) {
            result.push_back(pattern[i]);
            continue;
        }
        int number = pattern[i + 1] - '0';
        size_t length = 1;
        if (i + 2 < pattern.size() && IsDigit(pattern[i + 2])) {
            number = number * 10 + (pattern[i + 2] - '0');
            length = 2;
        }
        if (number < 1 || number > PLACEHOLDERS) {
            result.append(pattern, i, 1 + length);
        } else {
            const int index = number - 1;
            if (!made[index]) {
                texts[index] = text(index);
                made[index] = true;
            }
            result.append(texts[index]);
        }
        i += length;
    }
    return result;
}

}  // namespace ORVA::Text
