#include "FilePool.h"

#include <array>
#include <thread>

#include <RiverKit/RKInitializer.h>
#include <gmock/gmock.h>

#include <sys/stat.h>
#include <unistd.h>

#include "Support/TemporaryFolder.h"
#include "Text.h"

namespace RKHostTests
{
namespace
{

using qelcore::utility::RecycledMemoryPtr;
using RK::FileManager;
using RKHost::FilePool;

bool NotCancelled()
{
    return false;
}

class FilePoolTest : public testing::Test
{
protected:
    static std::string TextOf(const RecycledMemoryPtr& inBlock)
    {
        return inBlock ? std::string(static_cast<const char*>(inBlock->Data()), inBlock->Size())
                       : "nothing";
    }
    std::string Read(const std::string& inPath)
    {
        return TextOf(mPool.ReadWholeFile(inPath, &NotCancelled));
    }
    std::string RefusalOf(const std::string& inPath)
    {
        try
        {
            Read(inPath);
        }
        catch (const std::runtime_error& error)
        {
            return error.what();
        }
        return "none";
    }
    /// Whether this process has a descriptor that leads to a file; "(deleted)" stands behind removed ones.
    static int OpenDescriptorsOf(const std::string& inPath)
    {
        int count = 0;
        for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        {
            std::error_code ignored;
            const std::string target = std::filesystem::read_symlink(entry.path(), ignored);
            count += target.compare(0, inPath.size(), inPath) == 0 ? 1 : 0;
        }
        return count;
    }

    Testing::TemporaryFolder mFolder;
    RK::Initializer mLibrary;
    FilePool mPool;
};

TEST_F(FilePoolTest, ReadsAFileWholeAndKeepsItOpen)
{
    const std::string text(5000000, 'x'); // more than one piece
    const std::string path = mFolder.Write("a", text);

    EXPECT_EQ(text, Read(path));
    EXPECT_EQ(1u, mPool.OpenCount());
    EXPECT_EQ(text, Read(path));
    EXPECT_EQ(1u, mPool.OpenCount());
    EXPECT_EQ(1, OpenDescriptorsOf(path));
}

TEST_F(FilePoolTest, AFileOverwrittenInPlaceIsReadAsItIsNow)
{
    const std::string path = mFolder.Write("a", "first");
    EXPECT_EQ("first", Read(path));
    mFolder.Write("a", "other");
    EXPECT_EQ("other", Read(path));
    mFolder.Write("a", "longer than before");
    EXPECT_EQ("longer than before", Read(path));
    mFolder.Write("a", "1");
    EXPECT_EQ("1", Read(path));
}

TEST_F(FilePoolTest, AFileThatTookThePlaceOfAnotherIsReadAndTheOtherIsClosed)
{
    const std::string path = mFolder.Write("a", "first");
    EXPECT_EQ("first", Read(path));
    std::filesystem::rename(mFolder.Write("b", "second"), path);

    EXPECT_EQ("second", Read(path));
    EXPECT_EQ(1u, mPool.OpenCount());
    EXPECT_EQ(1, OpenDescriptorsOf(path));
}

TEST_F(FilePoolTest, AFileThatWasRemovedIsNotReadFromTheOneKeptOpen)
{
    const std::string path = mFolder.Write("a", "first");
    Read(path);
    std::filesystem::remove(path);
    EXPECT_EQ("No such file or directory", RefusalOf(path));
}

TEST_F(FilePoolTest, WhatIsNoRegularFileIsRefusedUnopened)
{
    const std::string pipe = mFolder.Path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600)); // to open it would wait for ever
    EXPECT_EQ("is not a regular file", RefusalOf(pipe));
    EXPECT_EQ("is not a regular file", RefusalOf(mFolder.Path()));
    EXPECT_EQ("is not a regular file", RefusalOf("/dev/zero"));
    EXPECT_EQ(0u, mPool.OpenCount());
}

TEST_F(FilePoolTest, AnEmptyFileAndOneThatIsTooLargeAreRefused)
{
    EXPECT_EQ("the file is empty", RefusalOf(mFolder.Write("empty", std::string())));
    const std::string large = mFolder.Write("large", "x");
    ASSERT_EQ(0, truncate(large.c_str(), (INT64_C(1) << 31) + 1));
    EXPECT_EQ("is larger than 2 GB", RefusalOf(large));
}

