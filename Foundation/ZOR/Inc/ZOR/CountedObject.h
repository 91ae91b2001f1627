#pragma once

#include <atomic>
#include <cstdint>

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"

namespace ZOR
{

namespace Details
{

// The count of a counted object: 0 before the first reference, negative once the last has gone, so
// that references made and dropped by a destructor do not destroy a second time.
class ReferenceCount
{
public:
    void Add() noexcept { ++mCount; }
    /// @return true if the last reference went: the caller destroys the object.
    bool Remove() noexcept
    {
        if (--mCount != 0)
            return false;
        std::int32_t unused = 0;
        return mCount.compare_exchange_strong(unused, kGone);
    }
    /// @return false if there is no reference left, or none yet.
    bool AddIfHeld() noexcept
    {
        std::int32_t count = mCount.load();
        while (count > 0)
        {
            if (mCount.compare_exchange_weak(count, count + 1))
                return true;
        }
        return false;
    }

private:
    static constexpr std::int32_t kGone = -10000000;
    std::atomic<std::int32_t> mCount{0};
};

/// Finds inID among Interfaces, which inObject has. @param outInterface  borrowed.
template <class... Interfaces, class Object>
bool FindInterface(Object* inObject, const CFUUIDBytes& inID, void** outInterface)
{
    const qelcore::utility::Guid id = ToGuid(inID);
    return ((id == GuidOf(static_cast<Interfaces*>(nullptr))
                 ? (*outInterface = static_cast<Interfaces*>(inObject), true)
                 : false) ||
            ...);
}

/// QueryMap() of an object that has Interfaces, the first of which is its way to ZORUnknown.
template <class First, class... Others, class Object>
qelcore::Result AnswerQueryMap(Object* inObject, const CFUUIDBytes& inID, void** outInterface)
{
    if (!outInterface)
        return qelcore::kResult_GeneralFailure;
    *outInterface = nullptr;
    First* const first = inObject;
    if (!FindInterface<First, Others...>(inObject, inID, outInterface))
    {
        if (ToGuid(inID) != GuidOf(static_cast<ZORUnknown*>(nullptr)))
            return qelcore::kResult_GeneralFailure;
        *outInterface = static_cast<ZORUnknown*>(first);
    }
    first->AddRef();
    return qelcore::kResult_OK;
}

} // namespace Details

// Base of ordinary counted objects: everything of ZORUnknown for an object that has the interfaces
// First and Others, each of which derives from ZORUnknown and has a GuidOf.
//
//     class Map : public ZOR::CountedObject<IMediaMap> { ... };
//     IMediaMapRef map(new Map);
//
// The object is made with new, begins with the count 0 (so its constructor must not make and drop a
// reference to it), and deletes itself when the last reference
// goes. A class that adds virtual operations of its own puts them into an interface and names that
// as First, so that the conversion below stays the last entry of the table.
//
// Threads  The count is atomic: references may be made and dropped on any thread. The destructor runs
//          on the thread that drops the last one; it may make and drop references to the object.
template <class First, class... Others>
class CountedObject : public First, public Others...
{
public:
    CountedObject() = default;
    CountedObject(const CountedObject&) = delete;
    CountedObject& operator=(const CountedObject&) = delete;

    void AddRef() override { mReferenceCount.Add(); }
    void Release() override
    {
        if (mReferenceCount.Remove())
            delete this;
    }
    qelcore::Result QueryMap(const CFUUIDBytes& inID, void** outInterface) override
    {
        return Details::AnswerQueryMap<First, Others...>(this, inID, outInterface);
    }
    ZORUnknown* GetZORUnknown() override { return static_cast<First*>(this); }
    virtual operator InterfaceRef<ZORUnknown, ZORUnknown>()
    {
        return InterfaceRef<ZORUnknown, ZORUnknown>(GetZORUnknown());
    }

protected:
    ~CountedObject() override = default;

private:
    Details::ReferenceCount mReferenceCount;
};

} // namespace ZOR
