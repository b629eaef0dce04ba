#pragma once

// Operations on UTF-8 text: characters are code points, counted and cut whole.
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ORVA::Text {

// The number of characters of `text`.
int64_t CharacterCount(std::string_view text);
// The characters of `text` from `start` (negative: from the end) on, at most `length` of them
// (negative: all); what lies beyond the text is left out, as Python's slices do.
std::string Substring(std::string_view text, int32_t start, int32_t length);
// `text` without blanks, tabs and line ends at both ends.
std::string_view Trim(std::string_view text);
// The letters A to Z changed to capitals (`upper`) or to small letters; others stay.
std::string ChangeCase(std::string text, bool upper);
// The pieces between the occurrences of `separator`; an empty separator splits at runs of
// white space and drops empty pieces.
std::vector<std::string> Split(std::string_view text, std::string_view separator);

// The number `text` holds without surrounding white space: an int32_t for an integer that fits
// 32 bits, else a double (nan and inf included). CException at `where` for text that is not a
// number or beyond the range of a double.
std::variant<int32_t, double> ParseNumber(std::string_view text, const char* where);

// `pattern` with each %1 ... %9 replaced by text(0) ... text(8), each called once at its first
// use; %0, %10 and above stay as they are, and what is filled in is not searched again.
std::string FillPlaceholders(std::string_view pattern,
                             const std::function<std::string(int index)>& text);

}  // namespace ORVA::Text
