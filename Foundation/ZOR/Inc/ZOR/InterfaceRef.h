#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "ZOR/Exception.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Demangle.h"

namespace ZOR
{

/// Thrown by operator-> of a null reference; what() names the type.
class RK_API NullInterfaceException : public Exception
{
public:
    explicit NullInterfaceException(const std::string& inTypeName);
    ~NullInterfaceException() override;
};

// A counting pointer to T, whose references are counted through its interface I.
// Threads  As a plain pointer: one reference object is not shared unguarded; the count is atomic.
template <class T, class I = T>
class InterfaceRef
{
public:
    InterfaceRef() noexcept = default;
    InterfaceRef(std::nullptr_t) noexcept {}
    /// Adds a reference.
    explicit InterfaceRef(T* inObject) noexcept
        : mObject(inObject)
    {
        Add();
    }
    /// @param inAddRef  false takes over a reference that the caller owns.
    InterfaceRef(T* inObject, bool inAddRef) noexcept
        : mObject(inObject)
    {
        if (inAddRef)
            Add();
    }
    InterfaceRef(const InterfaceRef& inOther) noexcept
        : mObject(inOther.mObject)
    {
        Add();
    }
    InterfaceRef(InterfaceRef&& inOther) noexcept
        : mObject(std::exchange(inOther.mObject, nullptr))
    {
    }
    template <class U, class J, class = std::enable_if_t<std::is_convertible<U*, T*>::value>>
    InterfaceRef(const InterfaceRef<U, J>& inOther) noexcept
        : mObject(inOther.get())
    {
        Add();
    }
    InterfaceRef& operator=(InterfaceRef inOther) noexcept
    {
        std::swap(mObject, inOther.mObject);
        return *this;
    }
    ~InterfaceRef()
    {
        if (mObject)
            static_cast<I*>(mObject)->Release();
    }

    T* get() const noexcept { return mObject; }
    T* operator->() const
    {
        if (!mObject)
            throw NullInterfaceException(qelcore::debug::DemangleName(typeid(T).name()));
        return mObject;
    }
    T& operator*() const { return *operator->(); }
    explicit operator bool() const noexcept { return mObject != nullptr; }
    void reset() noexcept { InterfaceRef().swap(*this); }
    void swap(InterfaceRef& ioOther) noexcept { std::swap(mObject, ioOther.mObject); }
    /// Hands the reference over to the caller.
    T* detach() noexcept { return std::exchange(mObject, nullptr); }

    friend bool operator==(const InterfaceRef& a, const InterfaceRef& b) noexcept
    {
        return a.mObject == b.mObject;
    }
    friend bool operator!=(const InterfaceRef& a, const InterfaceRef& b) noexcept
    {
        return a.mObject != b.mObject;
    }

private:
    void Add() noexcept
    {
        if (mObject)
            static_cast<I*>(mObject)->AddRef();
    }
    T* mObject = nullptr;
};

/// Asks an object for another interface. @return a null reference if it has none.
template <class I, class T, class J>
InterfaceRef<I, I> QueryInterface(const InterfaceRef<T, J>& inObject)
{
    void* found = nullptr;
    if (!inObject ||
        qelcore::Failed(inObject->QueryMap(ToUUIDBytes(GuidOf(static_cast<I*>(nullptr))), &found)))
        return nullptr;
    return InterfaceRef<I, I>(static_cast<I*>(found), false);
}

} // namespace ZOR
