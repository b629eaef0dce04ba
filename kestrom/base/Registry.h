#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Value/Container.h"

namespace ORVA {

// The process-wide registry of keyed values. It lives in the framework library, so its
// entries outlive any module that put them there. Every call locks; hold Lock() to make
// several calls one step, or while using a value that Entry returned.
class TARSEL_API CRegistry {
  public:
    static CRegistry& Obj();

    std::unique_lock<std::recursive_mutex> Lock() { return std::unique_lock(m_mutex); }

    CValue* Entry(const CValue_Key& key);
    bool HasEntry(const CValue_Key& key);
    // Takes ownership of `value` and replaces an existing entry.
    void SetEntry(const CValue_Key& key, std::unique_ptr<CValue> value);
    std::unique_ptr<CValue> Detach(const CValue_Key& key);
    std::vector<std::string> Keys();

  private:
    CRegistry() = default;
    std::recursive_mutex m_mutex;
    CValueMap m_values;
};

}  // namespace ORVA
