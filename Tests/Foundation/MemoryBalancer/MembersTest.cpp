// Balancers with their threads, in processes of their own where that matters.
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

#include "MemoryBalancer/MemoryBalancer.h"
#include "SuiteFixture.h"
#include "Support/ChildProcess.h"

namespace
{

using namespace memorybalancer;
using namespace Testing;

constexpr std::uint64_t kAll =
    8 * kGiB - 256 * kMiB; // what the suite shares while nobody uses anything

/// The grants that one balancer was told.
class Grants
{
public:
    MemoryBalancer::GrantCallback Callback()
    {
        return [this](const unsigned long long& inGrant)
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mGrants.push_back(inGrant);
        };
    }
    std::size_t Count() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mGrants.size();
    }
    unsigned long long Last() const
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mGrants.empty() ? ~0ull : mGrants.back();
    }
    bool Await(unsigned long long inGrant) const
    {
        return WaitUntil([&] { return Last() == inGrant; });
    }

private:
    mutable std::mutex mMutex;
    std::vector<unsigned long long> mGrants;
};

class Members : public SuiteTest
{
protected:
    /// A process that has joined with these figures, and stays.
    std::unique_ptr<Child> Join(std::uint64_t inMaximum, MemoryPriority inPriority = 1)
    {
        return std::make_unique<Child>(
            [=]
            {
                static MemoryBalancer* const sBalancer =
                    new MemoryBalancer(u"child", [](const unsigned long long&) {});
                sBalancer->SetApplicationState(0, inMaximum, 0, inPriority);
            });
    }
    /// Looks at the suite, and holds that the grants fit the capacity whenever one looks.
    static Balance Look()
    {
        const Balance balance = GetBalance();
        std::uint64_t sum = 0;
        for (const Member& member : balance.members)
            sum += member.grant;
        EXPECT_LE(sum, balance.capacity);
        return balance;
    }
    static bool AwaitMembers(std::size_t inCount)
    {
        return WaitUntil([=] { return Look().members.size() == inCount; });
    }
    static std::uint64_t GrantOf(const Child& inChild)
    {
        for (const Member& member : Look().members)
        {
            if (member.processID == inChild.ID())
                return member.grant;
        }
        return 0;
    }
    static bool AwaitGrant(const Child& inChild, std::uint64_t inGrant)
    {
        return WaitUntil([&] { return GrantOf(inChild) == inGrant; });
    }
    Grants grants;
};

TEST_F(Members, JoinWithTheirFirstStateAndNotBefore)
{
    MemoryBalancer balancer(u"cutter", grants.Callback());
    EXPECT_FALSE(ObjectExists());

    balancer.SetApplicationState(kMiB, kGiB, 2 * kMiB, 3);
    ASSERT_TRUE(grants.Await(kGiB));
    const Balance balance = Look();
    ASSERT_EQ(1u, balance.members.size());
    EXPECT_EQ(getpid(), balance.members[0].processID);
    EXPECT_EQ(u"cutter", balance.members[0].clientName);
    EXPECT_EQ(kMiB, balance.members[0].minimum);
    EXPECT_EQ(kGiB, balance.members[0].maximum);
    EXPECT_EQ(2 * kMiB, balance.members[0].used);
    EXPECT_EQ(3, balance.members[0].priority);
}

TEST_F(Members, AreToldWhenTheirStateMovesTheirGrant)
{
    MemoryBalancer balancer(u"cutter", grants.Callback());
    balancer.SetApplicationState(0, kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(kGiB));
    balancer.SetApplicationState(0, 2 * kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(2 * kGiB));
    balancer.SetApplicationState(0, 0, 0, 1);
    ASSERT_TRUE(grants.Await(0));
    EXPECT_EQ(3u, grants.Count());
}

TEST_F(Members, CountAsUsingWhatTheyOccupyIfThatIsMore)
{
    machine.process = 3 * kGiB;
    MemoryBalancer balancer(u"cutter", grants.Callback());
    balancer.SetApplicationState(0, 16 * kGiB, kGiB, 1);
    ASSERT_TRUE(grants.Await(11 * kGiB - 352 * kMiB));
    EXPECT_EQ(3 * kGiB, Look().members[0].used);
}

TEST_F(Members, OfOneProcessShareLikeThoseOfTwo)
{
    Grants others;
    MemoryBalancer first(u"first", grants.Callback());
    MemoryBalancer second(u"second", others.Callback());
    first.SetApplicationState(0, 16 * kGiB, 0, 1);
    second.SetApplicationState(0, 16 * kGiB, 0, 1);
    EXPECT_TRUE(grants.Await(kAll / 2));
    EXPECT_TRUE(others.Await(kAll / 2));
}

