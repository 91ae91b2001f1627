// What a buffered file reads, keeps and gives up, on files and times turned by hand.
#include "BufferedFileFixture.h"

#include <cerrno>
#include <limits>
#include <new>
#include <random>
#include <utility>

#include "ZOR/CountedObject.h"
#include "ZOR/Foundation.h"

namespace
{

using namespace ZOR;
using qelcore::kResult_OK;
using Testing::BufferedFileTest;
using Testing::BytesKept;
using Testing::FileOperation;
using Testing::kBlock;
using Testing::kPath;
using Testing::Pattern;
using Testing::PurgeAll;
using Testing::Read;
using Testing::ReadAt;

TEST_F(BufferedFileTest, WhatWasReadOnceIsReadAgainWithoutATransfer)
{
    File first, second;
    Open(first);
    EXPECT_EQ(mBytes, Read(first, mBytes.size()));
    const std::size_t transfers = mFiles.ReadCount();

    Open(second);
    EXPECT_EQ(mBytes, Read(second, mBytes.size()));
    EXPECT_EQ(mBytes.substr(5, 10), ReadAt(first, 5, 10));
    EXPECT_EQ(transfers, mFiles.ReadCount());
}

TEST_F(BufferedFileTest, EachBlockTakesOneTransfer)
{
    EXPECT_EQ(3u, TransfersToRead(0, mBytes.size()));
}

TEST_F(BufferedFileTest, BlocksAreSharedWhateverPartOfThemIsRead)
{
    EXPECT_EQ(1u, TransfersToRead(kBlock + 100, 1));

    EXPECT_EQ(0u, TransfersToRead(kBlock, kBlock));
    EXPECT_EQ(1u, TransfersToRead(2 * kBlock - 1, 2));
    EXPECT_EQ(kBlock + 1000, BytesKept());
}

TEST_F(BufferedFileTest, GivesTheSameAsAPlainFile)
{
    std::mt19937 random(1);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, kBlock - 1, kBlock, kBlock + 1,
                                   3 * kBlock, 3 * kBlock + 17})
    {
        mFiles.AddFile(kPath, Pattern(size, static_cast<unsigned>(size)));
        File buffered, plain;
        Open(buffered);
        Open(plain, false);
        for (int i = 0; i < 60; ++i)
        {
            const std::size_t offset = random() % (size + 100);
            const std::size_t count = random() % (i % 2 ? 100 : 2 * kBlock);
            ASSERT_EQ(ReadAt(plain, offset, count), ReadAt(buffered, offset, count));
            ASSERT_EQ(Read(plain, count / 8), Read(buffered, count / 8));
            if (i % 16 == 0)
                PurgeAll();
        }
    }
}

TEST_F(BufferedFileTest, ReadingMovesThePositionAndReadingAtAnOffsetDoesNot)
{
    File file;
    Open(file);

    EXPECT_EQ(mBytes.substr(0, 10), Read(file, 10));
    EXPECT_EQ(mBytes.substr(1000, 10), ReadAt(file, 1000, 10));
    EXPECT_EQ(mBytes.substr(10, 10), Read(file, 10));
}

TEST_F(BufferedFileTest, BeyondTheEndThereIsNothingAndBeyondAllOffsetsAnError)
{
    char byte = 0;
    std::size_t got = 99;
    for (const bool buffered : {true, false})
    {
        File file;
        Open(file, buffered);
        EXPECT_EQ("", ReadAt(file, mBytes.size(), 5));
        EXPECT_EQ("", ReadAt(file, std::numeric_limits<std::int64_t>::max(), 5));
        EXPECT_EQ(kFileResult_BadArgument,
                  file.ReadAt(std::numeric_limits<std::uint64_t>::max(), &byte, 1, got));
        EXPECT_EQ(0u, got);
    }
    File closed;
    EXPECT_EQ(kFileResult_NotOpen, closed.ReadAt(0, &byte, 1, got));
}

// A changed file.

