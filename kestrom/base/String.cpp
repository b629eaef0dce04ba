#include "base/String.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace ORVA {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Parses a placeholder number at text[pos] (just after '%'): one or two digits, 1 to 99.
int PlaceholderAt(std::string_view text, size_t pos, size_t* length) {
    if (pos >= text.size() || !IsDigit(text[pos])) return 0;
    int number = text[pos] - '0';
    size_t len = 1;
    if (pos + 1 < text.size() && IsDigit(text[pos + 1])) {
        number = number * 10 + (text[pos + 1] - '0');
        len = 2;
    }
    *length = len;
    return number;
}

template <class T>
std::string FormatFloating(T value, int precision) {
    if (std::isnan(value)) return "nan";
    if (std::isinf(value)) return value < 0 ? "-inf" : "inf";
    char buffer[512];
    std::to_chars_result result =
        precision < 0 ? std::to_chars(buffer, buffer + sizeof buffer, value)
                      : std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::fixed, precision > 300 ? 300 : precision);
    return std::string(buffer, result.ptr);
}

bool IsNameChar(char c) {
    return IsDigit(c) || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

}  // namespace

std::string FormatNumber(double value, int precision) {
    return FormatFloating(value, precision);
}
std::string FormatNumber(float value, int precision) {
    return FormatFloating(value, precision);
}

CString CString::Arg(std::string_view replacement) const {
    int lowest = 100;
    for (size_t i = 0; i + 1 < size(); ++i) {
        size_t length = 0;
        if ((*this)[i] != '%') continue;
        int number = PlaceholderAt(*this, i + 1, &length);
        if (number > 0 && number < lowest) lowest = number;
    }
    if (lowest == 100) return *this;

    CString result;
    result.reserve(size() + replacement.size());
    for (size_t i = 0; i < size();) {
        size_t length = 0;
        if ((*this)[i] == '%' && PlaceholderAt(*this, i + 1, &length) == lowest) {
            result.append(replacement);
            i += 1 + length;
        } else {
            result.push_back((*this)[i++]);
        }
    }
    return result;
}

CString CString::Arg(double value, int precision) const {
    return Arg(std::string_view(FormatNumber(value, precision)));
}

CString CString::Arg(float value, int precision) const {
    return Arg(std::string_view(FormatNumber(value, precision)));
}

CString& CString::Replace(std::string_view from, std::string_view to) {
    if (from.empty()) return *this;
    std::string result;
    size_t start = 0;
    for (size_t hit = find(from); hit != npos; hit = find(from, start)) {
        result.append(*this, start, hit - start);
        result.append(to);
        start = hit + from.size();
    }
    if (start == 0) return *this;
    result.append(*this, start, npos);
    assign(std::move(result));
    return *this;
}

std::string CStringTools::UnwrapEnvVars(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] != '%') {
            result.push_back(text[i++]);
            continue;
        }
        size_t close = text.find('%', i + 1);
        if (close == i + 1) {  // "%%"
            result.push_back('%');
            i += 2;
            continue;
        }
        bool valid = close != std::string_view::npos;
        for (size_t k = i + 1; valid && k < close; ++k)
            valid = IsNameChar(text[k]);
        if (!valid) {
            result.push_back(text[i++]);
            continue;
        }
        std::string name(text.substr(i + 1, close - i - 1));
        if (const char* value = std::getenv(name.c_str())) result.append(value);
        i = close + 1;
    }
    return result;
}

CPath::CPath(std::string_view path) {
    if (path.empty()) return;
    m_path = std::filesystem::path(path).lexically_normal().string();
    // lexically_normal keeps a trailing separator of a directory; a path names one object.
    if (m_path.size() > 1 && m_path.back() == '/') m_path.pop_back();
}

std::string CPath::Name() const {
    size_t slash = m_path.rfind('/');
    return slash == std::string::npos ? m_path : m_path.substr(slash + 1);
}

std::string CPath::Directory() const {
    size_t slash = m_path.rfind('/');
    if (slash == std::string::npos) return {};
    return slash == 0 ? "/" : m_path.substr(0, slash);
}

std::string CPath::Extension() const {
    std::string name = Name();
    size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? std::string() : name.substr(dot);
}

}  // namespace ORVA
