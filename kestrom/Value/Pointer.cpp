#include "Value/Pointer.h"

#include "base/Exception.h"

namespace ORVA {

void CValuePointerBase::CheckTypeAndRaiseException(const char* location, const CValue* value,
                                                   const std::type_info& type) {
    if (!value) return;
    if (!value->Pointer() || !AreTypesEqual(value->ElementType(), type))
        RaiseExceptionBadType(location, value, type);
}

void CValuePointerBase::RaiseExceptionBadType(const char* location, const CValue* value,
                                              const std::type_info& expected) {
    std::string found = "nothing";
    if (value) {
        found = TypeName(value->Type());
        if (value->Pointer()) found += " holding " + TypeName(value->ElementType());
    }
    throw CException(
        location,
        CString("expected a value holding %1, but found %2").Arg(TypeName(expected)).Arg(found));
}

void CValuePointerBase::RaiseExceptionBadParam(const char* location, const char* text) {
    throw CException(location, CString("invalid parameter: %1").Arg(text ? text : ""));
}

CValueSmart* CValueSmart::CloneValueSmart() const {
    auto* clone = new CValueSmart(*this);
    return clone;
}

CValue* CValueSmart::Clone(int ownership) const {
    std::unique_ptr<CValueSmart> clone(CloneValueSmart());
    if (ownership == OWNERSHIP_DEEP && m_object) clone->m_object = m_copy(m_object.get());
    clone->CopyMeta(*this, ownership);
    return clone.release();
}

bool CValueSmart::EqualData(const CValue& other) const {
    auto* that = dynamic_cast<const CValueSmart*>(&other);
    return that && that->m_object == m_object;
}

}  // namespace ORVA
