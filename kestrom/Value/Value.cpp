#include "Value/Value.h"

#include <cxxabi.h>

#include <charconv>
#include <cmath>
#include <cstring>

#include "Value/Container.h"
#include "base/Exception.h"

namespace ORVA {

namespace {

[[noreturn]] void ThrowConversion(const char* what, std::string_view text) {
    throw CException("CValue", CString("cannot read '%1' as %2").Arg(text).Arg(what));
}

bool ParseBool(std::string_view text) {
    if (text == "true" || text == "1") return true;
    if (text == "false" || text == "0") return false;
    ThrowConversion("a bool", text);
}

int32_t ParseLong(std::string_view text) {
    int32_t value = 0;
    const char* begin = text.data();
    if (!text.empty() && text[0] == '+') ++begin;
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        ThrowConversion("a long (32-bit integer)", text);
    return value;
}

double ParseDouble(std::string_view text) {
    double value = 0.0;
    const char* begin = text.data();
    if (!text.empty() && text[0] == '+') ++begin;
    auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || text.empty())
        ThrowConversion("a double", text);
    return value;
}

int32_t DoubleToLong(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0))
        throw CException("CValue", CString("%1 does not fit a long (32-bit integer)").Arg(value));
    return static_cast<int32_t>(value);
}

std::string_view TextOf(const char* text, size_t length) {
    if (!text) return {};
    return length == std::string::npos ? std::string_view(text) : std::string_view(text, length);
}

}  // namespace

// ---- CValue ----

CValue::CValue() = default;

CValue::CValue(const CValue& other) {
    if (other.HasMeta()) m_meta = std::make_unique<CValueMap>(*other.m_meta);
}

CValue::~CValue() = default;

const std::type_info& CValue::ElementType() const {
    return typeid(void);
}

void CValue::ThrowKind(const char* operation) const {
    throw CException("CValue", CString("%1 is not possible on a value of type %2")
                                   .Arg(operation)
                                   .Arg(TypeName(typeid(*this))));
}

bool CValue::Bool() const {
    ThrowKind("Bool()");
}
int32_t CValue::Long() const {
    ThrowKind("Long()");
}
double CValue::Double() const {
    ThrowKind("Double()");
}
CString CValue::String() const {
    ThrowKind("String()");
}
void CValue::SetBool(bool) {
    ThrowKind("SetBool()");
}
void CValue::SetLong(int32_t) {
    ThrowKind("SetLong()");
}
void CValue::SetDouble(double) {
    ThrowKind("SetDouble()");
}
void CValue::SetString(const char*, size_t) {
    ThrowKind("SetString()");
}

void CValue::Copy(const CValue& source, int ownership, bool withMeta) {
    if (source.GenericType() != GenericType()) ThrowKind("Copy() from another kind");
    if (withMeta) CopyMeta(source, ownership);
}

void CValue::Move(CValue& source) {
    Copy(source, OWNERSHIP_DEFAULT, true);
}

CValueMap& CValue::Meta() {
    if (!m_meta) m_meta = std::make_unique<CValueMap>();
    return *m_meta;
}

bool CValue::HasMeta() const {
    return m_meta && !m_meta->IsEmpty();
}

bool CValue::Equal(const CValue& other) const {
    if (!EqualData(other)) return false;
    if (HasMeta() != other.HasMeta()) return false;
    return !HasMeta() || m_meta->EqualData(*other.m_meta);
}

void CValue::CopyMeta(const CValue& source, int ownership) {
    if (&source == this) return;
    if (!source.HasMeta()) {
        m_meta.reset();
        return;
    }
    auto meta = std::make_unique<CValueMap>();
    meta->Copy(*source.m_meta, ownership, true);
    m_meta = std::move(meta);
}

// ---- scalars ----

CValue* CValueNull::Clone(int ownership) const {
    auto* clone = new CValueNull();
    clone->CopyMeta(*this, ownership);
    return clone;
}

void CValueBool::SetString(const char* text, size_t length) {
    m_value = ParseBool(TextOf(text, length));
}

CValue* CValueBool::Clone(int ownership) const {
    auto* clone = new CValueBool(m_value);
    clone->CopyMeta(*this, ownership);
    return clone;
}

void CValueBool::Copy(const CValue& source, int ownership, bool withMeta) {
    CValue::Copy(source, ownership, withMeta);
    m_value = source.Bool();
}

bool CValueBool::EqualData(const CValue& other) const {
    return other.GenericType() == VAL_BOOL && other.Bool() == m_value;
}

void CValueLong::SetDouble(double value) {
    m_value = DoubleToLong(value);
}
void CValueLong::SetString(const char* text, size_t length) {
    m_value = ParseLong(TextOf(text, length));
}

CValue* CValueLong::Clone(int ownership) const {
    auto* clone = new CValueLong(m_value);
    clone->CopyMeta(*this, ownership);
    return clone;
}

void CValueLong::Copy(const CValue& source, int ownership, bool withMeta) {
    CValue::Copy(source, ownership, withMeta);
    m_value = source.Long();
}

bool CValueLong::EqualData(const CValue& other) const {
    return other.GenericType() == VAL_LONG && other.Long() == m_value;
}

int32_t CValueDouble::Long() const {
    return DoubleToLong(m_value);
}
void CValueDouble::SetString(const char* text, size_t length) {
    m_value = ParseDouble(TextOf(text, length));
}

CValue* CValueDouble::Clone(int ownership) const {
    auto* clone = new CValueDouble(m_value);
    clone->CopyMeta(*this, ownership);
    return clone;
}

void CValueDouble::Copy(const CValue& source, int ownership, bool withMeta) {
    CValue::Copy(source, ownership, withMeta);
    m_value = source.Double();
}

bool CValueDouble::EqualData(const CValue& other) const {
    if (other.GenericType() != VAL_DOUBLE) return false;
    double that = other.Double();
    if (std::isnan(that) && std::isnan(m_value)) return true;
    return std::memcmp(&that, &m_value, sizeof m_value) == 0;
}

CValueString::CValueString(const char* text, size_t length) : m_value(TextOf(text, length)) {}

bool CValueString::Bool() const {
    return ParseBool(m_value);
}
int32_t CValueString::Long() const {
    return ParseLong(m_value);
}
double CValueString::Double() const {
    return ParseDouble(m_value);
}
void CValueString::SetString(const char* text, size_t length) {
    m_value = TextOf(text, length);
}

CValue* CValueString::Clone(int ownership) const {
    auto* clone = new CValueString(m_value);
    clone->CopyMeta(*this, ownership);
    return clone;
}

void CValueString::Copy(const CValue& source, int ownership, bool withMeta) {
    CValue::Copy(source, ownership, withMeta);
    m_value = static_cast<const CValueString&>(source).m_value;
}

void CValueString::Move(CValue& source) {
    CValue::Copy(source, OWNERSHIP_DEFAULT, true);
    m_value = std::move(static_cast<CValueString&>(source).m_value);
    static_cast<CValueString&>(source).m_value.clear();
}

bool CValueString::EqualData(const CValue& other) const {
    return other.GenericType() == VAL_STRING &&
           static_cast<const CValueString&>(other).m_value == m_value;
}

// ---- type names ----

std::string TypeName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    std::string name = status == 0 && demangled ? demangled.get() : type.name();
    CString text(name);
    text.Replace("ORVA::", "");
    return text;
}

bool AreTypesEqual(const std::type_info& a, const std::type_info& b) {
    // type_info::operator== compares mangled names, so copies of one type in several shared
    // objects still compare equal.
    return a == b;
}

}  // namespace ORVA
