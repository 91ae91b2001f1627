// Seats of one process take turns by hand; the locks tell them apart as they tell processes.
#include "Foundation/MemoryBalancer/Src/SuiteSeat.h"

#include <deque>

#include "SuiteFixture.h"
#include "Support/ChildProcess.h"

namespace
{

using namespace memorybalancer;
using namespace Testing;

class Seat : public SuiteTest
{
protected:
    static SeatFigures Figures(std::uint64_t inMaximum, MemoryPriority inPriority = 1)
    {
        SeatFigures figures;
        figures.state = {0, inMaximum, 0, inPriority};
        figures.total = 16 * kGiB;
        figures.free = 8 * kGiB;
        figures.processID = 17;
        return figures;
    }
    static constexpr std::uint64_t kHalf = (8 * kGiB - 256 * kMiB) / 2;

    SuiteSeat first{suite, u"first"};
    SuiteSeat second{suite, u"second"};
};

TEST_F(Seat, IsTakenWithTheFirstTurnAndNotBefore)
{
    EXPECT_FALSE(ObjectExists());
    EXPECT_EQ(kGiB, first.TakeTurn(Figures(kGiB)));
    EXPECT_TRUE(ObjectExists());
    ASSERT_EQ(1u, GetBalance().members.size());
}

TEST_F(Seat, ShowsWhatItsProcessTold)
{
    SeatFigures figures = Figures(3 * kGiB, -2);
    figures.state.minimum = kGiB;
    figures.state.used = 2 * kGiB;
    first.TakeTurn(figures);

    const Balance balance = GetBalance();
    ASSERT_EQ(1u, balance.members.size());
    EXPECT_EQ(10 * kGiB, balance.capacity);
    const Member& member = balance.members[0];
    EXPECT_EQ(17, member.processID);
    EXPECT_EQ(u"first", member.clientName);
    EXPECT_EQ(kGiB, member.minimum);
    EXPECT_EQ(3 * kGiB, member.maximum);
    EXPECT_EQ(2 * kGiB, member.used);
    EXPECT_EQ(-2, member.priority);
    EXPECT_EQ(3 * kGiB, member.grant);
}

TEST_F(Seat, SharesWithTheOthers)
{
    first.TakeTurn(Figures(16 * kGiB));
    EXPECT_EQ(kHalf, second.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(kHalf, first.TakeTurn(Figures(16 * kGiB)));
}

TEST_F(Seat, OfAStoppedProcessDoesNotHoldTheFreeMemoryOfThatTime)
{
    SeatFigures before = Figures(16 * kGiB);
    before.free = kGiB;
    first.TakeTurn(before);
    second.TakeTurn(Figures(16 * kGiB));
    EXPECT_EQ(8 * kGiB, GetBalance().capacity);
}

TEST_F(Seat, RingsTheBellWhenGrantsChangeAndOnlyThen)
{
    first.TakeTurn(Figures(kGiB));
    std::uint32_t count = first.Segment()->BellCount();
    first.TakeTurn(Figures(kGiB));
    EXPECT_EQ(count, first.Segment()->BellCount());
    second.TakeTurn(Figures(kGiB));
    EXPECT_NE(count, first.Segment()->BellCount());
}

TEST_F(Seat, ThatEndsGivesItsShareBack)
{
    first.TakeTurn(Figures(16 * kGiB));
    {
        SuiteSeat third(suite, u"third");
        third.TakeTurn(Figures(16 * kGiB));
        EXPECT_EQ(2u, GetBalance().members.size());
    }
    ASSERT_EQ(1u, GetBalance().members.size());
    EXPECT_EQ(2 * kHalf, GetBalance().members[0].grant);
}

TEST_F(Seat, OfTheLastOneTakesTheSegmentAway)
{
    {
        SuiteSeat third(suite, u"third");
        SuiteSeat fourth(suite, u"fourth");
        third.TakeTurn(Figures(kGiB));
        fourth.TakeTurn(Figures(kGiB));
    }
    EXPECT_FALSE(ObjectExists());
}

TEST_F(Seat, InAnotherSuiteSharesNothing)
{
    SuiteSeat elsewhere(UniqueName(), u"elsewhere");
    first.TakeTurn(Figures(16 * kGiB));
    EXPECT_EQ(2 * kHalf, elsewhere.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(2 * kHalf, first.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(1u, GetBalance().members.size());
}

TEST_F(Seat, IsGrantedNothingWhileAllAreTaken)
{
    const TraceCapture trace("MemoryBalancer");
    std::deque<SuiteSeat> all;
    for (std::uint32_t i = 0; i < kSlotCount; ++i)
    {
        all.emplace_back(suite, u"one of many");
        ASSERT_TRUE(all.back().TakeTurn(Figures(kGiB)).has_value());
    }
    EXPECT_EQ(std::nullopt, first.TakeTurn(Figures(kGiB)));
    EXPECT_EQ(std::nullopt, first.TakeTurn(Figures(kGiB)));
    EXPECT_EQ(1u, trace.Texts().size());
    EXPECT_EQ(64u, GetBalance().members.size());

    all.pop_front();
    EXPECT_TRUE(first.TakeTurn(Figures(kGiB)).has_value());
}

TEST_F(Seat, KeepsTheSumWithinTheCapacityAtEachStep)
{
    SuiteSeat third(suite, u"third");
    SuiteSeat* const seats[] = {&first, &second, &third};
    for (int step = 0; step < 300; ++step)
    {
        SeatFigures figures = Figures((step * 7919ull % 20) * kGiB, step % 5 - 2);
        figures.state.minimum = (step * 104729ull % 9) * kGiB;
        figures.free = (step * 31ull % 9) * kGiB;
        figures.total = step % 7 == 0 ? 4 * kGiB : 16 * kGiB;
        seats[step % 3]->TakeTurn(figures);

        const Balance balance = GetBalance();
        std::uint64_t sum = 0;
        for (const Member& member : balance.members)
            sum += member.grant;
        ASSERT_LE(sum, balance.capacity) << step;
    }
}

class SpoiledSeat : public Seat
{
protected:
    /// Both seats find what was done to their segment, and meet in another.
    void ExpectRecovery()
    {
        EXPECT_TRUE(first.TakeTurn(Figures(16 * kGiB)).has_value());
        EXPECT_TRUE(second.TakeTurn(Figures(16 * kGiB)).has_value());
        EXPECT_EQ(kHalf, first.TakeTurn(Figures(16 * kGiB)));
        EXPECT_EQ(kHalf, second.TakeTurn(Figures(16 * kGiB)));
        EXPECT_EQ(2u, GetBalance().members.size());
    }
    void SetUp() override
    {
        Seat::SetUp();
        if (IsSkipped())
            return;
        first.TakeTurn(Figures(16 * kGiB));
        second.TakeTurn(Figures(16 * kGiB));
        mNumberBefore = ObjectNumber();
    }
    ino_t mNumberBefore = 0;
};

TEST_F(SpoiledSeat, LeavesADamagedSegmentForANewOne)
{
    OverwriteObject(std::string(sizeof(BalanceImage), '\xA5'));
    EXPECT_TRUE(GetBalance().members.empty());
    ExpectRecovery();
    EXPECT_NE(mNumberBefore, ObjectNumber());
}

TEST_F(SpoiledSeat, GoesOnInASegmentOfZeros)
{
    OverwriteObject(std::string(sizeof(BalanceImage), '\0'));
    ExpectRecovery();
}

TEST_F(SpoiledSeat, LeavesASegmentThatWasCutShort)
{
    ASSERT_EQ(0, truncate(ObjectPath().c_str(), 100));
    EXPECT_TRUE(GetBalance().members.empty());
    ExpectRecovery();
    EXPECT_NE(mNumberBefore, ObjectNumber());
}

TEST_F(SpoiledSeat, LeavesASegmentWhoseNameHasGone)
{
    ASSERT_EQ(0, unlink(ObjectPath().c_str()));
    ExpectRecovery();
}

TEST_F(SpoiledSeat, LeavesASegmentWhoseNameIsAnothers)
{
    ASSERT_EQ(0, unlink(ObjectPath().c_str()));
    SuiteSeat third(suite, u"third");
    third.TakeTurn(Figures(0));
    first.TakeTurn(Figures(16 * kGiB));
    second.TakeTurn(Figures(16 * kGiB));
    EXPECT_EQ(3u, GetBalance().members.size());
}

TEST_F(SpoiledSeat, GivesTheSlotOfADeadOneToAnother)
{
    // What a killed process leaves: a slot that is taken, and its lock free.
    std::unique_ptr<Platform::SharedSegment> segment;
    ASSERT_EQ(Platform::SegmentResult::kOpened, OpenSuite(suite, false, segment));
    BalanceImage image;
    ASSERT_EQ(ImageCondition::kSound, ReadImage(*segment, image));
    image.slots[9] = image.slots[0];
    image.slots[9].grant = 0;
    Seal(image);
    ASSERT_TRUE(segment->Write(&image));
    EXPECT_EQ(2u, GetBalance().members.size()); // looks at the locks

    first.TakeTurn(Figures(16 * kGiB));
    ASSERT_EQ(ImageCondition::kSound, ReadImage(*segment, image));
    EXPECT_EQ(0u, image.slots[9].taken);
}

TEST_F(SpoiledSeat, LeavesATableThatStaysLocked)
{
    const TraceCapture trace("MemoryBalancer");
    std::unique_ptr<Platform::SharedSegment> segment;
    ASSERT_EQ(Platform::SegmentResult::kOpened, OpenSuite(suite, false, segment));
    ASSERT_TRUE(segment->Lock(kTableLock, 0));

    EXPECT_EQ(std::nullopt, first.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(std::nullopt, first.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(2 * kHalf, first.TakeTurn(Figures(16 * kGiB))); // the first one in the new segment
    EXPECT_NE(mNumberBefore, ObjectNumber());
    EXPECT_EQ(1u, trace.Count("The suite's shared memory is replaced: its table stays locked."));

    EXPECT_EQ(std::nullopt, second.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(std::nullopt, second.TakeTurn(Figures(16 * kGiB)));
    EXPECT_EQ(kHalf, second.TakeTurn(Figures(16 * kGiB)));
}

TEST_F(SpoiledSeat, ThatEndsWithTheTableLockedFreesItsSlotAllTheSame)
{
    std::unique_ptr<Platform::SharedSegment> segment;
    ASSERT_EQ(Platform::SegmentResult::kOpened, OpenSuite(suite, false, segment));
    {
        SuiteSeat third(suite, u"third");
        third.TakeTurn(Figures(16 * kGiB));
        ASSERT_TRUE(segment->Lock(kTableLock, 0));
    }
    segment->Unlock(kTableLock);
    first.TakeTurn(Figures(16 * kGiB));
    EXPECT_EQ(2u, GetBalance().members.size());
}

class ForeignObject : public Seat
{
protected:
    void Make(const std::string& inPath, uid_t inOwner, mode_t inMode, std::size_t inSize)
    {
        std::ofstream(inPath) << std::string(inSize, '\0');
        ASSERT_EQ(0, chmod(inPath.c_str(), inMode));
        ASSERT_EQ(0, chown(inPath.c_str(), inOwner, static_cast<gid_t>(-1)));
    }
    void ExpectReplaced()
    {
        const ino_t before = ObjectNumber();
        EXPECT_TRUE(GetBalance().members.empty());
        EXPECT_EQ(before, ObjectNumber()); // a look changes nothing
        EXPECT_EQ(kGiB, first.TakeTurn(Figures(kGiB)));
        struct stat status{};
        ASSERT_EQ(0, stat(ObjectPath().c_str(), &status));
        EXPECT_NE(before, status.st_ino);
        EXPECT_EQ(geteuid(), status.st_uid);
        EXPECT_EQ(0600u, status.st_mode & 07777);
        EXPECT_EQ(static_cast<off_t>(sizeof(BalanceImage)), status.st_size);
    }
};

TEST_F(ForeignObject, OfAnotherOwnerIsNotUsed)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the right to give files away (CAP_CHOWN)";
    Make(ObjectPath(), 65534, 0600, sizeof(BalanceImage));
    ExpectReplaced();
}

TEST_F(ForeignObject, ThatOthersMayWriteIsNotUsed)
{
    Make(ObjectPath(), geteuid(), 0666, sizeof(BalanceImage));
    ExpectReplaced();
}

TEST_F(ForeignObject, OfAnotherSizeIsNotUsed)
{
    Make(ObjectPath(), geteuid(), 0600, sizeof(BalanceImage) + 1);
    ExpectReplaced();
}

TEST_F(ForeignObject, ThatIsALinkIsNotFollowed)
{
    const std::string target = ObjectPath() + ".target";
    Make(target, geteuid(), 0600, sizeof(BalanceImage));
    ASSERT_EQ(0, symlink(target.c_str(), ObjectPath().c_str()));
    EXPECT_EQ(kGiB, first.TakeTurn(Figures(kGiB)));
    struct stat status{};
    ASSERT_EQ(0, lstat(ObjectPath().c_str(), &status));
    EXPECT_TRUE(S_ISREG(status.st_mode));
    unlink(target.c_str());
}

TEST_F(ForeignObject, WhoseMakerHasNotSizedItYetIsUsed)
{
    Make(ObjectPath(), geteuid(), 0600, 0);
    const ino_t before = ObjectNumber();
    EXPECT_EQ(kGiB, first.TakeTurn(Figures(kGiB)));
    EXPECT_EQ(before, ObjectNumber());
}

TEST_F(ForeignObject, IsSizedForTheUserAloneWhateverTheUmask)
{
    const mode_t before = umask(0777);
    first.TakeTurn(Figures(kGiB));
    umask(before);
    struct stat status{};
    ASSERT_EQ(0, stat(ObjectPath().c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 07777);
}

TEST_F(ForeignObject, ThatCannotBeRemovedLeavesTheProcessAlone)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "needs the right to act as another user (CAP_SETUID)";
    const std::string path = ObjectPath(65534);
    Make(path, 0, 0600, sizeof(BalanceImage));
    EXPECT_EQ(0, RunWithoutRights(
                     [&]
                     {
                         const TraceCapture trace("MemoryBalancer");
                         SuiteSeat seat(suite, u"without rights");
                         const auto grant = seat.TakeTurn(Figures(16 * kGiB));
                         seat.TakeTurn(Figures(16 * kGiB));
                         return grant == 2 * kHalf && trace.Texts().size() == 1 ? 0 : 1;
                     }));
    unlink(path.c_str());
}

/// Runs inWork where /dev/shm is a file system of its own.
int RunWithSharedMemory(const char* inOptions, const std::function<int()>& inWork)
{
    return RunInChild(
        [&]
        {
            const bool mounted =
                EnterPrivateMounts() && mount("none", "/dev/shm", "tmpfs", 0, inOptions) == 0;
            return mounted ? inWork() : 99;
        });
}

TEST_F(Seat, IsAloneWhereThereIsNoRoomForASegmentAndJoinsWhenThereIs)
{
    RK_NEEDS_MOUNTS();
    const auto work = [&]
    {
        const TraceCapture trace("MemoryBalancer");
        SuiteSeat seat(suite, u"crowded");
        if (seat.TakeTurn(Figures(16 * kGiB)) != 2 * kHalf || seat.Segment() || ObjectExists())
            return 1;
        seat.TakeTurn(Figures(16 * kGiB));
        if (trace.Texts().size() != 1)
            return 2;
        if (mount("none", "/dev/shm", nullptr, MS_REMOUNT, "size=1m") != 0)
            return 3;
        return seat.TakeTurn(Figures(16 * kGiB)) == 2 * kHalf && seat.Segment() ? 0 : 4;
    };
    EXPECT_EQ(0, RunWithSharedMemory("size=4k", work));
}

TEST_F(Seat, IsAloneWhereNothingMayBeWritten)
{
    RK_NEEDS_MOUNTS();
    const auto work = [&]
    {
        if (mount("none", "/dev/shm", nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0)
            return 1;
        SuiteSeat seat(suite, u"reader");
        return seat.TakeTurn(Figures(16 * kGiB)) == 2 * kHalf ? 0 : 2;
    };
    EXPECT_EQ(0, RunWithSharedMemory("size=1m", work));
}

} // namespace
