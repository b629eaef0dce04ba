#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>

#include "base/Export.h"
#include "base/String.h"

namespace ORVA {

class CValueMap;
class CValueVector;
class CValuePointerBase;

// How Clone treats what a value points to. Scalars, maps and vectors are always copied in
// full; the strategies differ only for pointer values (and pointers nested in containers):
//   OWNERSHIP_DEFAULT: an owned pointee is copied, a borrowed one stays borrowed;
//   OWNERSHIP_DEEP:    every pointee is copied and the clone owns the copy;
//   OWNERSHIP_SHALLOW: the clone refers to the same pointee; an owned pointee becomes shared
//                      by both values and lives until the last of them is gone.
enum EnOwnership : int { OWNERSHIP_DEFAULT = 0, OWNERSHIP_DEEP = 1, OWNERSHIP_SHALLOW = 2 };

// The key of a map entry (a text, where "/" separates the steps into nested maps and into
// the metadata of non-map values) or of a vector entry (an index).
class TARSEL_API CValue_Key {
  public:
    CValue_Key(const char* text) : m_text(text ? text : "") {}
    CValue_Key(std::string text) : m_text(std::move(text)) {}
    CValue_Key(std::string_view text) : m_text(text) {}
    CValue_Key(const CString& text) : m_text(text) {}
    template <std::integral T>
    requires(!std::same_as<T, bool> && !std::same_as<T, char>) CValue_Key(T index)
        : m_text(std::to_string(index)), m_index(static_cast<int64_t>(index)), m_isIndex(true) {}

    bool IsIndex() const noexcept { return m_isIndex; }
    int64_t Index() const noexcept { return m_index; }
    const std::string& Text() const noexcept { return m_text; }

  private:
    std::string m_text;
    int64_t m_index = 0;
    bool m_isIndex = false;
};

// The polymorphic value: what travels on pins, fills parameter maps, setup documents and
// image attributes. Every value carries a metadata map of its own, made on first use.
class TARSEL_API CValue {
  public:
    enum EnValType {
        VAL_NULL,
        VAL_BOOL,
        VAL_LONG,
        VAL_DOUBLE,
        VAL_STRING,
        VAL_MAP,
        VAL_VECTOR,
        VAL_POINTER
    };

    CValue();
    CValue(const CValue& other);
    CValue& operator=(const CValue&) = delete;
    virtual ~CValue();

    virtual EnValType GenericType() const = 0;
    // The dynamic type of the value itself.
    const std::type_info& Type() const { return typeid(*this); }
    // For pointer values the type of the pointee; typeid(void) for every other value.
    virtual const std::type_info& ElementType() const;

    // Scalar readers. Scalars convert among each other (a text must hold the whole number);
    // a value that cannot be read as the asked kind throws CException.
    virtual bool Bool() const;
    virtual int32_t Long() const;
    virtual double Double() const;
    virtual CString String() const;
    // Scalar writers, with the same conversions into the value's own kind.
    virtual void SetBool(bool value);
    virtual void SetLong(int32_t value);
    virtual void SetDouble(double value);
    virtual void SetString(const char* text, size_t length = std::string::npos);

    // The value as a map, vector or pointer, or null when it is none.
    virtual CValueMap* Map() { return nullptr; }
    virtual const CValueMap* Map() const { return nullptr; }
    virtual CValueVector* Vector() { return nullptr; }
    virtual const CValueVector* Vector() const { return nullptr; }
    virtual CValuePointerBase* Pointer() { return nullptr; }
    virtual const CValuePointerBase* Pointer() const { return nullptr; }

    // A new value of the same type with the same content and metadata; see EnOwnership.
    virtual CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const = 0;
    std::unique_ptr<CValue> CloneUnique(int ownership = OWNERSHIP_DEFAULT) const {
        return std::unique_ptr<CValue>(Clone(ownership));
    }
    // Takes the content of `source`, which must be of the same generic kind, and with
    // `withMeta` its metadata too.
    virtual void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
                      bool withMeta = true);
    // Takes over the content of `source` (same generic kind), leaving it empty.
    virtual void Move(CValue& source);

    CValueMap& Meta();
    const CValueMap* MetaIfAny() const { return m_meta.get(); }
    bool HasMeta() const;

