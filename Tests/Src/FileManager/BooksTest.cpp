// What is registered: keys, owners that die, and the life of the manager.
#include "FileManagerFixture.h"

#include <limits>
#include <memory>
#include <new>

#include "Support/ContractWatch.h"

namespace
{

using namespace Testing;
using RK::FileManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OpenFileBooks : public FileManagerTest
{
};

TEST_F(OpenFileBooks, TheSameOwnerAndNumberReplaceCountAndPath)
{
    Register(1, 3);
    FileManager::RegisterOpenFile(mOwner, u"/elsewhere", 1, 5);
    EXPECT_EQ(5u, OpenCount());
    EXPECT_EQ(1u, Inside().ListedCount());

    EXPECT_EQ(qelcore::kResult_OK, FileManager::TryToCloseFileWithoutBlocking(PathOf(1)));
    EXPECT_THAT(mOwner->asked, IsEmpty());
    FileManager::TryToCloseFileWithoutBlocking(u"/elsewhere");
    EXPECT_THAT(mOwner->asked, ElementsAre(1));
}

TEST_F(OpenFileBooks, OneNumberOfTwoOwnersIsTwoFiles)
{
    const WeakOwnerRef weak(new WeakOwner);
    const StrongOwnerRef strong(new StrongOwner);
    Register(1);
    Register(weak, 1);
    Register(strong, 1);
    EXPECT_EQ(3u, OpenCount());

    FileManager::UnregisterOpenFile(strong, 1);
    Unregister(1);
    EXPECT_EQ(1u, OpenCount());
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_THAT(weak->asked, ElementsAre(1));
    EXPECT_THAT(strong->asked, IsEmpty());
}

TEST_F(OpenFileBooks, AnUnknownFileIsNotUnregistered)
{
    Register(1);
    Unregister(2);
    FileManager::UnregisterOpenFile(WeakOwnerRef(new WeakOwner), 1);
    EXPECT_EQ(1u, OpenCount());
}

TEST_F(OpenFileBooks, SumsOfTheLargestCountsDoNotWrap)
{
    constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
    FileManager::SetOpenFileLimits(kMost, kMost);
    mOwner->onClose = [](std::uint32_t) { return -1; };
    Register(1, kMost);
    Register(2, kMost);
    EXPECT_EQ(2ull * kMost, OpenCount());

    Unregister(1);
    Unregister(1);
    Unregister(2);
    EXPECT_EQ(0u, OpenCount());
}

TEST_F(OpenFileBooks, AWeakOwnerIsNotKeptAliveAndDisappearsAtTheNextSnapshot)
{
    bool gone = false;
    WeakOwnerRef owner(new WeakOwner);
    owner->onEnd = [&gone] { gone = true; };
    Register(owner, 1, 4);
    Register(2, 1);

    owner.reset();
    EXPECT_TRUE(gone);
    EXPECT_EQ(5u, OpenCount());

    Inside().Snapshot();
    EXPECT_EQ(1u, OpenCount());
    EXPECT_EQ(1u, Inside().ListedCount());
}

TEST_F(OpenFileBooks, APurgeThatDeadOwnersMakeNeedlessSucceedsAndAsksNobody)
{
    WeakOwnerRef owner(new WeakOwner);
    Register(owner, 1, 4);
    Register(2, 1);
    owner.reset();

    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(2));
    EXPECT_THAT(mOwner->asked, IsEmpty());
    EXPECT_EQ(1u, OpenCount());
    EXPECT_FALSE(Inside().Purging());
}

TEST_F(OpenFileBooks, AStrongOwnerLivesUntilItsLastFileIsUnregisteredAndDiesWithTheLockFree)
{
    bool gone = false;
    StrongOwnerRef owner(new StrongOwner);
    owner->onEnd = [&gone]
    {
        gone = true;
        EXPECT_TRUE(Inside().LockIsFree());
    };
    Register(owner, 1);
    Register(owner, 2);
    StrongOwner* const borrowed = owner.get();
    owner.reset();
    EXPECT_FALSE(gone);

    borrowed->onClose = [borrowed](std::uint32_t inFileID)
    {
        FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(borrowed), inFileID);
        return 0;
    };
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(2));
    EXPECT_FALSE(gone);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_TRUE(gone);
    EXPECT_EQ(0u, OpenCount());
}

TEST_F(OpenFileBooks, AnOwnerThatDiesAtTheEndOfAPurgeMayUnregisterAndPurgeAgain)
{
    WeakOwnerRef owner(new WeakOwner);
    bool purged = false;
    WeakOwner* const borrowed = owner.get();
    owner->onEnd = [&purged, borrowed]
    {
        FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(borrowed), 1);
        purged = FileManager::FlushOpenFilesToTemporaryLimit(0);
    };
    Register(owner, 1);
    Register(2);
    owner->onClose = [&owner](std::uint32_t)
    {
        owner.reset(); // the snapshot holds the last reference
        return 0;
    };

    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(2));
    EXPECT_TRUE(purged);
    EXPECT_EQ(0u, OpenCount());
    ExpectBooksToAgree();
}

