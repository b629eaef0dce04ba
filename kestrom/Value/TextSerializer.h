#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

#include "Value/Value.h"

namespace ORVA {

// Writes any value as JSON and reads it back into an equal value of the same kinds.
//
//   CValueLong                 42
//   CValueDouble               42.0, 1e+300 (always a point or an exponent; exact to the
//                              last bit), {"@double": "nan"}, {"@double": "inf"},
//                              {"@double": "-inf"}
//   CValueBool, CValueString   true, "text"
//   CValueNull                 null
//   CValueMap                  {"key": ...}; a key that begins with "@" is written with one
//                              more "@" in front
//   CValueVector               [...]
//   image pointer value        {"@image": {"type": "IMAGE_GREY_F", "size": [w, h, d],
//                              "data": [samples in memory order], "attributes": {...}}},
//                              or {"@image": null}
//   vector pointer value       {"@vector": [...]}, or {"@vector": null}
//   a value with metadata      {"@value": <the value>, "@meta": {...}}
//
// On reading, an integer that fits 32 bits is a CValueLong and any other number a
// CValueDouble; {"@long": n} and {"@double": x} force the kind. Pointer values read back as
// owning values. Malformed text throws CException naming line and column.
class TARSEL_API CTextSerializer {
  public:
    // `indent` spaces per level (0: one line); `options` is reserved; Write goes to `stream`,
    // or to standard output when it is null.
    explicit CTextSerializer(int indent = 2, int options = 0, std::ostream* stream = nullptr);

    // Writes the value and an end of line.
    void Write(const CValue& value);
    std::unique_ptr<CValue> Read(std::istream& stream);

    static std::string ToText(const CValue& value, int indent = 2);
    static std::unique_ptr<CValue> FromText(std::string_view text);
    static std::unique_ptr<CValue> FromFile(const std::string& path);

  private:
    int m_indent;
    std::ostream* m_stream;
};

}  // namespace ORVA
