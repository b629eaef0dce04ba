#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "PluginSdk/Node.h"

// The three functions every module exports, unmangled.
extern "C" {
using ListPluginsFunction = ORVA::CValueVector* (*)();
using CreatePluginInstanceExFunction = ORVA::CPNode* (*)(const char* name);
using LoadingTimestampFunction = int64_t (*)();
}

namespace ORVA {

// A node's address: "<module path without .so>::<node name>", environment variables
// allowed, as in "%ORVADIR%/bin/utility::ReadASCII".
struct TARSEL_API CPluginAddress {
    std::string modulePath;  // ".../bin/utility.so"
    std::string node;        // "ReadASCII"

    // Expands environment variables; throws CException for a text without "::", an empty
    // module or an empty node name.
    static CPluginAddress Parse(std::string_view address);
};

// A module file, loaded once per process and kept until Unload.
class TARSEL_API CPluginModule {
  public:
    // The module at `path`, loading it on first use. A missing file, a file that does not
    // load and a missing export throw CException.
    static CPluginModule& Load(const std::string& path);
    // Unloads a module that no node of it outlives; false if it was not loaded.
    static bool Unload(const std::string& path);

    ~CPluginModule();
    CPluginModule(const CPluginModule&) = delete;
    CPluginModule& operator=(const CPluginModule&) = delete;

    const std::string& Path() const noexcept { return m_path; }
    // The names ListPlugins gives, in its order.
    std::vector<std::string> ListPlugins() const;
    // A new node, or null for a name the module does not know. CExPluginRelocation passes.
    std::unique_ptr<CPNode> Create(const std::string& name) const;
    int64_t LoadingTimestamp() const;

  private:
    CPluginModule(std::string path, void* handle);

    std::string m_path;
    void* m_handle;
    ListPluginsFunction m_list;
    CreatePluginInstanceExFunction m_create;
    LoadingTimestampFunction m_timestamp;
};

}  // namespace ORVA
