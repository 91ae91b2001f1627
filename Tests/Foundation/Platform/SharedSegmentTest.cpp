#include "Platform/SharedSegment.h"

#include <chrono>
#include <cstring>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "Platform/Process.h"
#include "Support/ChildProcess.h"

namespace
{

using namespace Platform;
using namespace Testing;

constexpr std::size_t kSize = 64;

class RealSharedSegment : public ::testing::Test
{
protected:
    void SetUp() override
    {
        if (access("/dev/shm", W_OK) != 0)
            GTEST_SKIP() << "needs shared memory (/dev/shm that may be written)";
        ASSERT_EQ(SegmentResult::kOpened, SharedSegment::Open(mName, kSize, true, first));
        ASSERT_EQ(SegmentResult::kOpened, SharedSegment::Open(mName, kSize, false, second));
    }
    void TearDown() override { SharedSegment::Remove(mName); }

    const std::string mName = "RiverKit.test." + std::to_string(getpid());
    std::unique_ptr<SharedSegment> first;
    std::unique_ptr<SharedSegment> second;
};

TEST_F(RealSharedSegment, IsAbsentUntilItIsMade)
{
    std::unique_ptr<SharedSegment> none = std::move(first);
    EXPECT_EQ(SegmentResult::kAbsent, SharedSegment::Open(mName + ".other", kSize, false, none));
    EXPECT_EQ(nullptr, none);
}

TEST_F(RealSharedSegment, BeginsWithZerosAndShowsWhatAnotherOpeningWrote)
{
    std::string bytes(kSize, 'x');
    ASSERT_TRUE(first->Read(bytes.data()));
    EXPECT_EQ(std::string(kSize, '\0'), bytes);

    ASSERT_TRUE(first->Write(std::string(kSize, 'w').data()));
    ASSERT_TRUE(second->Read(bytes.data()));
    EXPECT_EQ(std::string(4, '\0') + std::string(kSize - 4, 'w'), bytes); // all but the bell
}

TEST_F(RealSharedSegment, LocksExcludeOtherOpeningsByNumber)
{
    EXPECT_TRUE(first->Lock(3, 0));
    EXPECT_TRUE(first->Lock(3, 0)); // has it already
    EXPECT_FALSE(second->Lock(3, 5));
    EXPECT_TRUE(second->Lock(4, 0));
    EXPECT_TRUE(second->IsLockedByOthers(3));
    EXPECT_FALSE(first->IsLockedByOthers(3));

    first->Unlock(3);
    EXPECT_FALSE(second->IsLockedByOthers(3));
    EXPECT_TRUE(second->Lock(3, 0));
}

TEST_F(RealSharedSegment, LocksEndWithTheirOpening)
{
    ASSERT_TRUE(first->Lock(3, 0));
    first.reset();
    EXPECT_TRUE(second->Lock(3, 0));
}

TEST_F(RealSharedSegment, LocksOutliveAChildThatInheritsTheOpening)
{
    ASSERT_TRUE(first->Lock(3, 0));
    const unsigned forks = ForkCount();
    EXPECT_EQ(0, RunInChild(
                     [&]
                     {
                         first.reset(); // does nothing there
                         return ForkCount() != forks ? 0 : 1;
                     }));
    EXPECT_EQ(forks, ForkCount());
    EXPECT_TRUE(second->IsLockedByOthers(3));
}

TEST_F(RealSharedSegment, ALockIsNotKeptByAChildThatLivesOn)
{
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    ASSERT_TRUE(first->Lock(3, 0));
    const pid_t child = fork();
    if (child == 0)
    {
        close(ends[1]);
        char end = 0;
        _exit(read(ends[0], &end, 1) == 0 ? 0 : 1); // lives until the test lets go
    }
    first.reset();
    EXPECT_TRUE(second->Lock(3, 1000)); // within the time that the child takes to begin
    close(ends[0]);
    close(ends[1]);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
}

TEST_F(RealSharedSegment, IsNotCurrentAnyMoreOnceItsNameIsGoneOrAnothers)
{
    EXPECT_TRUE(first->IsCurrent());
    ASSERT_TRUE(SharedSegment::Remove(mName));
    EXPECT_TRUE(SharedSegment::Remove(mName)); // nothing has the name
    EXPECT_FALSE(first->IsCurrent());

    std::unique_ptr<SharedSegment> other;
    ASSERT_EQ(SegmentResult::kOpened, SharedSegment::Open(mName, kSize, true, other));
    EXPECT_TRUE(other->IsCurrent());
    EXPECT_FALSE(first->IsCurrent());
}

TEST_F(RealSharedSegment, RingsForAllOpenings)
{
    const std::uint32_t count = second->BellCount();
    first->Ring();
    EXPECT_EQ(count + 1, second->BellCount());
    second->WaitForBell(count, 60000); // rung since: no wait
}

TEST_F(RealSharedSegment, WakesWhoWaitsForTheBell)
{
    const std::uint32_t count = first->BellCount();
    std::thread waiting(
        [&]
        {
            while (second->BellCount() == count)
                second->WaitForBell(count, 60000);
        });
    first->Ring();
    waiting.join(); // long before its limit, which is that of the test as a whole
    EXPECT_EQ(count + 1, first->BellCount());
}

TEST_F(RealSharedSegment, ThatWasCutShortIsReadNoMoreAndKillsNobody)
{
    const std::string path = "/" + mName + "." + std::to_string(geteuid());
    const int descriptor = shm_open(path.c_str(), O_RDWR, 0);
    ASSERT_GE(descriptor, 0);
    ASSERT_EQ(0, ftruncate(descriptor, 0));
    close(descriptor);

    char bytes[kSize];
    EXPECT_FALSE(first->Read(bytes));
    EXPECT_EQ(0u, first->BellCount());
    first->Ring();
    const auto before = std::chrono::steady_clock::now();
    first->WaitForBell(0, 20); // takes its time, so that no loop turns without a pause
    EXPECT_GE(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(20));
}

} // namespace
