#include "qelcore/RecursiveMutex.h"

#include <thread>
#include <type_traits>

#include <gtest/gtest.h>

namespace
{

using qelcore::threads::RecursiveMutex;

constinit RecursiveMutex sMutex; // usable before any constructor has run
static_assert(std::is_trivially_destructible_v<RecursiveMutex>, "and after every destructor");

bool AnotherThreadGets(RecursiveMutex& inMutex)
{
    bool got = false;
    std::thread(
        [&]
        {
            if (!inMutex.TryLock("another thread"))
                return;
            got = true;
            inMutex.Unlock();
        })
        .join();
    return got;
}

// The compiler's analysis knows no recursive locks.
void LockAgain(RecursiveMutex& inMutex) RK_NO_THREAD_SAFETY_ANALYSIS
{
    inMutex.Lock("inner");
}

void UnlockOnce(RecursiveMutex& inMutex) RK_NO_THREAD_SAFETY_ANALYSIS
{
    inMutex.Unlock();
}

TEST(RecursiveMutex, ItsHolderMayLockItAgainAndOthersWaitForTheLastUnlock)
{
    sMutex.Lock("outer");
    LockAgain(sMutex);
    EXPECT_FALSE(AnotherThreadGets(sMutex));

    UnlockOnce(sMutex);
    EXPECT_FALSE(AnotherThreadGets(sMutex));

    sMutex.Unlock();
    EXPECT_TRUE(AnotherThreadGets(sMutex));
}

TEST(RecursiveMutex, TellsTheTagOfItsHolderAndNullWithoutOne)
{
    EXPECT_EQ(nullptr, sMutex.HolderTag());
    {
        const RecursiveMutex::ScopedLock lock(sMutex, "RecursiveMutexTest");
        EXPECT_STREQ("RecursiveMutexTest", sMutex.HolderTag());
    }
    EXPECT_EQ(nullptr, sMutex.HolderTag());
}

TEST(RecursiveMutex, ATagMayBeNull)
{
    const RecursiveMutex::ScopedLock lock(sMutex);

    EXPECT_EQ(nullptr, sMutex.HolderTag());
    EXPECT_FALSE(AnotherThreadGets(sMutex));
}

TEST(RecursiveMutex, ExcludesOtherThreads)
{
    int count = 0; // guarded by sMutex; the thread sanitizer watches
    const auto work = [&]
    {
        for (int i = 0; i < 10000; ++i)
        {
            const RecursiveMutex::ScopedLock lock(sMutex, "work");
            ++count;
        }
    };
    std::thread other(work);
    work();
    other.join();

    EXPECT_EQ(20000, count);
}

} // namespace