TEST_F(BufferedFileTest, AnOverwriteOfTheSameLengthIsSeenByTheNextRead)
{
    File file;
    Open(file);
    Read(file, 10);

    mFiles.Overwrite(kPath, 5, "changed");
    EXPECT_EQ("changed", ReadAt(file, 5, 7));
}

TEST_F(BufferedFileTest, OverwritesWithinOneTickOfTheClockAreAllSeen)
{
    File file, other;
    Open(file);
    Open(other);
    for (const char* const text : {"first", "other", "third"})
    {
        mFiles.Overwrite(kPath, 0, text);
        EXPECT_EQ(text, ReadAt(file, 0, 5));
        EXPECT_EQ(text, ReadAt(other, 0, 5));
    }
}

TEST_F(BufferedFileTest, WhatChangedInTheLastTenSecondsIsNeitherKeptNorServed)
{
    mFiles.Overwrite(kPath, 0, "changed");
    mFiles.AdvanceSeconds(10);
    EXPECT_EQ(1u, TransfersToRead(0, 10));
    EXPECT_EQ(1u, TransfersToRead(0, 10));
    EXPECT_EQ(0u, BytesKept());

    mFiles.AdvanceSeconds(1);
    EXPECT_EQ(1u, TransfersToRead(0, 10));
    EXPECT_EQ(0u, TransfersToRead(0, 10));
    EXPECT_EQ(kBlock, BytesKept());
}

TEST_F(BufferedFileTest, ATimeOfChangeThatLiesAheadIsNotTrusted)
{
    mFiles.Overwrite(kPath, 0, "changed");
    mFiles.SetNow({1900000000, 0}); // set back

    EXPECT_EQ(1u, TransfersToRead(0, 10));
    EXPECT_EQ(1u, TransfersToRead(0, 10));
}

TEST_F(BufferedFileTest, AnOldTimeOfModificationDoesNotHideANewChange)
{
    EXPECT_EQ(1u, TransfersToRead(0, 10));
    mFiles.Overwrite(kPath, 0, "changed");
    mFiles.SetModified(kPath, {1000000000, 0}); // as copying tools do
    mFiles.AdvanceSeconds(20);
    File file;
    Open(file);

    EXPECT_EQ("changed", ReadAt(file, 0, 7));
}

TEST_F(BufferedFileTest, AShorterFileEndsEarlierThoughItsLastBlockIsKept)
{
    File file;
    Open(file);
    ReadAt(file, 2 * kBlock, 1000);

    mFiles.Truncate(kPath, 2 * kBlock + 10);
    EXPECT_EQ(mBytes.substr(2 * kBlock, 10), ReadAt(file, 2 * kBlock, 1000));
    mFiles.AdvanceSeconds(20);
    EXPECT_EQ(mBytes.substr(2 * kBlock, 10), ReadAt(file, 2 * kBlock, 1000));
    mFiles.Truncate(kPath, 0);
    EXPECT_EQ("", ReadAt(file, 2 * kBlock, 1000));
    EXPECT_EQ("", ReadAt(file, 0, 1000));
}

TEST_F(BufferedFileTest, ALongerFileIsReadToItsNewEnd)
{
    File file;
    Open(file);
    EXPECT_EQ(mBytes, Read(file, mBytes.size() + 100));

    mFiles.Overwrite(kPath, mBytes.size(), "more");
    EXPECT_EQ("more", Read(file, 100));
    mFiles.AdvanceSeconds(20);
    EXPECT_EQ(mBytes.substr(2 * kBlock) + "more", ReadAt(file, 2 * kBlock, kBlock));
}

TEST_F(BufferedFileTest, AFileThatWasReplacedIsAnotherThoughItLooksTheSame)
{
    File before, after;
    Open(before);
    Read(before, 10);
    mFiles.AddFile("/d/new", Pattern(mBytes.size(), 5));
    ASSERT_EQ(0, mFiles.Rename("/d/new", kPath, Platform::RenameMode::kReplace));

    Open(after);
    EXPECT_EQ(Pattern(mBytes.size(), 5).substr(0, 10), Read(after, 10));
    EXPECT_EQ(mBytes.substr(10, 10), Read(before, 10));
}