TEST_F(FilePoolTest, AFileThatBecomesShorterWhileItIsReadIsAnErrorAndIsNotKept)
{
    const std::string path = mFolder.Write("a", "0123456789");
    const auto shorten = [&]
    {
        EXPECT_EQ(0, truncate(path.c_str(), 4));
        return false;
    };
    EXPECT_THROW(mPool.ReadWholeFile(path, shorten), std::runtime_error);
    EXPECT_EQ(0u, mPool.OpenCount());
    EXPECT_EQ(0, OpenDescriptorsOf(path));
}

TEST_F(FilePoolTest, ACancelEndsTheReadingBetweenTwoPieces)
{
    const std::string path = mFolder.Write("a", std::string(9000000, 'x'));
    int asked = 0;
    EXPECT_EQ(nullptr, mPool.ReadWholeFile(path, [&] { return ++asked == 2; }));
    EXPECT_EQ(2, asked);
}

TEST_F(FilePoolTest, TheLimitsDecideHowManyStayOpenAndTheOldestGoFirst)
{
    FileManager::SetOpenFileLimits(4, 4);
    for (int i = 0; i < 20; ++i)
    {
        const std::string name = std::to_string(i);
        EXPECT_EQ(name, Read(mFolder.Write(name, name)));
        EXPECT_LE(mPool.OpenCount(), 4u);
    }
    EXPECT_EQ(0, OpenDescriptorsOf(mFolder.Path("3")));
    EXPECT_EQ(1, OpenDescriptorsOf(mFolder.Path("19")));
    EXPECT_EQ("3", Read(mFolder.Path("3"))) << "opened again";
}

TEST_F(FilePoolTest, ClosesAFileThatSomebodyWantsToMove)
{
    const std::string path = mFolder.Write("a", "x");
    Read(path);
    EXPECT_GE(FileManager::TryToCloseFileWithoutBlocking(RKHost::ToLibraryPath(path)), 0);
    EXPECT_EQ(0u, mPool.OpenCount());
    EXPECT_EQ(0, OpenDescriptorsOf(path));
}

TEST_F(FilePoolTest, AFileThatIsBeingReadIsNotClosed)
{
    const std::string path = mFolder.Write("a", "text");
    const auto purge = []
    {
        EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
        return false;
    };
    EXPECT_EQ("text", TextOf(mPool.ReadWholeFile(path, purge)));
}

TEST_F(FilePoolTest, LeavesNothingOpenOrRegisteredBehind)
{
    const std::string path = mFolder.Write("a", "text");
    {
        FilePool pool;
        pool.ReadWholeFile(path, &NotCancelled);
        EXPECT_EQ(1, OpenDescriptorsOf(path));
    }
    EXPECT_EQ(0, OpenDescriptorsOf(path));
    EXPECT_FALSE(FileManager::FlushOpenFilesToTemporaryLimit(0));
}

TEST_F(FilePoolTest, ManyThreadsReadTheSameFewFilesUnderATightLimit)
{
    FileManager::SetOpenFileLimits(3, 4);
    std::vector<std::string> paths;
    for (int i = 0; i < 8; ++i)
        paths.push_back(mFolder.Write(std::to_string(i), "file " + std::to_string(i)));
    std::atomic<int> wrong{0};
    const auto read = [&](int inFirst)
    {
        for (int i = 0; i < 300; ++i)
        {
            const auto at = static_cast<std::size_t>((inFirst + i * 5) % 8);
            wrong += Read(paths[at]) == "file " + std::to_string(at) ? 0 : 1;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 6; ++i)
        threads.emplace_back(read, i);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(0, wrong);
}

TEST_F(FilePoolTest, TheSystemsLimitIsAdopted)
{
    RKHost::AdoptSystemFileLimits();
    std::uint32_t soft = 0, hard = 0, suggestedSoft = 0, suggestedHard = 0;
    FileManager::GetOpenFileLimits(soft, hard);
    FileManager::GetSuggestedOpenFileLimits(suggestedSoft, suggestedHard);
    EXPECT_EQ(suggestedHard, hard);
    EXPECT_EQ(suggestedSoft, soft);
}

} // namespace
} // namespace RKHostTests