TEST_F(Members, ThatLeaveGiveTheirShareBackAndTheLastTakesTheSegmentAway)
{
    {
        MemoryBalancer first(u"first", grants.Callback());
        first.SetApplicationState(0, 16 * kGiB, 0, 1);
        {
            MemoryBalancer second(u"second", [](const unsigned long long&) {});
            second.SetApplicationState(0, 16 * kGiB, 0, 1);
            ASSERT_TRUE(grants.Await(kAll / 2));
        }
        EXPECT_TRUE(grants.Await(kAll));
    }
    EXPECT_FALSE(ObjectExists());
}

TEST_F(Members, AreNotToldAnythingAfterTheirEnd)
{
    auto balancer = std::make_unique<MemoryBalancer>(u"cutter", grants.Callback());
    balancer->SetApplicationState(0, 16 * kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(kAll));
    balancer.reset();
    const std::size_t count = grants.Count();

    MemoryBalancer other(u"other", [](const unsigned long long&) {});
    other.SetApplicationState(0, 16 * kGiB, 0, 1);
    ASSERT_TRUE(AwaitMembers(1));
    EXPECT_EQ(count, grants.Count());
}

TEST_F(Members, EndAfterTheCallbackThatRuns)
{
    std::promise<void> entered, leave;
    std::atomic<bool> left{false};
    auto balancer = std::make_unique<MemoryBalancer>(u"cutter",
                                                     [&](const unsigned long long&)
                                                     {
                                                         entered.set_value();
                                                         leave.get_future().wait();
                                                         left = true;
                                                     });
    balancer->SetApplicationState(0, kGiB, 0, 1);
    entered.get_future().wait();
    balancer->SetApplicationState(0, 2 * kGiB, 0, 1); // does not wait for the callback
    std::thread ending([&] { balancer.reset(); });
    leave.set_value();
    ending.join();
    EXPECT_TRUE(left);
}

TEST_F(Members, MayEndWithinTheirCallback)
{
    std::promise<void> done;
    std::unique_ptr<MemoryBalancer> balancer;
    std::atomic<int> calls{0};
    balancer = std::make_unique<MemoryBalancer>(u"cutter",
                                                [&](const unsigned long long&)
                                                {
                                                    balancer.reset();
                                                    ++calls;
                                                    done.set_value();
                                                });
    balancer->SetApplicationState(0, kGiB, 0, 1);
    done.get_future().wait();
    EXPECT_TRUE(WaitUntil([&] { return !ObjectExists(); })); // it leaves after that
    EXPECT_EQ(1, calls);
}

TEST_F(Members, GoOnAfterACallbackThatRaises)
{
    const TraceCapture trace("MemoryBalancer");
    Grants after;
    MemoryBalancer balancer(u"cutter",
                            [&](const unsigned long long& inGrant)
                            {
                                if (inGrant == kGiB)
                                    throw std::runtime_error("no budget");
                                after.Callback()(inGrant);
                            });
    balancer.SetApplicationState(0, kGiB, 0, 1);
    ASSERT_TRUE(WaitUntil([&] { return trace.Count("The callback has raised: no budget") == 1; }));
    balancer.SetApplicationState(0, 2 * kGiB, 0, 1);
    EXPECT_TRUE(after.Await(2 * kGiB));
}

TEST_F(Members, FollowAMachineThatHasLess)
{
    MemoryBalancer balancer(u"cutter", grants.Callback());
    balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(kAll));
    machine.freePhysical = 4 * kGiB;
    EXPECT_TRUE(grants.Await(4 * kGiB - 128 * kMiB));
}

TEST_F(Members, JoinAndLeaveAHundredTimesBesideOneThatStays)
{
    MemoryBalancer staying(u"staying", grants.Callback());
    staying.SetApplicationState(0, 16 * kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(kAll));
    for (int i = 0; i < 100; ++i)
    {
        Grants passing;
        MemoryBalancer balancer(u"passing", passing.Callback());
        balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
        ASSERT_TRUE(passing.Await(kAll / 2)) << i;
    }
    EXPECT_TRUE(grants.Await(kAll));
    EXPECT_EQ(1u, Look().members.size());
}

TEST_F(Members, MayBeMadeToldAndEndedByManyThreads)
{
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back(
            []
            {
                for (int i = 0; i < 25; ++i)
                {
                    MemoryBalancer balancer(u"many", [](const unsigned long long&) {});
                    for (std::uint64_t step = 0; step < 8; ++step)
                        balancer.SetApplicationState(0, step * kGiB, 0,
                                                     static_cast<MemoryPriority>(step % 3));
                }
            });
    for (int i = 0; i < 50; ++i)
        Look();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(ObjectExists());
}

