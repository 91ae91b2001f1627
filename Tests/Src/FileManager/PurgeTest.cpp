// Who is asked to close, in which order, and what a refusal means.
#include "FileManagerFixture.h"

#include <stdexcept>

namespace
{

using namespace Testing;
using RK::FileManager;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

class OpenFilePurge : public FileManagerTest
{
};

TEST_F(OpenFilePurge, GoesFromTheLowestPriorityUpAcrossOwners)
{
    FileIDs order;
    const auto note = [&order](std::uint32_t inFileID)
    {
        order.push_back(inFileID);
        return qelcore::kResult_OK;
    };
    const StrongOwnerRef other(new StrongOwner);
    mOwner->onClose = note;
    other->onClose = note;
    for (const std::uint32_t fileID : {7u, 3u, 9u})
        Register(fileID);
    for (const std::uint32_t fileID : {8u, 2u})
        Register(other, fileID);

    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_THAT(order, ElementsAre(2, 3, 7, 8, 9));
    other->onClose = nullptr;
    FileManager::FlushOpenFilesToTemporaryLimit(0); // ends the references to other
}

TEST_F(OpenFilePurge, OrdersByAllOf64Bits)
{
    mOwner->onPriority = [](std::uint32_t inFileID) { return ~std::uint64_t{0} - inFileID; };
    RegisterRange(1, 3);
    FileManager::FlushOpenFilesToTemporaryLimit(0);
    EXPECT_THAT(mOwner->asked, ElementsAre(3, 2, 1));
}

TEST_F(OpenFilePurge, ToALimitOfZeroAsksForEveryFileEvenIfAllRefuse)
{
    mOwner->onClose = [](std::uint32_t) { return -1; };
    RegisterRange(1, 5);

    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_EQ(Range(1, 5), mOwner->asked);
    EXPECT_EQ(5u, OpenCount());
}

TEST_F(OpenFilePurge, SucceedsIfOneFileWasClosed)
{
    mOwner->onClose = [](std::uint32_t inFileID) { return inFileID == 4 ? 0 : -1; };
    RegisterRange(1, 5);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
}

TEST_F(OpenFilePurge, OfNoFilesClosesNothingAndSaysSo)
{
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_FALSE(Inside().Purging());
}

TEST_F(OpenFilePurge, BelowTheLimitAsksNobody)
{
    RegisterRange(1, 4);
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(5));
    EXPECT_THAT(mOwner->asked, IsEmpty());
}

TEST_F(OpenFilePurge, AtExactlyTheLimitClosesOneMore)
{
    RegisterRange(1, 5);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(5));
    EXPECT_THAT(mOwner->asked, ElementsAre(1));
}

TEST_F(OpenFilePurge, CountsEachRegistrationByItsCount)
{
    Register(1, 0); // stands for nothing: closing it neither helps nor counts as a success
    Register(2, 30);
    Register(3, 5);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(10));
    EXPECT_THAT(mOwner->asked, ElementsAre(1, 2));

    mOwner->onClose = [](std::uint32_t) { return 0; };
    Unregister(3);
    Register(1, 0);
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
}

TEST_F(OpenFilePurge, LeavesTheRegistrationToTheOwner)
{
    mOwner->onClose = [](std::uint32_t) { return 0; };
    RegisterRange(1, 3);
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_EQ(3u, OpenCount());
    EXPECT_EQ(3u, Inside().ListedCount());
}

TEST_F(OpenFilePurge, ToATemporaryLimitLeavesTheLimitsAsTheyAre)
{
    RegisterRange(1, 5);
    FileManager::FlushOpenFilesToTemporaryLimit(2);
    std::uint32_t soft = 0, hard = 0;
    FileManager::GetOpenFileLimits(soft, hard);
    EXPECT_EQ(100u, soft);
    EXPECT_EQ(110u, hard);
}

TEST_F(OpenFilePurge, DoesNotBeginWithinAnother)
{
    RegisterRange(1, 5);
    bool inner = true;
    mOwner->onClose = [&inner](std::uint32_t)
    {
        inner = FileManager::FlushOpenFilesToTemporaryLimit(0);
        return 0;
    };
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(5));
    EXPECT_FALSE(inner);
    EXPECT_EQ(1u, mOwner->asked.size());
}

TEST_F(OpenFilePurge, ClosesWithTheLockFreeForOtherThreads)
{
    bool free = false;
    mOwner->onClose = [&free](std::uint32_t)
    {
        free = Inside().LockIsFree();
        return 0;
    };
    Register(1);
    FileManager::FlushOpenFilesToTemporaryLimit(0);
    EXPECT_TRUE(free);

    free = false;
    FileManager::TryToCloseFileWithoutBlocking(PathOf(1));
    EXPECT_TRUE(free);
}

TEST_F(OpenFilePurge, AsksForPrioritiesUnderTheLock)
{
    bool free = true;
    mOwner->onPriority = [&free](std::uint32_t)
    {
        free = Inside().LockIsFree();
        return 0;
    };
    Register(1);
    FileManager::FlushOpenFilesToTemporaryLimit(0);
    EXPECT_FALSE(free);
    mOwner->onPriority = nullptr;
}

TEST_F(OpenFilePurge, AnOwnerMayUnregisterWhileItIsAskedForAPriority)
{
    RegisterRange(1, 3);
    mOwner->onPriority = [this](std::uint32_t inFileID)
    {
        if (inFileID == 1)
            Unregister(2);
        return 0;
    };
    FileManager::FlushOpenFilesToTemporaryLimit(0);
    EXPECT_EQ(0u, OpenCount());
    ExpectBooksToAgree();
}

TEST_F(OpenFilePurge, AnExceptionOutOfAnOwnerPassesOutAndEndsAllLaterPurging)
{
    mOwner->onClose = [](std::uint32_t) -> qelcore::Result
    { throw std::runtime_error("no close"); };
    RegisterRange(1, 3);
    EXPECT_THROW(FileManager::FlushOpenFilesToTemporaryLimit(0), std::runtime_error);

    mOwner->onClose = nullptr;
    EXPECT_TRUE(Inside().Purging());
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_EQ(3u, OpenCount());
    RegisterRange(4, 200); // and the background does not try over and over
    EXPECT_EQ(1u, RunLazyPurges());
    EXPECT_EQ(0u, QueuedLazyPurges());
}

TEST_F(OpenFilePurge, AnExceptionOutOfAPriorityPassesOutAndLeavesTheBooksAndPurging)
{
    mOwner->onPriority = [](std::uint32_t) -> std::uint64_t
    { throw std::runtime_error("no priority"); };
    RegisterRange(1, 3);
    EXPECT_THROW(FileManager::FlushOpenFilesToTemporaryLimit(0), std::runtime_error);
    EXPECT_TRUE(Inside().LockIsFree());
    EXPECT_EQ(3u, OpenCount());

    mOwner->onPriority = nullptr;
    EXPECT_TRUE(FileManager::FlushOpenFilesToTemporaryLimit(0));
    EXPECT_EQ(0u, OpenCount());
}

TEST_F(OpenFilePurge, AnExceptionDuringARegistrationTakesItsCountBack)
{
    FileManager::SetOpenFileLimits(2, 2);
    RegisterRange(1, 2);
    mOwner->onPriority = [](std::uint32_t) -> std::uint64_t
    { throw std::runtime_error("no priority"); };
    EXPECT_THROW(Register(3), std::runtime_error);
    mOwner->onPriority = nullptr;

    EXPECT_EQ(2u, OpenCount());
    ExpectBooksToAgree();
}

} // namespace
