#pragma once

#include <concepts>
#include <memory>
#include <type_traits>

#include "Value/Value.h"

namespace ORVA {

// A value that refers to an object held elsewhere (an image, a vector): either borrowed or
// owned. Owned objects are held by reference count, so that a shallow clone shares ownership
// instead of leaving a dangling pointer behind.
class TARSEL_API CValuePointerBase : public CValue {
  public:
    EnValType GenericType() const override { return VAL_POINTER; }
    CValuePointerBase* Pointer() override { return this; }
    const CValuePointerBase* Pointer() const override { return this; }
    const std::type_info& ElementType() const override = 0;
    void* VoidPointer() const override = 0;
    // Whether this value (alone or with its shallow clones) owns the pointee.
    virtual bool Owns() const = 0;
    // Gives up ownership: the pointee is no longer deleted by any value that shared it.
    virtual void Release() = 0;

    bool IsNull() const { return VoidPointer() == nullptr; }
    bool IsValid() const override { return !IsNull(); }
    bool Bool() const override { return !IsNull(); }

    // Does nothing for a null `value`; throws unless `value` is a pointer value whose pointee
    // type is `type`.
    static void CheckTypeAndRaiseException(const char* location, const CValue* value,
                                           const std::type_info& type);
    [[noreturn]] static void RaiseExceptionBadType(const char* location, const CValue* value,
                                                   const std::type_info& expected);
    [[noreturn]] static void RaiseExceptionBadParam(const char* location, const char* text);
};

namespace Impl {

// Deletes unless ownership was given up through Release().
template <class T>
struct ReleasableDelete {
    std::shared_ptr<bool> released = std::make_shared<bool>(false);
    void operator()(T* object) const {
        if (!*released) delete object;
    }
};

template <class T>
T* CopyObject(const T& object) {
    return new T(object);
}

template <class T>
bool ObjectsEqual(const T& a, const T& b) {
    if constexpr (std::derived_from<T, CValue>)
        return a.Equal(b);
    else
        return a == b;
}

}  // namespace Impl

// Borrows `object` by default; with `owning` it takes it over.
template <class T>
class CValuePointer : public CValuePointerBase {
  public:
    explicit CValuePointer(T* object = nullptr, bool owning = false);
    explicit CValuePointer(std::unique_ptr<T> object) : CValuePointer(object.release(), true) {}

    T* Get() const noexcept { return m_object; }
    T* operator->() const noexcept { return m_object; }

    const std::type_info& ElementType() const override { return typeid(T); }
    void* VoidPointer() const override { return m_object; }
    bool Owns() const override { return m_owner != nullptr; }
    void Release() override {
        if (!m_owner) return;
        if (auto* deleter = std::get_deleter<Impl::ReleasableDelete<T>>(m_owner))
            *deleter->released = true;
        m_owner.reset();
    }

    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override {
        auto* clone = new CValuePointer<T>();
        try {
            clone->Assign(*this, ownership);
            clone->CopyMeta(*this, ownership);
        } catch (...) {
            delete clone;
            throw;
        }
        return clone;
    }
    void Copy(const CValue& source, int ownership = OWNERSHIP_DEFAULT,
              bool withMeta = true) override {
        auto* other = dynamic_cast<const CValuePointer<T>*>(&source);
        if (!other)
            CValuePointerBase::RaiseExceptionBadType("CValuePointer::Copy", &source, typeid(T));
        Assign(*other, ownership);
        if (withMeta) CopyMeta(source, ownership);
    }
    void Move(CValue& source) override {
        auto* other = dynamic_cast<CValuePointer<T>*>(&source);
        if (!other)
            CValuePointerBase::RaiseExceptionBadType("CValuePointer::Move", &source, typeid(T));
        m_object = other->m_object;
        m_owner = std::move(other->m_owner);
        other->m_object = nullptr;
    }
    // Equal pointees, compared by content.
    bool EqualData(const CValue& other) const override {
        auto* that = dynamic_cast<const CValuePointer<T>*>(&other);
        if (!that) return false;
        if (m_object == that->m_object) return true;
        return m_object && that->m_object && Impl::ObjectsEqual(*m_object, *that->m_object);
    }

