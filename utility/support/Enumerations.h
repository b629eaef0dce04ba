#pragma once

// Parameters whose value is one of a list of names: the list is the "val/enValues" text the
// node declares, and the enumeration lists the same names in the same order.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tarsel.h"

namespace ORVA {

// The entry of `E` whose name `value` is in `names` (as "A, B, C"), or none.
template <class E>
std::optional<E> EnumerationEntry(std::string_view names, std::string_view value) {
    const std::vector<std::string> entries = SplitAllowedValues(names);
    for (size_t i = 0; i < entries.size(); ++i)
        if (entries[i] == value) return static_cast<E>(i);
    return std::nullopt;
}

// The same, or a CException at `where` with `message`, in which %1 is the value.
template <class E>
E EnumerationEntry(std::string_view names, const std::string& value, const char* where,
                   const char* message) {
    if (const std::optional<E> entry = EnumerationEntry<E>(names, value)) return *entry;
    throw CException(where, CString(message).Arg(value));
}

}  // namespace ORVA
