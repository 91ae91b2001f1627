// When files are closed: the limits, on the caller's thread and in the background.
#include "FileManagerFixture.h"

namespace
{

using namespace Testing;
using RK::FileManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Limits = std::pair<std::uint32_t, std::uint32_t>;

Limits GetLimits()
{
    Limits limits{1, 1};
    FileManager::GetOpenFileLimits(limits.first, limits.second);
    return limits;
}

class OpenFileLimits : public FileManagerTest
{
};

TEST_F(OpenFileLimits, Are100And110AtTheStartAndAgainWhenTheDefaultsAreSet)
{
    EXPECT_EQ(Limits(100, 110), GetLimits());

    FileManager::SetOpenFileLimits(7, 9);
    EXPECT_EQ(Limits(7, 9), GetLimits());

    FileManager::SetDefaultOpenFileLimits();
    EXPECT_EQ(Limits(100, 110), GetLimits());
}

TEST_F(OpenFileLimits, AHardLimitBelowTheSoftOneIsRaisedToIt)
{
    FileManager::SetOpenFileLimits(50, 10);
    EXPECT_EQ(Limits(50, 50), GetLimits());
}

TEST_F(OpenFileLimits, AtTheSoftLimitNothingIsQueued)
{
    RegisterRange(1, 100);
    EXPECT_EQ(0u, QueuedLazyPurges());
    EXPECT_THAT(mOwner->asked, IsEmpty());
}

TEST_F(OpenFileLimits, AboveTheSoftLimitTheCallerClosesNothingAndOneLazyPurgeIsQueued)
{
    RegisterRange(1, 110);
    EXPECT_THAT(mOwner->asked, IsEmpty());
    EXPECT_EQ(1u, QueuedLazyPurges());
}

TEST_F(OpenFileLimits, TheLazyPurgeOf101FilesClosesTwoSinceItStopsStrictlyBelowTheLimit)
{
    RegisterRange(1, 101);
    RunLazyPurges();

    EXPECT_THAT(mOwner->asked, ElementsAre(1, 2));
    EXPECT_EQ(99u, OpenCount());
    ExpectBooksToAgree();
}

TEST_F(OpenFileLimits, AboveTheHardLimitTheCallerClosesDownToBelowTheSoftOneAndNotItsOwnFile)
{
    RegisterRange(2, 111);
    mOwner->asked.clear();

    Register(1); // the least deserving of all; but it is counted and not yet listed

    EXPECT_EQ(Range(2, 13), mOwner->asked);
    EXPECT_EQ(99u, OpenCount());
    ExpectBooksToAgree();
}

TEST_F(OpenFileLimits, AFileAloneAboveTheHardLimitStaysOpen)
{
    Register(1, 500);
    EXPECT_THAT(mOwner->asked, IsEmpty());
    EXPECT_EQ(500u, OpenCount());
}

TEST_F(OpenFileLimits, LoweredLimitsTakeEffectAtOnce)
{
    RegisterRange(1, 20);

    FileManager::SetOpenFileLimits(15, 30);
    EXPECT_EQ(1u, QueuedLazyPurges());
    EXPECT_THAT(mOwner->asked, IsEmpty());

    FileManager::SetOpenFileLimits(10, 15);
    EXPECT_EQ(Range(1, 11), mOwner->asked);
}

TEST_F(OpenFileLimits, AnUnregistrationStillAboveTheSoftLimitQueuesALazyPurgeOfANullOwnerToo)
{
    RegisterRange(1, 102);
    RK::FileManagerProbe inside = Inside();
    mOwner->onClose = [](std::uint32_t) { return -1; };
    RunLazyPurges();
    ASSERT_EQ(102u, inside.ListedCount());

    Unregister(102);
    EXPECT_EQ(1u, QueuedLazyPurges());
    RunLazyPurges();
    FileManager::UnregisterOpenFile(nullptr, 1);
    EXPECT_EQ(1u, QueuedLazyPurges());
    EXPECT_EQ(101u, inside.ListedCount());
}

TEST_F(OpenFileLimits, ALazyPurgeThatIsNoLongerNeededClosesNothing)
{
    RegisterRange(1, 101);
    Unregister(50);
    RunLazyPurges();
    EXPECT_THAT(mOwner->asked, IsEmpty());
}

TEST_F(OpenFileLimits, ALazyPurgeOfOwnersThatRefuseEndsAndIsNotQueuedAgain)
{
    mOwner->onClose = [](std::uint32_t) { return -1; };
    RegisterRange(1, 105);

    EXPECT_EQ(1u, RunLazyPurges());
    EXPECT_EQ(105u, mOwner->asked.size());
    EXPECT_EQ(0u, QueuedLazyPurges());
}

TEST_F(OpenFileLimits, ALazyPurgeThatMeetsAPurgeIsQueuedAgainWhenThatHasEnded)
{
    RegisterRange(1, 101);
    bool met = false;
    mOwner->onClose = [&](std::uint32_t)
    {
        if (!std::exchange(met, true))
        {
            EXPECT_EQ(1u, RunLazyPurges()); // it does not run over and over
            EXPECT_EQ(1u, mOwner->asked.size());
        }
        return -1;
    };
    FileManager::FlushOpenFilesToTemporaryLimit(50);
    EXPECT_TRUE(met);
    EXPECT_EQ(1u, QueuedLazyPurges());

    mOwner->onClose = nullptr;
    RunLazyPurges();
    EXPECT_EQ(99u, OpenCount());
    EXPECT_EQ(0u, QueuedLazyPurges());
}

TEST_F(OpenFileLimits, APurgeThatNoLazyOneHasMetQueuesNone)
{
    RegisterRange(1, 60);
    FileManager::FlushOpenFilesToTemporaryLimit(50);
    EXPECT_EQ(0u, QueuedLazyPurges());
}

TEST_F(OpenFileLimits, ACallerThatMeetsAPurgeAboveTheHardLimitLeavesTheRestToTheLazyOne)
{
    RegisterRange(10, 109);
    bool registered = false;
    mOwner->onClose = [&](std::uint32_t)
    {
        if (!registered)
        {
            registered = true;
            RegisterRange(200, 220);
            EXPECT_EQ(1u, mOwner->asked.size());
            EXPECT_EQ(1u, QueuedLazyPurges());
        }
        return -1;
    };
    FileManager::FlushOpenFilesToTemporaryLimit(50);
    mOwner->onClose = nullptr;
    EXPECT_EQ(121u, OpenCount());

    RunLazyPurges();
    EXPECT_EQ(99u, OpenCount());
}

} // namespace
