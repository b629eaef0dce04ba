// KEY=VALUE and KEY:=JSON settings on a node with every kind of declared parameter: a setting
// is taken or refused with a usage error, never a crash. The first byte says whether the check
// is lenient.
#include <cstddef>
#include <cstdint>
#include <iostream>
#include <sstream>

#include "Host.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static std::ostringstream sink;
    static orva::CHostNode node = [] {
        std::cerr.rdbuf(sink.rdbuf());
        return orva::CHostNode("checked", "fuzzmodule::Checked");
    }();
    if (size == 0) return 0;
    sink.str({});
    const std::string setting(reinterpret_cast<const char*>(data) + 1, size - 1);
    node.ClearSettings();
    try {
        node.Apply(setting, {(data[0] & 0x80) != 0});
    } catch (const orva::UsageError&) {
    }
    return 0;
}