TEST_F(BufferedFileTest, AFileOfTheSameNumbersOnAnotherVolumeIsAnother)
{
    EXPECT_EQ(1u, TransfersToRead(0, 10));

    mFiles.volume.id = 2;
    EXPECT_EQ(1u, TransfersToRead(0, 10));
}

TEST_F(BufferedFileTest, ABlockThatChangedWhileItWasReadIsNotKept)
{
    File file;
    Open(file);
    mFiles.onReadAt = [this]
    {
        mFiles.onReadAt = nullptr;
        mFiles.Overwrite(kPath, 0, "changed");
    };

    EXPECT_EQ("changed", ReadAt(file, 0, 7));
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, AFileThatShrinksWhileItIsReadGivesWhatIsLeft)
{
    File file;
    Open(file);
    mFiles.onReadAt = [this]
    {
        mFiles.onReadAt = nullptr;
        mFiles.Truncate(kPath, 100);
    };

    EXPECT_EQ(mBytes.substr(0, 100), Read(file, mBytes.size()));
    EXPECT_EQ("", Read(file, 1));
    EXPECT_EQ(0u, BytesKept());
}

// What cannot be kept.

TEST_F(BufferedFileTest, NothingIsKeptUnlessAskedForAndForReadingAlone)
{
    File plain, writable;
    Open(plain, false);
    Read(plain, mBytes.size());
    ASSERT_EQ(kResult_OK,
              writable.Create(u"/d/clip", kFileAccess_Read | kFileAccess_Write, kFileShareMode_None,
                              kFileCreate_OpenExisting, kFileAttributes_Normal, true));
    EXPECT_EQ(mBytes, Read(writable, mBytes.size()));

    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, NothingIsKeptOfVolumesWhoseTimesDoNotTellEachChange)
{
    mFiles.volume.stampsChanges = false;

    EXPECT_EQ(1u, TransfersToRead(0, mBytes.size()));
    EXPECT_EQ(1u, TransfersToRead(0, mBytes.size()));
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, NothingIsKeptOfWhatIsNoRegularFile)
{
    mFiles.fileKind = Platform::FileKind::kOther;
    File file;
    Open(file);

    EXPECT_EQ(mBytes, Read(file, mBytes.size()));
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, AFileWhoseTimesCannotBeHadIsReadAsAnyOther)
{
    File file;
    Open(file);
    Read(file, 10);
    mFiles.Fail(FileOperation::kStatOpen, kPath, EIO);

    EXPECT_EQ(mBytes.substr(10, 10), Read(file, 10));
    EXPECT_EQ(mBytes.substr(kBlock, 10), ReadAt(file, kBlock, 10));
    mFiles.Fail(FileOperation::kStatOpen, kPath, 0);
    mFiles.Fail(FileOperation::kVolumeOf, kPath, EIO);
    EXPECT_EQ(1u, TransfersToRead(0, 10));
}

TEST_F(BufferedFileTest, ABadPlaceCostsTheReadsThatTouchItAlone)
{
    mFiles.FailReadsAt(kPath, kBlock + 500, EIO);
    File file;
    Open(file);
    std::string bytes(kBlock, '\0');
    std::size_t got = 0;

    EXPECT_EQ(mBytes.substr(kBlock, 500), ReadAt(file, kBlock, 500));
    EXPECT_EQ(mBytes.substr(kBlock + 501, 9), ReadAt(file, kBlock + 501, 9));
    EXPECT_EQ(kFileResult_DeviceFailure, file.ReadAt(kBlock - 10, bytes.data(), 600, got));
    EXPECT_EQ(mBytes.substr(kBlock - 10, 10), bytes.substr(0, got));

    mFiles.FailReadsAt(kPath, kBlock + 500, 0);
    EXPECT_EQ(mBytes.substr(kBlock - 10, 600), ReadAt(file, kBlock - 10, 600));
    EXPECT_EQ(0u, TransfersToRead(kBlock, kBlock));
}