class MemberProcesses : public Members
{
protected:
    /// For a child: it ends, or stands still, with the table locked.
    void TakeTheTableAndRaise(int inSignal) const
    {
        std::unique_ptr<Platform::SharedSegment> segment;
        OpenSuite(suite, false, segment);
        while (!segment->Lock(kTableLock, 1000))
        {
        }
        raise(inSignal);
    }
};

TEST_F(MemberProcesses, OfOnePriorityShareEvenly)
{
    const auto first = Join(16 * kGiB);
    const auto second = Join(16 * kGiB);
    EXPECT_TRUE(AwaitGrant(*first, kAll / 2));
    EXPECT_TRUE(AwaitGrant(*second, kAll / 2));
}

TEST_F(MemberProcesses, ShareByPriorityAndNeed)
{
    const auto modest = Join(256 * kMiB, 5);
    const auto high = Join(16 * kGiB, 2);
    const auto low = Join(16 * kGiB, 0);
    const auto also = Join(16 * kGiB, 0);
    const auto lowest = Join(16 * kGiB, -1);
    ASSERT_TRUE(AwaitMembers(5));
    // Of what the modest one leaves the others have 8, 2, 2 and 1 parts of 13.
    const std::uint64_t part = (kAll - 256 * kMiB) / 13;
    EXPECT_TRUE(WaitUntil([&] { return GrantOf(*high) / kMiB == part * 8 / kMiB; }));
    EXPECT_TRUE(WaitUntil([&] { return GrantOf(*lowest) / kMiB == part / kMiB; }));
    EXPECT_EQ(256 * kMiB, GrantOf(*modest));
    EXPECT_EQ(part * 2 / kMiB, GrantOf(*low) / kMiB);
    EXPECT_EQ(GrantOf(*low), GrantOf(*also));
}

TEST_F(MemberProcesses, ThatAreKilledGiveTheirShareBackWithinSeconds)
{
    const auto survivor = Join(16 * kGiB);
    const auto victim = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*survivor, kAll / 2));
    victim->Kill();
    const auto before = std::chrono::steady_clock::now();
    EXPECT_TRUE(AwaitGrant(*survivor, kAll));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(5));
}

TEST_F(MemberProcesses, ThatAreKilledWithTheTableLockedHoldUpNobody)
{
    const auto survivor = Join(16 * kGiB);
    ASSERT_TRUE(AwaitMembers(1));
    const ino_t number = ObjectNumber();
    Child holder([&] { TakeTheTableAndRaise(SIGKILL); });
    holder.AwaitEnd();

    const auto other = Join(16 * kGiB);
    EXPECT_TRUE(AwaitGrant(*other, kAll / 2));
    EXPECT_EQ(number, ObjectNumber());
}

TEST_F(MemberProcesses, ThatAreKilledWhileTheyWriteCostTheSegmentAndNothingElse)
{
    const auto survivor = Join(16 * kGiB);
    const auto other = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*other, kAll / 2));
    const ino_t number = ObjectNumber();
    Child writer(
        [&]
        {
            std::unique_ptr<Platform::SharedSegment> segment;
            OpenSuite(suite, false, segment);
            while (!segment->Lock(kTableLock, 1000))
            {
            }
            BalanceImage image;
            ReadImage(*segment, image);
            image.slots[7].taken = 1; // and not sealed
            segment->Write(&image);
            raise(SIGKILL);
        });
    writer.AwaitEnd();
    EXPECT_TRUE(WaitUntil([&] { return ObjectNumber() != number; }));
    EXPECT_TRUE(AwaitGrant(*survivor, kAll / 2));
    EXPECT_TRUE(AwaitGrant(*other, kAll / 2));
}

TEST_F(MemberProcesses, MeetInAnotherSegmentWhenAHolderOfTheTableIsStopped)
{
    const auto first = Join(16 * kGiB);
    const auto second = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*first, kAll / 2));
    const ino_t number = ObjectNumber();
    Child holder([&] { TakeTheTableAndRaise(SIGSTOP); });
    holder.AwaitStop();
    EXPECT_TRUE(WaitUntil([&] { return ObjectNumber() != number && ObjectExists(); }));
    EXPECT_TRUE(AwaitMembers(2));
    EXPECT_TRUE(AwaitGrant(*first, kAll / 2));
}

TEST_F(MemberProcesses, ThatAreStoppedKeepTheirShareAndHoldUpNobody)
{
    const auto running = Join(16 * kGiB);
    const auto stopped = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*stopped, kAll / 2));
    stopped->Send(SIGSTOP);
    stopped->AwaitStop();

    // It may have been stopped with the table locked; then it is left behind until it goes on.
    MemoryBalancer balancer(u"joins meanwhile", grants.Callback());
    balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
    EXPECT_TRUE(WaitUntil([&] { return grants.Count() > 0; }));

    stopped->Send(SIGCONT);
    EXPECT_TRUE(AwaitMembers(3));
    EXPECT_TRUE(AwaitGrant(*stopped, kAll / 3));
}

