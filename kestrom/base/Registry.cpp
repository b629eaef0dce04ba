#include "base/Registry.h"

namespace ORVA {

CRegistry& CRegistry::Obj() {
    static CRegistry registry;
    return registry;
}

CValue* CRegistry::Entry(const CValue_Key& key) {
    auto lock = Lock();
    return m_values.Entry(key);
}

bool CRegistry::HasEntry(const CValue_Key& key) {
    auto lock = Lock();
    return m_values.HasEntry(key);
}

void CRegistry::SetEntry(const CValue_Key& key, std::unique_ptr<CValue> value) {
    auto lock = Lock();
    m_values.SetEntry(key, std::move(value));
}

std::unique_ptr<CValue> CRegistry::Detach(const CValue_Key& key) {
    auto lock = Lock();
    return m_values.Detach(key);
}

std::vector<std::string> CRegistry::Keys() {
    auto lock = Lock();
    return m_values.Keys();
}

}  // namespace ORVA
