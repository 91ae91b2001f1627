#pragma once

#include <atomic>

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "ZOR/CountedObject.h"
#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"

namespace ZOR
{

// What stands for an object after the object may have gone: it holds the object's address and its
// count of references, and outlives the object by being shared. The object forwards its AddRef() and
// Release() here, which is what makes a strong reference out of a weak one without a race: while the
// count is above 0 the object is there, and once it has come back to 0 nothing raises it again.
//
// Threads  Any function from any thread; none takes a lock.
class RK_API ReferenceBroker
{
public:
    ReferenceBroker() noexcept = default;
    ReferenceBroker(const ReferenceBroker&) = delete;
    ReferenceBroker& operator=(const ReferenceBroker&) = delete;

    /// Names the object, once. Contract: inObject is not null, and none has been named before.
    void SetObject(ZORUnknown* inObject);

    /// The object's AddRef().
    void AddObjectRef() noexcept { mReferenceCount.Add(); }
    /// The object's Release(). @return true if it was the last reference: the object deletes itself.
    bool ReleaseObjectRef() noexcept { return mReferenceCount.Remove(); }

    /// @return a strong reference; null if the object has gone, or nobody holds it yet.
    InterfaceRef<ZORUnknown, ZORUnknown> GetStrongReference() const;

private:
    std::atomic<ZORUnknown*> mObject{nullptr};
    mutable Details::ReferenceCount mReferenceCount;
};

using ReferenceBrokerPtr = boost::shared_ptr<ReferenceBroker>;

/// An object of which weak references can be had.
class RK_API IWeakReferenceCapable : public ZORUnknown
{
public:
    /// The same broker every time; never null.
    virtual ReferenceBrokerPtr GetWeakReference() const = 0;
    ~IWeakReferenceCapable() override;
};

RK_API const qelcore::utility::Guid& GuidOf(IWeakReferenceCapable*);

/// Turns a broker into a strong reference to one of its object's interfaces.
/// @param inBroker  may be null.
/// @return null if the object has gone, or has no such interface.
template <class I>
InterfaceRef<I, I> LockWeakReference(const ReferenceBrokerPtr& inBroker)
{
    if (!inBroker)
        return nullptr;
    return QueryInterface<I>(inBroker->GetStrongReference());
}

// CountedObject for objects of which weak references can be had. First and Others do not derive from
// IWeakReferenceCapable themselves.
template <class First, class... Others>
class WeakCountedObject : public First, public Others..., public IWeakReferenceCapable
{
public:
    WeakCountedObject()
        : mBroker(boost::make_shared<ReferenceBroker>())
    {
        mBroker->SetObject(GetZORUnknown());
    }
    WeakCountedObject(const WeakCountedObject&) = delete;
    WeakCountedObject& operator=(const WeakCountedObject&) = delete;

    void AddRef() override { mBroker->AddObjectRef(); }
    void Release() override
    {
        if (mBroker->ReleaseObjectRef())
            delete this;
    }
    qelcore::Result QueryMap(const CFUUIDBytes& inID, void** outInterface) override
    {
        return Details::AnswerQueryMap<First, Others..., IWeakReferenceCapable>(this, inID,
                                                                                outInterface);
    }
    ZORUnknown* GetZORUnknown() override { return static_cast<First*>(this); }
    ReferenceBrokerPtr GetWeakReference() const override { return mBroker; }
    virtual operator InterfaceRef<ZORUnknown, ZORUnknown>()
    {
        return InterfaceRef<ZORUnknown, ZORUnknown>(GetZORUnknown());
    }

protected:
    ~WeakCountedObject() override = default;

private:
    const ReferenceBrokerPtr mBroker;
};

} // namespace ZOR
