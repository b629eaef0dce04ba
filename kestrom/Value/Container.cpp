#include "Value/Container.h"

#include <charconv>

#include "base/Exception.h"

namespace ORVA {

namespace {

// The steps of a text key; empty steps ("a//b", a leading "/") are skipped.
std::vector<std::string_view> Steps(std::string_view text) {
    std::vector<std::string_view> steps;
    size_t start = 0;
    while (start <= text.size()) {
        size_t slash = text.find('/', start);
        if (slash == std::string_view::npos) slash = text.size();
        if (slash > start) steps.push_back(text.substr(start, slash - start));
        start = slash + 1;
    }
    return steps;
}

// Entries a step leads into: the entries of a map or vector, the metadata of anything else.
CValueContainerBase* Inside(CValue* value) {
    if (CValueMap* map = value->Map()) return map;
    if (CValueVector* vector = value->Vector()) return vector;
    return &value->Meta();
}

bool VectorIndex(const CValue_Key& key, size_t* index) {
    if (key.IsIndex()) {
        if (key.Index() < 0) return false;
        *index = static_cast<size_t>(key.Index());
        return true;
    }
    const std::string& text = key.Text();
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), *index);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

}  // namespace

// ---- CValueContainerBase ----

CValueContainerBase* CValueContainerBase::Parent(const CValue_Key& key, bool create,
                                                 CValue_Key* last) {
    if (key.IsIndex() || key.Text().find('/') == std::string::npos) {
        *last = key;
        return this;
    }
    std::vector<std::string_view> steps = Steps(key.Text());
    if (steps.empty()) {
        *last = key;
        return this;
    }
    CValueContainerBase* current = this;
    for (size_t i = 0; i + 1 < steps.size(); ++i) {
        CValue_Key step(steps[i]);
        CValue* child = current->LocalEntry(step, false);
        if (!child) {
            if (!create) return nullptr;
            current->LocalSet(step, std::make_unique<CValueMap>());
            child = current->LocalEntry(step, false);
        }
        current = Inside(child);
    }
    *last = CValue_Key(steps.back());
    return current;
}

CValue* CValueContainerBase::Entry(const CValue_Key& key, bool create) {
    CValue_Key last("");
    CValueContainerBase* parent = Parent(key, create, &last);
    return parent ? parent->LocalEntry(last, create) : nullptr;
}

const CValue* CValueContainerBase::Entry(const CValue_Key& key) const {
    return const_cast<CValueContainerBase*>(this)->Entry(key, false);
}

bool CValueContainerBase::HasEntry(const CValue_Key& key, EnValType type) const {
    const CValue* value = Entry(key);
    return value && value->GenericType() == type;
}

void CValueContainerBase::SetEntry(const CValue_Key& key, CValue* value) {
    std::unique_ptr<CValue> owned(value ? value : new CValueNull());
    CValue_Key last("");
    Parent(key, true, &last)->LocalSet(last, std::move(owned));
}

std::unique_ptr<CValue> CValueContainerBase::Detach(const CValue_Key& key) {
    CValue_Key last("");
    CValueContainerBase* parent = Parent(key, false, &last);
    return parent ? parent->LocalDetach(last) : nullptr;
}

const CValue& CValueContainerBase::Required(const CValue_Key& key) const {
    const CValue* value = Entry(key);
    if (!value) throw CException("CValueContainerBase", CString("no entry '%1'").Arg(key.Text()));
    return *value;
}

namespace {
const CValue* Present(const CValue* value) {
    return value && value->GenericType() != CValue::VAL_NULL ? value : nullptr;
}
}  // namespace

bool CValueContainerBase::EntryBool(const CValue_Key& key, bool defaultValue) const {
    const CValue* value = Present(Entry(key));
    return value ? value->Bool() : defaultValue;
}

int32_t CValueContainerBase::EntryLong(const CValue_Key& key, int32_t defaultValue) const {
    const CValue* value = Present(Entry(key));
    return value ? value->Long() : defaultValue;
}

