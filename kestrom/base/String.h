#pragma once

#include <concepts>
#include <string>
#include <string_view>

#include "base/Export.h"

namespace ORVA {

// A std::string with the text operations messages are built from.
class TARSEL_API CString : public std::string {
  public:
    CString() = default;
    CString(const char* text) : std::string(text ? text : "") {}
    CString(const char* text, size_type length)
        : std::string(text ? text : "", text ? length : 0) {}
    CString(std::string text) : std::string(std::move(text)) {}
    CString(std::string_view text) : std::string(text) {}

    // Arg fills every occurrence of the lowest-numbered placeholder still in the text ("%1" to
    // "%99"), so a chain of Arg calls fills %1, %2, %3 in order. A text without placeholders is
    // returned unchanged.
    CString Arg(std::string_view text) const;
    CString Arg(const char* text) const { return Arg(std::string_view(text ? text : "")); }
    CString Arg(const std::string& text) const { return Arg(std::string_view(text)); }
    CString Arg(char c) const { return Arg(std::string_view(&c, 1)); }
    CString Arg(bool value) const { return Arg(std::string_view(value ? "true" : "false")); }
    template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>) CString Arg(T value)
    const { return Arg(std::string_view(std::to_string(value))); }
    // A negative precision writes the shortest text that reads back as the same number;
    // otherwise fixed notation with that many digits after the point.
    CString Arg(double value, int precision = -1) const;
    CString Arg(float value, int precision = -1) const;

    // Replaces every occurrence of `from` by `to`, left to right; returns *this.
    CString& Replace(std::string_view from, std::string_view to);

    size_type Length() const noexcept { return size(); }
};

// Number texts shared by Arg, the serializer and the hosts.
TARSEL_API std::string FormatNumber(double value, int precision = -1);
TARSEL_API std::string FormatNumber(float value, int precision = -1);

namespace CStringTools {
// Replaces each %NAME% (NAME made of letters, digits and '_') by the value of the environment
// variable NAME; an unset variable becomes the empty text. "%%" stands for one '%'. Any other
// '%' (a lone one, or one not closing a valid name) is kept as it is.
TARSEL_API std::string UnwrapEnvVars(std::string_view text);
}  // namespace CStringTools

// A file path and its parts.
class TARSEL_API CPath {
  public:
    explicit CPath(std::string_view path);

    // The path in normal form: repeated separators and "." components removed.
    const std::string& PathString() const noexcept { return m_path; }
    // The last component ("coconut.txt" of "/a/b/coconut.txt").
    std::string Name() const;
    // Everything before the last component, without the trailing separator.
    std::string Directory() const;
    // The extension of Name() including the dot, or empty.
    std::string Extension() const;

  private:
    std::string m_path;
};

}  // namespace ORVA