TEST_F(BufferedFileTest, AFailureLeavesThePositionBehindWhatWasRead)
{
    mFiles.FailReadsAt(kPath, kBlock + 500, EIO);
    File file;
    Open(file);
    std::string bytes(2 * kBlock, '\0');
    std::size_t got = 0;
    EXPECT_EQ(kFileResult_DeviceFailure, file.Read(bytes.data(), bytes.size(), got));
    EXPECT_EQ(kBlock, got);

    EXPECT_EQ(mBytes.substr(kBlock, 500), Read(file, 500));
}

TEST_F(BufferedFileTest, TransfersThatBringLittleGoOnUntilTheBlockIsWhole)
{
    mFiles.LimitTransfers(1000);

    EXPECT_EQ(1u, TransfersToRead(2 * kBlock, 1000));
    EXPECT_EQ((kBlock + 999) / 1000, TransfersToRead(0, 10));
    EXPECT_EQ(0u, TransfersToRead(0, kBlock));
}

// Purges.

TEST_F(BufferedFileTest, ThePresentBlockIsPassedOverByPurgesUntilItIsLeft)
{
    File file;
    Open(file);
    ReadAt(file, 0, 10);
    PurgeAll();
    EXPECT_EQ(kBlock, BytesKept());

    ReadAt(file, kBlock, 10);
    PurgeAll();
    EXPECT_EQ(kBlock, BytesKept());
    EXPECT_EQ(1u, TransfersToRead(0, 10));
    EXPECT_EQ(0u, TransfersToRead(kBlock, 10));
}

TEST_F(BufferedFileTest, AFileThatWasReadToItsEndHoldsNoBlock)
{
    File file;
    Open(file);
    ReadAt(file, 2 * kBlock, 999);
    PurgeAll();
    EXPECT_EQ(1000u, BytesKept()) << "one byte is still to be read";

    ReadAt(file, 2 * kBlock + 999, 1);
    PurgeAll();
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, ClosingDestroyingAndReplacingAnObjectLeaveItsBlock)
{
    const auto readAndEnd = [this](void (*inEnd)(File&))
    {
        File file;
        Open(file);
        ReadAt(file, 0, 10);
        inEnd(file);
        PurgeAll();
        return BytesKept();
    };

    EXPECT_EQ(0u, readAndEnd([](File& ioFile) { ioFile.Close(); }));
    EXPECT_EQ(0u, readAndEnd([](File& ioFile) { ioFile = File(); }));
    EXPECT_EQ(kBlock, readAndEnd([](File&) {}));
    PurgeAll();
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, AMovedObjectReadsOnWhereItWas)
{
    File first;
    Open(first);
    Read(first, 10);

    File second(std::move(first));
    EXPECT_EQ(mBytes.substr(10, 10), Read(second, 10));
    first = std::move(second);
    EXPECT_EQ(mBytes.substr(20, 10), Read(first, 10));
    PurgeAll();
    EXPECT_EQ(kBlock, BytesKept());
}

TEST_F(BufferedFileTest, ABlockOfAFormerContentIsLeftWhenTheFileChanges)
{
    File file;
    Open(file);
    ReadAt(file, 0, 10);
    mFiles.Overwrite(kPath, 0, "changed");
    ReadAt(file, 0, 10);

    PurgeAll();
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, WhatWasPurgedIsReadAgain)
{
    EXPECT_EQ(3u, TransfersToRead(0, mBytes.size()));
    PurgeAll();
    EXPECT_EQ(3u, TransfersToRead(0, mBytes.size()));
}

// The factory.

TEST_F(BufferedFileTest, WithoutAFactoryNothingIsKept)
{
    Foundation::SetFileBufferFactory(nullptr);

    EXPECT_EQ(1u, TransfersToRead(0, mBytes.size()));
    EXPECT_EQ(0u, BytesKept());
}