    virtual bool IsValid() const { return true; }
    // Same kind and same content, metadata not compared.
    virtual bool EqualData(const CValue& other) const = 0;
    // EqualData and equal metadata.
    bool Equal(const CValue& other) const;
    // The address of the held data: the pointee of a pointer value, the value itself otherwise.
    virtual void* VoidPointer() const { return const_cast<CValue*>(this); }

  protected:
    void CopyMeta(const CValue& source, int ownership);
    [[noreturn]] void ThrowKind(const char* operation) const;

  private:
    std::unique_ptr<CValueMap> m_meta;
};

// The empty value: JSON null, the placeholder that Entry(key, true) creates.
class TARSEL_API CValueNull final : public CValue {
  public:
    CValueNull() = default;
    EnValType GenericType() const override { return VAL_NULL; }
    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    bool IsValid() const override { return false; }
    bool EqualData(const CValue& other) const override { return other.GenericType() == VAL_NULL; }
};

class TARSEL_API CValueBool final : public CValue {
  public:
    explicit CValueBool(bool value = false) : m_value(value) {}
    EnValType GenericType() const override { return VAL_BOOL; }
    bool Bool() const override { return m_value; }
    int32_t Long() const override { return m_value ? 1 : 0; }
    double Double() const override { return m_value ? 1.0 : 0.0; }
    CString String() const override { return m_value ? "true" : "false"; }
    void SetBool(bool value) override { m_value = value; }
    void SetLong(int32_t value) override { m_value = value != 0; }
    void SetDouble(double value) override { m_value = value != 0.0; }
    void SetString(const char* text, size_t length = std::string::npos) override;
    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    bool EqualData(const CValue& other) const override;

  private:
    bool m_value;
};

// A 32-bit signed integer.
class TARSEL_API CValueLong final : public CValue {
  public:
    explicit CValueLong(int32_t value = 0) : m_value(value) {}
    EnValType GenericType() const override { return VAL_LONG; }
    bool Bool() const override { return m_value != 0; }
    int32_t Long() const override { return m_value; }
    double Double() const override { return m_value; }
    CString String() const override { return std::to_string(m_value); }
    void SetBool(bool value) override { m_value = value ? 1 : 0; }
    void SetLong(int32_t value) override { m_value = value; }
    void SetDouble(double value) override;
    void SetString(const char* text, size_t length = std::string::npos) override;
    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    bool EqualData(const CValue& other) const override;

  private:
    int32_t m_value;
};

class TARSEL_API CValueDouble final : public CValue {
  public:
    explicit CValueDouble(double value = 0.0) : m_value(value) {}
    EnValType GenericType() const override { return VAL_DOUBLE; }
    bool Bool() const override { return m_value != 0.0; }
    int32_t Long() const override;
    double Double() const override { return m_value; }
    CString String() const override { return FormatNumber(m_value); }
    void SetBool(bool value) override { m_value = value ? 1.0 : 0.0; }
    void SetLong(int32_t value) override { m_value = value; }
    void SetDouble(double value) override { m_value = value; }
    void SetString(const char* text, size_t length = std::string::npos) override;
    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    // Bitwise equal (0.0 differs from -0.0), and every NaN equals every NaN.
    bool EqualData(const CValue& other) const override;

  private:
    double m_value;
};

class TARSEL_API CValueString final : public CValue {
  public:
    CValueString() = default;
    // `length` npos takes the whole zero-terminated text.
    explicit CValueString(const char* text, size_t length = std::string::npos);
    explicit CValueString(std::string text) : m_value(std::move(text)) {}
    explicit CValueString(std::string_view text) : m_value(text) {}
    EnValType GenericType() const override { return VAL_STRING; }
    bool Bool() const override;
    int32_t Long() const override;
    double Double() const override;
    CString String() const override { return m_value; }
    const std::string& Text() const noexcept { return m_value; }
    void SetBool(bool value) override { m_value = value ? "true" : "false"; }
    void SetLong(int32_t value) override { m_value = std::to_string(value); }
    void SetDouble(double value) override { m_value = FormatNumber(value); }
    void SetString(const char* text, size_t length = std::string::npos) override;
    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override;
    void Move(CValue& source) override;
    bool EqualData(const CValue& other) const override;

  private:
    std::string m_value;
};

// The readable name of a type ("CImage", "CValueLong", "CValuePointer<CImage>").
TARSEL_API std::string TypeName(const std::type_info& type);
// Type identity that also holds across shared-library boundaries.
TARSEL_API bool AreTypesEqual(const std::type_info& a, const std::type_info& b);

}  // namespace ORVA