  protected:
    void Assign(const CValuePointer<T>& source, int ownership);

  private:
    T* m_object;
    std::shared_ptr<T> m_owner;
};

// Defined out of the class, so that the explicit instantiations in the framework library
// (CImage and CValueVector) make the owner's reference count and deleter: a value a module
// made then stays usable after the module is unloaded.
template <class T>
CValuePointer<T>::CValuePointer(T* object, bool owning) : m_object(object) {
    if (owning && object) m_owner.reset(object, Impl::ReleasableDelete<T>{});
}

template <class T>
void CValuePointer<T>::Assign(const CValuePointer<T>& source, int ownership) {
    bool copy = source.m_object &&
                (ownership == OWNERSHIP_DEEP || (ownership == OWNERSHIP_DEFAULT && source.Owns()));
    if (copy) {
        std::unique_ptr<T> object(Impl::CopyObject(*source.m_object));
        m_owner.reset(object.get(), Impl::ReleasableDelete<T>{});
        m_object = object.release();
    } else {
        m_owner = source.m_owner;
        m_object = source.m_object;
    }
}

// A pointer value that owns its object (flag 1, the only one the modules pass).
template <class T>
class CValueOwnedPointer : public CValuePointer<T> {
  public:
    explicit CValueOwnedPointer(T* object = nullptr, int flag = 1)
        : CValuePointer<T>(object, flag != 0) {}
    explicit CValueOwnedPointer(std::unique_ptr<T> object)
        : CValuePointer<T>(object.release(), true) {}

    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override {
        auto* clone = new CValueOwnedPointer<T>();
        try {
            clone->Assign(*this, ownership);
            clone->CopyMeta(*this, ownership);
        } catch (...) {
            delete clone;
            throw;
        }
        return clone;
    }
};

// A shared value: any object held by reference count. CloneValueSmart shares it; a deep clone
// copies it.
class TARSEL_API CValueSmart final : public CValuePointerBase {
  public:
    template <class T>
    explicit CValueSmart(std::shared_ptr<T> object)
        : m_object(object),
          m_type(&typeid(T)),
          m_copy([](const void* source) -> std::shared_ptr<void> {
              return std::make_shared<T>(*static_cast<const T*>(source));
          }) {}

    CValueSmart* CloneValueSmart() const;

    const std::type_info& ElementType() const override { return *m_type; }
    void* VoidPointer() const override { return m_object.get(); }
    bool Owns() const override { return true; }
    // Shared objects cannot be given away; Release only drops this value's share.
    void Release() override { m_object.reset(); }

    CValue* Clone(int ownership = OWNERSHIP_DEFAULT) const override;
    bool EqualData(const CValue& other) const override;

  private:
    std::shared_ptr<void> m_object;
    const std::type_info* m_type;
    std::shared_ptr<void> (*m_copy)(const void*);
};

// The object of type T behind `value`: null for a null value, throws (at `location`) for a
// value that does not point to a T.
template <class T>
T* UnwrapPointer(const CValue* value, const char* location = "UnwrapPointer") {
    if (!value) return nullptr;
    const CValuePointerBase* pointer = value->Pointer();
    if (!pointer || !AreTypesEqual(pointer->ElementType(), typeid(T)))
        CValuePointerBase::RaiseExceptionBadType(location, value, typeid(T));
    return static_cast<T*>(pointer->VoidPointer());
}

// Whether `value` is a pointer value to a T (without throwing).
template <class T>
bool HoldsType(const CValue* value) {
    return value && AreTypesEqual(value->ElementType(), typeid(T));
}

}  // namespace ORVA