TEST_F(BufferedFileTest, AnOpenFileOutlivesTheFactoryAndTakesPartInTheNextOne)
{
    const IFileBufferFactoryRef factory = Foundation::GetFileBufferFactory();
    File file;
    Open(file);
    EXPECT_EQ(mBytes.substr(0, 10), Read(file, 10));

    Foundation::SetFileBufferFactory(nullptr);
    EXPECT_EQ(mBytes.substr(10), Read(file, mBytes.size()));
    EXPECT_EQ(kBlock, BytesKept()); // nothing new

    Foundation::SetFileBufferFactory(factory);
    EXPECT_EQ(mBytes.substr(kBlock, 10), ReadAt(file, kBlock, 10));
    EXPECT_EQ(2 * kBlock, BytesKept());
}

TEST(BufferedFile, OutlivesTheLibraryItWasOpenedIn)
{
    Testing::MemoryFileSystem files;
    const std::string bytes = Pattern(2 * kBlock);
    files.AddFile(kPath, bytes);
    File file;
    {
        RK::Initializer library;
        ASSERT_EQ(kResult_OK, Testing::OpenBuffered(file, u"/d/clip"));
        EXPECT_EQ(bytes.substr(0, 10), Read(file, 10));
    }
    EXPECT_EQ(bytes.substr(10), Read(file, bytes.size()));
    {
        RK::Initializer library;
        EXPECT_EQ(bytes, ReadAt(file, 0, bytes.size()));
    }
    EXPECT_EQ(kResult_OK, file.Close());
}

// Buffers of somebody else, which fail where told.
struct FailingBuffers : CountedObject<IFileBufferFactory>
{
    struct Buffer : CountedObject<IFileBuffer>
    {
        explicit Buffer(FailingBuffers* inOwner)
            : mOwner(inOwner)
        {
        }
        qelcore::Result Init(const unsigned long long&, const qelcore::UTF16String&,
                             const long long&) override
        {
            mOwner->FailAt("init");
            return mOwner->initResult;
        }
        qelcore::Result AddToCache(const qelcore::utility::RecycledMemoryPtr&, long long) override
        {
            mOwner->FailAt("add");
            return kResult_OK;
        }
        qelcore::Result FindInCache(long long, long long,
                                    qelcore::utility::RecycledMemoryPtr&) override
        {
            mOwner->FailAt("find");
            return qelcore::kResult_GeneralFailure;
        }
        void MarkPurgeable(long long, long long) override {}
        void MarkNonPurgeable(long long, long long) override {}
        FailingBuffers* const mOwner;
    };

    IFileBufferRef CreateFileBuffer() override
    {
        FailAt("create");
        return makesNone ? nullptr : IFileBufferRef(new Buffer(this));
    }
    void FailAt(const std::string& inPlace)
    {
        seen += inPlace + " ";
        if (inPlace == failing)
            throw std::bad_alloc();
    }
    std::string failing;
    std::string seen;
    qelcore::Result initResult = kResult_OK;
    bool makesNone = false;
};

TEST_F(BufferedFileTest, ReadsSucceedWhereMemoryForBlocksIsShort)
{
    auto* const buffers = new FailingBuffers;
    Foundation::SetFileBufferFactory(IFileBufferFactoryRef(buffers));
    const std::pair<const char*, const char*> places[] = {{"create", "create "},
                                                          {"init", "create init "},
                                                          {"find", "create init find "},
                                                          {"add", "create init find add "}};
    for (const auto& place : places)
    {
        buffers->failing = place.first;
        buffers->seen.clear();
        File file;
        Open(file);
        EXPECT_EQ(mBytes, Read(file, mBytes.size())) << place.first;
        EXPECT_EQ(place.second, buffers->seen);
    }
}

TEST_F(BufferedFileTest, ReadsSucceedWhereBuffersAreRefused)
{
    auto* const buffers = new FailingBuffers;
    Foundation::SetFileBufferFactory(IFileBufferFactoryRef(buffers));
    buffers->initResult = qelcore::kResult_GeneralFailure;
    File file;
    Open(file);
    EXPECT_EQ(mBytes.substr(0, 10), Read(file, 10));

    buffers->makesNone = true;
    EXPECT_EQ(mBytes.substr(10, 10), Read(file, 10));
    EXPECT_EQ("create init create ", buffers->seen);
}

} // namespace