TEST_F(OpenFileBooks, AnOwnersDestructorMayUnregister)
{
    WeakOwnerRef owner(new WeakOwner);
    WeakOwner* const borrowed = owner.get();
    owner->onEnd = [borrowed]
    { FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(borrowed), 1); };
    Register(owner, 1);
    owner.reset();
    EXPECT_EQ(0u, OpenCount());
}

TEST_F(OpenFileBooks, ARegistrationThatAnotherThreadOvertakesLeavesNoCountBehind)
{
    FileManager::SetOpenFileLimits(1, 1);
    Register(1);
    // The purge of the outer registration comes between its counting and its listing.
    bool overtaken = false;
    mOwner->onClose = [&](std::uint32_t)
    {
        if (!std::exchange(overtaken, true))
            Register(7, 3);
        return -1;
    };
    Register(7, 5);

    EXPECT_EQ(6u, OpenCount());
    ExpectBooksToAgree();
}

// The manager's life.

constexpr char kSourcePath[] = "Src/FileManager/FileManager";

TEST(FileManagerLife, StartAndStopInTheWrongOrderAndANullOwnerViolateTheirContracts)
{
    ExpectContractViolation(FileManager::Shutdown, "sFileManager != NULL", kSourcePath,
                            "RK::FileManager::Shutdown(");
    FileManager::Startup();
    ExpectContractViolation(FileManager::Startup, "sFileManager == NULL", kSourcePath,
                            "RK::FileManager::Startup(");
    ExpectContractViolation([] { FileManager::RegisterOpenFile(nullptr, u"/a", 1, 1); },
                            "inFileOwner", kSourcePath, "RK::FileManager::RegisterOpenFile(");
    FileManager::Shutdown();
    ExpectContractViolation([] { FileManager::RegisterOpenFile(nullptr, u"/a", 1, 1); },
                            "inFileOwner", kSourcePath, "RK::FileManager::RegisterOpenFile(");
}

TEST(FileManagerLife, WhileStoppedEveryFunctionDoesNothing)
{
    const WeakOwnerRef owner(new WeakOwner);
    const RK::IOpenFileOwnerRef reference(owner);
    FileManager::SetDefaultOpenFileLimits();
    FileManager::SetOpenFileLimits(1, 2);
    FileManager::RegisterOpenFile(reference, u"/a", 1, 1);
    FileManager::UnregisterOpenFile(reference, 1);
    FileManager::LazyPurge();
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_EQ(static_cast<qelcore::Result>(0xA00F0001),
              FileManager::TryToCloseFileWithoutBlocking(u"/a"));
    std::uint32_t soft = 7, hard = 7;
    FileManager::GetOpenFileLimits(soft, hard);
    EXPECT_EQ(0u, soft);
    EXPECT_EQ(0u, hard);
    EXPECT_THAT(owner->asked, IsEmpty());

    FileManager::Startup();
    EXPECT_EQ(0u, RK::Details::RunningFileManager()->GetOpenCount());
    FileManager::Shutdown();
}

TEST(FileManagerLife, TheStopClosesNothingLetsGoOfOwnersAndAStartBeginsAnew)
{
    bool gone = false;
    StrongOwnerRef strong(new StrongOwner);
    strong->onEnd = [&gone]
    {
        gone = true;
        FileManager::UnregisterOpenFile(nullptr, 1); // the manager is not there any more
    };
    const WeakOwnerRef weak(new WeakOwner);
    FileManager::Startup();
    FileManager::SetOpenFileLimits(5, 6);
    FileManager::RegisterOpenFile(strong, u"/a", 1, 1);
    FileManager::RegisterOpenFile(weak, u"/b", 1, 1);
    strong.reset();
    FileManager::Shutdown();
    EXPECT_TRUE(gone);
    EXPECT_THAT(weak->asked, IsEmpty());

    FileManager::Startup();
    std::uint32_t soft = 0, hard = 0;
    FileManager::GetOpenFileLimits(soft, hard);
    EXPECT_EQ(100u, soft);
    EXPECT_EQ(110u, hard);
    EXPECT_EQ(0u, RK::Details::RunningFileManager()->GetOpenCount());
    FileManager::Shutdown();
}

TEST(FileManagerLife, TheStopLetsGoOfAnOwnerThatThrowsToo)
{
    bool gone = false;
    StrongOwnerRef owner(new StrongOwner);
    owner->onEnd = [&gone] { gone = true; };
    owner->onPriority = [](std::uint32_t) -> std::uint64_t { throw std::bad_alloc(); };
    FileManager::Startup();
    FileManager::RegisterOpenFile(owner, u"/a", 1, 1);
    owner.reset();
    FileManager::Shutdown();
    EXPECT_TRUE(gone);
}

TEST(FileManagerLife, AStopWithinAPurgeLetsThePurgeEndOnItsOwn)
{
    FileManager::Startup();
    const WeakOwnerRef owner(new WeakOwner);
    owner->onClose = [](std::uint32_t inFileID)
    {
        if (inFileID == 1)
            FileManager::Shutdown();
        return 0;
    };
    for (std::uint32_t fileID = 1; fileID <= 3; ++fileID)
        FileManager::RegisterOpenFile(owner, u"/a", fileID, 1);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_THAT(owner->asked, ElementsAre(1, 2, 3));
    EXPECT_FALSE(RK::Details::RunningFileManager());
}

} // namespace
