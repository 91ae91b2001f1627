#include "ZORMessaging/Station.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <vector>

#include <boost/make_shared.hpp>

#include "qelcore/Mutex.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/Trace.h"

namespace ZOR
{

using qelcore::threads::Lock;
using qelcore::threads::Mutex;
using qelcore::threads::RecursiveMutex;

namespace
{

// One listener of a station, in either form.
struct Entry
{
    Entry(const void* inIdentity, const ReferenceBrokerPtr& inSafe, Listener* inPlain)
        : identity(inIdentity)
        , safe(inSafe)
        , plain(inPlain)
    {
    }

    void Call(const Message& inMessage);
    void CallPlain(const Message& inMessage);
    /// Returns once no other thread is within the plain listener.
    void WaitForCallsToEnd();

    const void* const identity;
    const ReferenceBrokerPtr safe; // null: the plain form
    Listener* const plain;
    int additions = 1; // guarded by the station's mutex

    std::atomic<bool> removed{false};

private:
    // Several threads may be within one listener, so a lock held for the call would not do.
    struct CallScope;
    Mutex mMutex;
    qelcore::threads::Condition mCallEnded;
    int mCalls RK_GUARDED_BY(mMutex) = 0;
};

// The calls of this thread that have not returned, innermost first.
struct Entry::CallScope
{
    explicit CallScope(Entry& inEntry)
        : entry(inEntry)
        , outer(sInnermost)
    {
        Lock lock(entry.mMutex);
        ++entry.mCalls;
        sInnermost = this;
    }
    ~CallScope()
    {
        sInnermost = outer;
        Lock lock(entry.mMutex);
        --entry.mCalls;
        entry.mCallEnded.NotifyAll();
    }
    CallScope(const CallScope&) = delete;
    CallScope& operator=(const CallScope&) = delete;

    static int DepthOf(const Entry& inEntry)
    {
        int depth = 0;
        for (const CallScope* call = sInnermost; call; call = call->outer)
            depth += &call->entry == &inEntry ? 1 : 0;
        return depth;
    }

    Entry& entry;
    CallScope* const outer;
    static thread_local CallScope* sInnermost;
};

thread_local Entry::CallScope* Entry::CallScope::sInnermost = nullptr;

void Entry::Call(const Message& inMessage)
{
    try
    {
        if (plain)
        {
            CallPlain(inMessage);
            return;
        }
        if (removed)
            return;
        const ISafeListenerRef listener = LockWeakReference<ISafeListener>(safe);
        if (listener)
            listener->ListenToMessage(inMessage);
    }
    catch (const std::exception& error)
    {
        RK_TRACE("Messaging", 0, "A listener raised: " << error.what());
    }
    catch (...)
    {
        RK_TRACE("Messaging", 0, "A listener raised something that is no std::exception");
    }
}

void Entry::CallPlain(const Message& inMessage)
{
    // Counted before the look at removed: whoever removes sets that first, and then waits.
    const CallScope call(*this);
    if (!removed)
        plain->ListenToMessage(inMessage);
}

void Entry::WaitForCallsToEnd()
{
    const int own = CallScope::DepthOf(*this);
    Lock lock(mMutex);
    while (mCalls > own)
        mCallEnded.Wait(mMutex);
}

using EntryPtr = boost::shared_ptr<Entry>;
using Entries = std::vector<EntryPtr>;

} // namespace

// The list is replaced whole when it changes, so that a broadcast copies one pointer.
struct Station::Impl
{
    bool Remove(const void* inIdentity, EntryPtr& outGone);
    void Add(const EntryPtr& inEntry);

    RecursiveMutex mutex; // a leaf
    boost::shared_ptr<const Entries> entries RK_GUARDED_BY(mutex) = boost::make_shared<Entries>();
};

void Station::Impl::Add(const EntryPtr& inEntry)
{
    boost::shared_ptr<const Entries> before; // outlives the lock
    RecursiveMutex::ScopedLock lock(mutex, "ZOR::Station::AddListener");
    for (const EntryPtr& entry : *entries)
    {
        if (entry->identity == inEntry->identity)
        {
            ++entry->additions;
            return;
        }
    }
    auto changed = boost::make_shared<Entries>(*entries);
    // Who has gone without a word leaves when somebody comes.
    changed->erase(std::remove_if(changed->begin(), changed->end(), [](const EntryPtr& inOld)
                                  { return inOld->safe && !inOld->safe->GetStrongReference(); }),
                   changed->end());
    changed->push_back(inEntry);
    before = entries;
    entries = changed;
}

/// @param outGone  set to the entry, if this was the last of its additions.
/// @return false if there is no such entry.
bool Station::Impl::Remove(const void* inIdentity, EntryPtr& outGone)
{
    boost::shared_ptr<const Entries> before;
    RecursiveMutex::ScopedLock lock(mutex, "ZOR::Station::RemoveListener");
    const auto found = std::find_if(entries->begin(), entries->end(), [&](const EntryPtr& inEntry)
                                    { return inEntry->identity == inIdentity; });
    if (found == entries->end())
        return false;
    if (--(*found)->additions > 0)
        return true;
    outGone = *found;
    auto changed = boost::make_shared<Entries>(*entries);
    changed->erase(changed->begin() + (found - entries->begin()));
    before = entries;
    entries = changed;
    outGone->removed = true;
    return true;
}

Station::Station()
    : mImpl(boost::make_shared<Impl>())
{
}

Station::~Station() = default;

// The identity of a counted listener is its broker: the same for all its interfaces, and, other than an
// address, never that of an object that came after it while the entry stands.
bool Station::AddListener(const ISafeListenerRef& inListener)
{
    const auto capable = QueryInterface<IWeakReferenceCapable>(inListener);
    if (!capable)
        return false;
    const ReferenceBrokerPtr broker = capable->GetWeakReference();
    mImpl->Add(boost::make_shared<Entry>(broker.get(), broker, nullptr));
    return true;
}

bool Station::AddListener(Listener* inListener)
{
    if (!inListener)
        return false;
    mImpl->Add(boost::make_shared<Entry>(inListener, nullptr, inListener));
    return true;
}

bool Station::RemoveListener(const ISafeListenerRef& inListener)
{
    const auto capable = QueryInterface<IWeakReferenceCapable>(inListener);
    EntryPtr gone;
    return capable && mImpl->Remove(capable->GetWeakReference().get(), gone);
}

bool Station::RemoveListener(Listener* inListener)
{
    EntryPtr gone;
    const bool found = inListener && mImpl->Remove(inListener, gone);
    if (gone)
        gone->WaitForCallsToEnd();
    return found;
}

void Station::RemoveAllListeners()
{
    boost::shared_ptr<const Entries> gone = boost::make_shared<Entries>();
    {
        RecursiveMutex::ScopedLock lock(mImpl->mutex, "ZOR::Station::RemoveAllListeners");
        gone.swap(mImpl->entries);
        for (const EntryPtr& entry : *gone)
            entry->removed = true;
    }
    for (const EntryPtr& entry : *gone)
    {
        if (entry->plain)
            entry->WaitForCallsToEnd();
    }
}

void Station::Broadcast(const Message& inMessage)
{
    boost::shared_ptr<const Entries> entries;
    {
        RecursiveMutex::ScopedLock lock(mImpl->mutex, "ZOR::Station::Broadcast");
        entries = mImpl->entries;
    }
    for (const EntryPtr& entry : *entries)
        entry->Call(inMessage);
}

} // namespace ZOR