double CValueContainerBase::EntryDouble(const CValue_Key& key, double defaultValue) const {
    const CValue* value = Present(Entry(key));
    return value ? value->Double() : defaultValue;
}

CString CValueContainerBase::EntryString(const CValue_Key& key,
                                         const std::string& defaultValue) const {
    const CValue* value = Present(Entry(key));
    return value ? value->String() : CString(defaultValue);
}

bool CValueContainerBase::EntryBool(const CValue_Key& key) const {
    return Required(key).Bool();
}
int32_t CValueContainerBase::EntryLong(const CValue_Key& key) const {
    return Required(key).Long();
}
double CValueContainerBase::EntryDouble(const CValue_Key& key) const {
    return Required(key).Double();
}
CString CValueContainerBase::EntryString(const CValue_Key& key) const {
    return Required(key).String();
}

// ---- CValueMap ----

CValueMap::CValueMap(const CValueMap& other) : CValueContainerBase(other) {
    CopyEntries(other, OWNERSHIP_DEFAULT);
}

CValueMap::CValueMap(CValueMap&& other) noexcept : m_entries(std::move(other.m_entries)) {
    if (other.HasMeta()) Meta() = std::move(other.Meta());
}

CValueMap& CValueMap::operator=(const CValueMap& other) {
    if (this != &other) Copy(other, OWNERSHIP_DEFAULT, true);
    return *this;
}

CValueMap& CValueMap::operator=(CValueMap&& other) noexcept {
    if (this != &other) m_entries = std::move(other.m_entries);
    return *this;
}

CValueMap::~CValueMap() = default;

std::vector<std::string> CValueMap::Keys() const {
    std::vector<std::string> keys;
    keys.reserve(m_entries.size());
    for (const auto& entry : m_entries)
        keys.push_back(entry.first);
    return keys;
}

void CValueMap::CopyEntries(const CValueMap& source, int ownership) {
    Storage entries;
    for (const auto& [key, value] : source.m_entries)
        entries.emplace(key, std::unique_ptr<CValue>(value->Clone(ownership)));
    m_entries = std::move(entries);
}

CValue* CValueMap::Clone(int ownership) const {
    auto clone = std::make_unique<CValueMap>();
    clone->Copy(*this, ownership, true);
    return clone.release();
}

void CValueMap::Copy(const CValue& source, int ownership, bool withMeta) {
    if (&source == this) return;
    CValue::Copy(source, ownership, withMeta);
    CopyEntries(static_cast<const CValueMap&>(source), ownership);
}

void CValueMap::Move(CValue& source) {
    if (&source == this) return;
    CValue::Copy(source, OWNERSHIP_DEFAULT, true);
    m_entries = std::move(static_cast<CValueMap&>(source).m_entries);
    static_cast<CValueMap&>(source).m_entries.clear();
}

bool CValueMap::EqualData(const CValue& other) const {
    const CValueMap* that = other.Map();
    if (!that || that->m_entries.size() != m_entries.size()) return false;
    auto a = m_entries.begin();
    for (auto b = that->m_entries.begin(); b != that->m_entries.end(); ++a, ++b)
        if (a->first != b->first || !a->second->Equal(*b->second)) return false;
    return true;
}

CValue* CValueMap::LocalEntry(const CValue_Key& key, bool create) {
    auto found = m_entries.find(key.Text());
    if (found != m_entries.end()) return found->second.get();
    if (!create) return nullptr;
    return m_entries.emplace(key.Text(), std::make_unique<CValueNull>()).first->second.get();
}

void CValueMap::LocalSet(const CValue_Key& key, std::unique_ptr<CValue> value) {
    m_entries[key.Text()] = std::move(value);
}

std::unique_ptr<CValue> CValueMap::LocalDetach(const CValue_Key& key) {
    auto found = m_entries.find(key.Text());
    if (found == m_entries.end()) return nullptr;
    std::unique_ptr<CValue> value = std::move(found->second);
    m_entries.erase(found);
    return value;
}

