// A process that really runs out of memory, and one that waits for a lock of its own.
#include "RKQELErrorManager.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "MediaManager/MediaCache.h"
#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "Support/ChildProcess.h"
#include "Support/Sanitizers.h"
#include "qelcore/RecycledMemory.h"

namespace
{

using qelcore::utility::RecycledMemory;
using Frame = boost::shared_ptr<RecycledMemory>;
using Frames = RK::MediaCache<int, Frame>;

constexpr std::size_t kMiB = std::size_t{1} << 20;
constexpr std::size_t kFrameBytes = 4 * kMiB;
constexpr int kFrameCount = 64;

enum Answer
{
    kSurvived = 1,
    kGotBadAlloc = 2,
    kCacheIsNotFull = 3,
    kPurgedNothing = 4,
    kNotLimited = 5,
};

void FillCache(Frames& ioFrames)
{
    for (int key = 0; key < kFrameCount; ++key)
    {
        const auto frame = RecycledMemory::Create(kFrameBytes);
        ioFrames.Add(key, frame, kFrameBytes, 1, 0);
    }
    RK::GetMediaManager()->FlushAsyncEvents();
}

/// Fills the cache, leaves almost no addresses, and asks for half of what the cache holds.
int AllocateWithAFullCache(bool inWithHandler)
{
    RK::Initializer library;
    qelcore::config::SetErrorManager(boost::make_shared<RK::QELErrorManager>());
    std::unique_ptr<RK::PurgingNewHandler> handler;
    if (inWithHandler)
        handler = std::make_unique<RK::PurgingNewHandler>();
    Frames frames(u"Frames", 1);
    FillCache(frames);
    if (RK::MM::GetSize() != kFrameCount * kFrameBytes)
        return kCacheIsNotFull;
    if (!Testing::LimitAddresses(16 * kMiB))
        return kNotLimited;

    constexpr std::size_t kWanted = kFrameCount / 2 * kFrameBytes;
    try
    {
        const std::unique_ptr<char[]> bytes(new char[kWanted]);
        bytes[kWanted - 1] = 1;
        const bool purged = RK::MM::GetSize() <= kFrameCount * kFrameBytes - kWanted + 16 * kMiB;
        return purged ? kSurvived : kPurgedNothing;
    }
    catch (const std::bad_alloc&)
    {
        return kGotBadAlloc;
    }
}

class LackOfMemory : public testing::Test
{
protected:
    void SetUp() override
    {
        if (RK_TEST_SANITIZER)
            GTEST_SKIP()
                << "needs a build without sanitizers, which reserve addresses for themselves";
    }
};

TEST_F(LackOfMemory, AnAllocationSurvivesWithTheHandlerSinceTheCacheGivesWay)
{
    EXPECT_EQ(kSurvived, Testing::RunInChild([] { return AllocateWithAFullCache(true); }));
}

TEST_F(LackOfMemory, AnAllocationFailsWithoutTheHandler)
{
    EXPECT_EQ(kGotBadAlloc, Testing::RunInChild([] { return AllocateWithAFullCache(false); }));
}

TEST_F(LackOfMemory, AnAbsurdAllocationFailsWithTheHandlerToo)
{
    EXPECT_EQ(kGotBadAlloc,
              Testing::RunInChild(
                  []
                  {
                      RK::Initializer library;
                      qelcore::config::SetErrorManager(boost::make_shared<RK::QELErrorManager>());
                      const RK::PurgingNewHandler handler;
                      if (!Testing::LimitAddresses(64 * kMiB))
                          return static_cast<int>(kNotLimited);
                      try
                      {
                          ::operator delete(::operator new(std::size_t{1} << 40));
                          return static_cast<int>(kSurvived);
                      }
                      catch (const std::bad_alloc&)
                      {
                          return static_cast<int>(kGotBadAlloc);
                      }
                  }));
}

bool FailToAllocate()
{
    try
    {
        std::get_new_handler()();
        return true;
    }
    catch (const std::bad_alloc&)
    {
        return false;
    }
}

/// Needs a lock to free anything.
class LockingErrorManager : public qelcore::config::ErrorManager
{
public:
    bool PurgeMemory(std::size_t) override
    {
        const std::lock_guard<std::mutex> lock(mutex);
        ++purges;
        return true;
    }
    std::mutex mutex;
    std::atomic<int> purges{0};
};

TEST(PurgingNewHandlerWait, EndsIfTheAllocatingThreadHoldsTheLockThatThePurgeNeeds)
{
    const auto errors = boost::make_shared<LockingErrorManager>();
    const auto before = qelcore::config::SetErrorManager(errors);
    {
        const RK::PurgingNewHandler handler;
        {
            const std::lock_guard<std::mutex> lock(errors->mutex);
            EXPECT_FALSE(FailToAllocate()); // after a second
            EXPECT_EQ(0, errors->purges);
            bool other = true;
            std::thread([&other] { other = FailToAllocate(); }).join(); // at once
            EXPECT_FALSE(other);
        }
        while (errors->purges == 0) // the purge that was waited for in vain still comes
            std::this_thread::yield();
        while (!FailToAllocate()) // until that purge has been answered, too
            std::this_thread::yield();
    }
    qelcore::config::SetErrorManager(before);
}

} // namespace
