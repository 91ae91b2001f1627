#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <new>

#include "ZOR/InterfaceRef.h"
#include "qelcore/RecursiveMutex.h"

namespace ZOR
{

template <class Ref>
class SingletonSupport;

// The one object of type T, in static storage: made by the first CreateClassRef(), destroyed when its
// last reference goes, and made anew by the next CreateClassRef(). T forwards to it:
//
//     void T::AddRef() { ZOR::SingletonSupport<TRef>::AddRef(this); }
//     void T::Release() { ZOR::SingletonSupport<TRef>::Release(this); }
//
// T needs a constructor without arguments; where that is private, T befriends this class.
//
// Threads     Any function from any thread. T's constructor and destructor run with the critical
//             section held, which is recursive; they must not ask for T itself.
// Errors      An exception out of T's constructor passes on to the caller of CreateClassRef() and
//             leaves the object absent; a later call tries again.
// Invariants  (1) sCount is negative exactly while the object is absent, about to be made, or about
//                 to be cleared away; it changes its sign only with the critical section held.
//             (2) Every CreateClassRef() counts from its first step to its last, so an object that it
//                 found cannot go before it has added its reference.
//             (3) Making the object happens before the count becomes positive, and every release
//                 happens before the compare-and-swap that precedes the destructor: all changes of
//                 sCount are read-modify-writes, sequentially consistent.
template <class T, class I>
class SingletonSupport<InterfaceRef<T, I>>
{
public:
    using Ref = InterfaceRef<T, I>;

    /// The count while the object does not exist; no number of references comes near it.
    static constexpr std::int32_t kAbsentCount = -10000000;

    /// @return a reference to the object, which is made first if it is not there.
    static Ref CreateClassRef()
    {
        const TransientCount counted;
        if (counted.mWasAbsent)
            MakeIfAbsent();
        return Ref(Object());
    }

    /// Made when first asked for, and deleted at exit; asked for again after that it is made anew.
    static qelcore::threads::RecursiveMutex& GetCriticalSection()
    {
        qelcore::threads::RecursiveMutex* mutex = sCriticalSection.load();
        if (mutex)
            return *mutex;
        auto* const made = new qelcore::threads::RecursiveMutex;
        if (!sCriticalSection.compare_exchange_strong(mutex, made))
        {
            delete made; // the loser's own; mutex is now the winner's
            return *mutex;
        }
        static Destroyer sDestroyer;
        return *made;
    }

    static void AddRef(T*) noexcept { ++sCount; }

    /// Destroys the object if inObject's last reference goes.
    static void Release(T* inObject)
    {
        if (--sCount != 0)
            return;
        qelcore::threads::RecursiveMutex::ScopedLock lock(GetCriticalSection(),
                                                          "ZOR::SingletonSupport::Release");
        std::int32_t unused =
            0; // anything else: somebody has taken it up again, or cleared it away
        if (!sCount.compare_exchange_strong(unused, kAbsentCount))
            return;
        inObject->~T();
        std::memset(sStorage, 0, sizeof sStorage);
    }

    /// For displays and tests: true by the time of the answer at best.
    static bool Exists() noexcept { return sCount.load() >= 0; }

private:
    struct TransientCount
    {
        TransientCount() noexcept
            : mWasAbsent(++sCount < 0)
        {
        }
        ~TransientCount() { --sCount; }
        TransientCount(const TransientCount&) = delete;
        TransientCount& operator=(const TransientCount&) = delete;
        const bool mWasAbsent;
    };
    struct Destroyer
    {
        // A mutex that another thread holds while the process ends is left to the system.
        ~Destroyer()
        {
            qelcore::threads::RecursiveMutex* const mutex = sCriticalSection.load();
            if (mutex == nullptr || !mutex->TryLock("ZOR::SingletonSupport::Destroyer"))
                return;
            sCriticalSection = nullptr;
            mutex->Unlock();
            delete mutex;
        }
    };

    static void MakeIfAbsent()
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(GetCriticalSection(),
                                                          "ZOR::SingletonSupport::CreateClassRef");
        if (sCount.load() >= 0)
            return;
        ::new (static_cast<void*>(sStorage)) T();
        sCount += -kAbsentCount;
    }
    static T* Object() noexcept { return std::launder(reinterpret_cast<T*>(sStorage)); }

    inline static std::atomic<std::int32_t> sCount{kAbsentCount};
    inline static std::atomic<qelcore::threads::RecursiveMutex*> sCriticalSection{nullptr};
    alignas(T) inline static unsigned char sStorage[sizeof(T)] = {};
};

} // namespace ZOR
