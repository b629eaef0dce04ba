#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Value/Value.h"

namespace ORVA {

// What maps and vectors share: entries addressed by key, and typed readers that fall back to
// a default when the entry is missing. A text key with "/" walks into nested maps, and into
// the metadata of a value that is not a map ("parameters/time/desc").
class TARSEL_API CValueContainerBase : public CValue {
  public:
    CValueContainerBase() = default;
    CValueContainerBase(const CValueContainerBase& other) : CValue(other) {}

    // The entry under `key`, or null. With `create`, missing steps are made: nested maps on
    // the way and a CValueNull at the end.
    CValue* Entry(const CValue_Key& key, bool create = false);
    const CValue* Entry(const CValue_Key& key) const;
    bool HasEntry(const CValue_Key& key) const { return Entry(key) != nullptr; }
    bool HasEntry(const CValue_Key& key, EnValType type) const;

    // Takes ownership of `value` (null stores a CValueNull) and replaces an existing entry.
    void SetEntry(const CValue_Key& key, CValue* value);
    void SetEntry(const CValue_Key& key, std::unique_ptr<CValue> value) {
        SetEntry(key, value.release());
    }
    // Removes the entry and hands it to the caller; null when absent.
    std::unique_ptr<CValue> Detach(const CValue_Key& key);
    bool RemoveEntry(const CValue_Key& key) { return Detach(key) != nullptr; }

    // Typed readers. With a default: a missing entry or a CValueNull gives the default, any
    // other value is converted (CValue's scalar rules). Without: a missing entry throws.
    bool EntryBool(const CValue_Key& key, bool defaultValue) const;
    int32_t EntryLong(const CValue_Key& key, int32_t defaultValue) const;
    double EntryDouble(const CValue_Key& key, double defaultValue) const;
    CString EntryString(const CValue_Key& key, const std::string& defaultValue) const;
    bool EntryBool(const CValue_Key& key) const;
    int32_t EntryLong(const CValue_Key& key) const;
    double EntryDouble(const CValue_Key& key) const;
    CString EntryString(const CValue_Key& key) const;

    virtual size_t Size() const = 0;
    bool IsEmpty() const { return Size() == 0; }
    virtual void Clear() = 0;

  protected:
    // One step of a key, without "/".
    virtual CValue* LocalEntry(const CValue_Key& key, bool create) = 0;
    virtual void LocalSet(const CValue_Key& key, std::unique_ptr<CValue> value) = 0;
    virtual std::unique_ptr<CValue> LocalDetach(const CValue_Key& key) = 0;

  private:
    const CValue& Required(const CValue_Key& key) const;
    // The container that holds the last step of `key`, and that step; null if absent.
    CValueContainerBase* Parent(const CValue_Key& key, bool create, CValue_Key* last);
};

// Entries ordered by key text.
class TARSEL_API CValueMap final : public CValueContainerBase {
  public:
    using Storage = std::map<std::string, std::unique_ptr<CValue>, std::less<>>;

    CValueMap() = default;
    // Deep copy of every entry (OWNERSHIP_DEFAULT) and of the metadata.
    CValueMap(const CValueMap& other);
    CValueMap(CValueMap&&) noexcept;
    CValueMap& operator=(const CValueMap& other);
    CValueMap& operator=(CValueMap&& other) noexcept;
    ~CValueMap() override;

    EnValType GenericType() const override { return VAL_MAP; }
    CValueMap* Map() override { return this; }
    const CValueMap* Map() const override { return this; }

    size_t Size() const override { return m_entries.size(); }
    void Clear() override { m_entries.clear(); }
    std::vector<std::string> Keys() const;

    Storage::iterator begin() { return m_entries.begin(); }
    Storage::iterator end() { return m_entries.end(); }
    Storage::const_iterator begin() const { return m_entries.begin(); }
    Storage::const_iterator end() const { return m_entries.end(); }

    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    void Move(CValue& source) override;
    bool EqualData(const CValue& other) const override;

  protected:
    CValue* LocalEntry(const CValue_Key& key, bool create) override;
    void LocalSet(const CValue_Key& key, std::unique_ptr<CValue> value) override;
    std::unique_ptr<CValue> LocalDetach(const CValue_Key& key) override;

  private:
    void CopyEntries(const CValueMap& source, int ownership);
    Storage m_entries;
};

// Entries at the indices 0 to Size() - 1. Setting an index beyond the end fills the gap
// with CValueNull; removing an entry moves the later ones down.
class TARSEL_API CValueVector final : public CValueContainerBase {
  public:
    CValueVector() = default;
    CValueVector(const CValueVector& other);
    CValueVector(CValueVector&&) noexcept;
    CValueVector& operator=(const CValueVector& other);
    CValueVector& operator=(CValueVector&& other) noexcept;
    ~CValueVector() override;

    EnValType GenericType() const override { return VAL_VECTOR; }
    CValueVector* Vector() override { return this; }
    const CValueVector* Vector() const override { return this; }

    size_t Size() const override { return m_entries.size(); }
    void Clear() override { m_entries.clear(); }
    void PushBack(CValue* value);
    void PushBack(std::unique_ptr<CValue> value) { PushBack(value.release()); }
    CValue* operator[](size_t index) { return m_entries[index].get(); }
    const CValue* operator[](size_t index) const { return m_entries[index].get(); }
    // Index of the first entry equal in data to `value`, or -1.
    int64_t Find(const CValue& value) const;

    auto begin() { return m_entries.begin(); }
    auto end() { return m_entries.end(); }
    auto begin() const { return m_entries.begin(); }
    auto end() const { return m_entries.end(); }

    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    void Move(CValue& source) override;
    bool EqualData(const CValue& other) const override;

  protected:
    CValue* LocalEntry(const CValue_Key& key, bool create) override;
    void LocalSet(const CValue_Key& key, std::unique_ptr<CValue> value) override;
    std::unique_ptr<CValue> LocalDetach(const CValue_Key& key) override;

  private:
    void CopyEntries(const CValueVector& source, int ownership);
    std::vector<std::unique_ptr<CValue>> m_entries;
};

}  // namespace ORVA