// ---- CValueVector ----

CValueVector::CValueVector(const CValueVector& other) : CValueContainerBase(other) {
    CopyEntries(other, OWNERSHIP_DEFAULT);
}

CValueVector::CValueVector(CValueVector&& other) noexcept : m_entries(std::move(other.m_entries)) {
    if (other.HasMeta()) Meta() = std::move(other.Meta());
}

CValueVector& CValueVector::operator=(const CValueVector& other) {
    if (this != &other) Copy(other, OWNERSHIP_DEFAULT, true);
    return *this;
}

CValueVector& CValueVector::operator=(CValueVector&& other) noexcept {
    if (this != &other) m_entries = std::move(other.m_entries);
    return *this;
}

CValueVector::~CValueVector() = default;

void CValueVector::PushBack(CValue* value) {
    std::unique_ptr<CValue> owned(value ? value : new CValueNull());
    m_entries.push_back(std::move(owned));
}

int64_t CValueVector::Find(const CValue& value) const {
    for (size_t i = 0; i < m_entries.size(); ++i)
        if (m_entries[i]->EqualData(value)) return static_cast<int64_t>(i);
    return -1;
}

void CValueVector::CopyEntries(const CValueVector& source, int ownership) {
    std::vector<std::unique_ptr<CValue>> entries;
    entries.reserve(source.m_entries.size());
    for (const auto& value : source.m_entries)
        entries.emplace_back(value->Clone(ownership));
    m_entries = std::move(entries);
}

CValue* CValueVector::Clone(int ownership) const {
    auto clone = std::make_unique<CValueVector>();
    clone->Copy(*this, ownership, true);
    return clone.release();
}

void CValueVector::Copy(const CValue& source, int ownership, bool withMeta) {
    if (&source == this) return;
    CValue::Copy(source, ownership, withMeta);
    CopyEntries(static_cast<const CValueVector&>(source), ownership);
}

void CValueVector::Move(CValue& source) {
    if (&source == this) return;
    CValue::Copy(source, OWNERSHIP_DEFAULT, true);
    m_entries = std::move(static_cast<CValueVector&>(source).m_entries);
    static_cast<CValueVector&>(source).m_entries.clear();
}

bool CValueVector::EqualData(const CValue& other) const {
    const CValueVector* that = other.Vector();
    if (!that || that->m_entries.size() != m_entries.size()) return false;
    for (size_t i = 0; i < m_entries.size(); ++i)
        if (!m_entries[i]->Equal(*that->m_entries[i])) return false;
    return true;
}

CValue* CValueVector::LocalEntry(const CValue_Key& key, bool create) {
    size_t index = 0;
    if (!VectorIndex(key, &index)) {
        if (create)
            throw CException("CValueVector", CString("'%1' is not a vector index").Arg(key.Text()));
        return nullptr;
    }
    if (index < m_entries.size()) return m_entries[index].get();
    if (!create) return nullptr;
    while (m_entries.size() <= index)
        m_entries.push_back(std::make_unique<CValueNull>());
    return m_entries[index].get();
}

void CValueVector::LocalSet(const CValue_Key& key, std::unique_ptr<CValue> value) {
    size_t index = 0;
    if (!VectorIndex(key, &index))
        throw CException("CValueVector", CString("'%1' is not a vector index").Arg(key.Text()));
    while (m_entries.size() <= index)
        m_entries.push_back(std::make_unique<CValueNull>());
    m_entries[index] = std::move(value);
}

std::unique_ptr<CValue> CValueVector::LocalDetach(const CValue_Key& key) {
    size_t index = 0;
    if (!VectorIndex(key, &index) || index >= m_entries.size()) return nullptr;
    std::unique_ptr<CValue> value = std::move(m_entries[index]);
    m_entries.erase(m_entries.begin() + static_cast<ptrdiff_t>(index));
    return value;
}

}  // namespace ORVA
