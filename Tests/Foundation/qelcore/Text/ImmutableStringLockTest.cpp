#include <atomic>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include "Support/Sanitizers.h"
#include "qelcore/ImmutableString.h"

namespace
{
// Of the calling thread, so that what others do meanwhile does not matter.
thread_local int sLocks = 0;
} // namespace

#if !RK_TEST_SANITIZER
// Stands before the system's function for the whole process, the library included.
extern "C" __attribute__((visibility("default"))) int
pthread_mutex_lock(pthread_mutex_t* inMutex) noexcept(noexcept(::pthread_mutex_trylock(inMutex)))
{
    using Function = int (*)(pthread_mutex_t*);
    static const auto sSystem = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    ++sLocks;
    return sSystem(inMutex);
}
#endif

namespace
{

using qelcore::utility::ImmutableString;

class LookUp : public testing::Test
{
protected:
    void SetUp() override
    {
        if (RK_TEST_SANITIZER)
            GTEST_SKIP() << "the sanitizer has put its own pthread_mutex_lock in place";
    }
    int LocksTakenBy(const std::string& inText)
    {
        const int before = sLocks;
        const ImmutableString found = ImmutableString::CreateDynamic(inText.data(), inText.size());
        const ImmutableString copy = found;
        EXPECT_FALSE(copy.IsNull());
        return sLocks - before;
    }
};

TEST_F(LookUp, OfAnUnknownStringIsSeenToLock)
{
    EXPECT_GE(LocksTakenBy("locks: unknown until now"), 1);
}

TEST_F(LookUp, OfAKnownStringTakesNoLock)
{
    const ImmutableString held = ImmutableString::CreateStatic("locks: held");
    ImmutableString::CreateDynamic("locks: known and held by nobody");

    EXPECT_EQ(0, LocksTakenBy("locks: held"));
    EXPECT_EQ(0, LocksTakenBy("locks: known and held by nobody"));
}

TEST_F(LookUp, OfManyKnownStringsTakesNoLock)
{
    std::vector<ImmutableString> held;
    for (int i = 0; i < 10000; ++i)
        held.push_back(ImmutableString::CreateDynamic(("locks: " + std::to_string(i)).c_str()));

    int locks = 0;
    for (int i = 0; i < 10000; ++i)
        locks += LocksTakenBy("locks: " + std::to_string(i));
    EXPECT_EQ(0, locks);
}

} // namespace