TEST_F(MemberProcesses, JoinAnewWhenTheirSegmentIsOverwritten)
{
    const auto first = Join(16 * kGiB);
    const auto second = Join(16 * kGiB);
    const auto third = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*third, kAll / 3));
    std::uint64_t random = 88172645463325252u;
    for (int round = 0; round < 3; ++round)
    {
        const ino_t number = ObjectNumber();
        std::string bytes(sizeof(BalanceImage), '\0');
        for (char& byte : bytes)
        {
            random ^= random << 13;
            random ^= random >> 7;
            random ^= random << 17;
            byte = static_cast<char>(random);
        }
        // Again, as long as it takes: a member in the middle of its turn writes it whole anew.
        const auto isReplaced = [&]
        {
            if (ObjectNumber() != number)
                return true;
            OverwriteObject(bytes);
            return false;
        };
        ASSERT_TRUE(WaitUntil(isReplaced));
        ASSERT_TRUE(AwaitMembers(3));
        EXPECT_TRUE(AwaitGrant(*first, kAll / 3));
    }
}

TEST_F(MemberProcesses, OutliveASegmentThatIsCutToNothing)
{
    const auto first = Join(16 * kGiB);
    const auto second = Join(16 * kGiB);
    ASSERT_TRUE(AwaitGrant(*second, kAll / 2));
    ASSERT_EQ(0, truncate(ObjectPath().c_str(), 0));
    EXPECT_TRUE(AwaitMembers(2));
    EXPECT_TRUE(AwaitGrant(*first, kAll / 2));
}

TEST_F(MemberProcesses, ThatForkKeepTheirSeatToThemselves)
{
    MemoryBalancer balancer(u"parent", grants.Callback());
    balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
    ASSERT_TRUE(grants.Await(kAll));

    EXPECT_EQ(0, RunInChild(
                     [&]
                     {
                         balancer.SetApplicationState(0, 1, 0, 1); // does nothing
                         balancer.~MemoryBalancer();
                         return 0;
                     }));
    ASSERT_EQ(1u, Look().members.size());
    EXPECT_EQ(16 * kGiB, Look().members[0].maximum);
    EXPECT_EQ(getpid(), Look().members[0].processID);
    balancer.SetApplicationState(0, kGiB, 0, 1);
    EXPECT_TRUE(grants.Await(kGiB));
}

TEST_F(MemberProcesses, ThatForkAndAreKilledLeaveNoSeatToTheirChild)
{
    const auto survivor = Join(16 * kGiB);
    int ends[2];
    ASSERT_EQ(0, pipe(ends));
    Child parent(
        [&]
        {
            Grants told;
            MemoryBalancer balancer(u"parent", told.Callback());
            balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
            WaitUntil([&] { return told.Count() > 0; });
            const pid_t child = fork();
            if (child == 0)
            {
                for (;;)
                    pause();
            }
            if (write(ends[1], &child, sizeof child) != sizeof child)
                _exit(1);
            for (;;)
                pause();
        });
    pid_t grandchild = 0;
    ASSERT_EQ(static_cast<ssize_t>(sizeof grandchild),
              read(ends[0], &grandchild, sizeof grandchild));
    ASSERT_TRUE(AwaitGrant(*survivor, kAll / 2));
    parent.Kill();
    ASSERT_EQ(0, kill(grandchild, 0)); // it lives
    EXPECT_TRUE(AwaitGrant(*survivor, kAll));
    kill(grandchild, SIGKILL);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(MemberProcesses, OfASuiteThatWasKilledAsAWholeLeaveSeatsToTheNext)
{
    {
        const auto first = Join(16 * kGiB);
        const auto second = Join(16 * kGiB);
        ASSERT_TRUE(AwaitMembers(2));
    }
    EXPECT_TRUE(ObjectExists()); // nobody was left to take it away
    EXPECT_TRUE(Look().members.empty());
    EXPECT_EQ(0u, Look().capacity);
    {
        MemoryBalancer balancer(u"next", grants.Callback());
        balancer.SetApplicationState(0, 16 * kGiB, 0, 1);
        EXPECT_TRUE(grants.Await(kAll));
    }
    EXPECT_FALSE(ObjectExists());
}

TEST(SuiteName, IsTheClientsUnlessOneIsSet)
{
    const qelcore::UTF16String byDefault = GetSuiteName();
    EXPECT_FALSE(byDefault.empty());
    SetSuiteName(u"a suite");
    EXPECT_EQ(u"a suite", GetSuiteName());
    SetSuiteName(u"");
    EXPECT_EQ(byDefault, GetSuiteName());
}

} // namespace
