// Buffered files on the real disks of this machine, whose times move in steps.
#include "BufferedFileFixture.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Foundation/Platform/Src/LinuxFileSystem.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/TextConversion.h"

namespace
{

using qelcore::kResult_OK;
using Testing::BytesKept;
using Testing::kBlock;
using Testing::OpenBuffered;
using Testing::Pattern;
using Testing::Read;
using Testing::ReadAt;
using ZOR::File;

/// The real one, whose clock can go ahead of the one that stamps files; it counts the reads.
class AheadFileSystem : public Platform::LinuxFileSystem
{
public:
    Platform::FileTime Now() override
    {
        Platform::FileTime now = LinuxFileSystem::Now();
        const std::int64_t nanoseconds = now.nanoseconds + mAheadMilliseconds % 1000 * 1000000;
        now.seconds += mAheadMilliseconds / 1000 + nanoseconds / 1000000000;
        now.nanoseconds = static_cast<std::uint32_t>(nanoseconds % 1000000000);
        return now;
    }
    int ReadAt(Platform::FileHandle inFile, std::uint64_t inOffset, void* outBytes,
               std::size_t inSize, std::size_t& outGot) override
    {
        ++mReads;
        return LinuxFileSystem::ReadAt(inFile, inOffset, outBytes, inSize, outGot);
    }
    std::atomic<std::int64_t> mAheadMilliseconds{0};
    std::atomic<int> mReads{0};

private:
    Platform::ScopedFileSystem mScope{*this};
};

class RealBufferedFile : public ::testing::TestWithParam<const char*>
{
protected:
    void SetUp() override
    {
        if (access(GetParam(), W_OK) != 0)
            GTEST_SKIP() << GetParam() << " is not there to write to";
        mFolder = std::make_unique<Testing::TemporaryFolder>(GetParam());
        Write(Pattern(2 * kBlock));
        if (!StampsChanges())
            GTEST_SKIP() << GetParam() << " is on a volume whose times do not tell each change";
    }
    ~RealBufferedFile() override { Testing::PurgeAll(); }

    std::string Path() const { return mFolder->Path("clip"); }
    void Write(const std::string& inBytes) { mFolder->Write("clip", inBytes); }
    void Overwrite(std::uint64_t inOffset, const std::string& inBytes)
    {
        const int file = open(Path().c_str(), O_WRONLY | O_CLOEXEC);
        ASSERT_EQ(static_cast<ssize_t>(inBytes.size()),
                  pwrite(file, inBytes.data(), inBytes.size(), static_cast<off_t>(inOffset)));
        ASSERT_EQ(0, close(file));
    }
    void OpenIt(File& ioFile)
    {
        ASSERT_EQ(kResult_OK, OpenBuffered(ioFile, qelcore::utility::FileNameToUTF16(Path())));
    }
    timespec Changed() const
    {
        struct stat status = {};
        EXPECT_EQ(0, stat(Path().c_str(), &status));
        return status.st_ctim;
    }
    /// Writes the same bytes again until the file's time of change moves on.
    void OverwriteUntilTimeMoves(std::uint64_t inOffset, const std::string& inBytes)
    {
        const timespec before = Changed();
        do
            Overwrite(inOffset, inBytes);
        while (Changed().tv_sec == before.tv_sec && Changed().tv_nsec == before.tv_nsec);
    }

    AheadFileSystem mFiles;
    RK::Initializer mLibrary;
    std::unique_ptr<Testing::TemporaryFolder> mFolder;

private:
    bool StampsChanges()
    {
        Platform::FileHandle file = Platform::kNoFile;
        Platform::VolumeTraits volume;
        EXPECT_EQ(0, mFiles.Open(Path(), {}, file));
        EXPECT_EQ(0, mFiles.VolumeOf(file, volume));
        mFiles.Close(file);
        return volume.stampsChanges;
    }
};

TEST_P(RealBufferedFile, ChangesInQuickSuccessionAreAllSeen)
{
    File file;
    OpenIt(file);
    for (unsigned i = 0; i < 60; ++i)
    {
        const std::string bytes = Pattern(2000, i);
        Overwrite(kBlock - 1000, bytes);
        ASSERT_EQ(bytes, ReadAt(file, kBlock - 1000, 2000)) << i;
        ASSERT_EQ(0, truncate(Path().c_str(), static_cast<off_t>(kBlock + i)));
        ASSERT_EQ(kBlock + i, ReadAt(file, 0, 2 * kBlock).size()) << i;
        ASSERT_EQ(0, truncate(Path().c_str(), 2 * kBlock));
        ASSERT_EQ(std::string(10, '\0'), ReadAt(file, kBlock + i, 10)) << i;
        mFolder->Write("new", Pattern(2 * kBlock, i + 1000));
        std::filesystem::rename(mFolder->Path("new"), Path());
        file.Close();
        OpenIt(file);
        ASSERT_EQ(Pattern(2 * kBlock, i + 1000).substr(0, 10), Read(file, 10)) << i;
    }
}

TEST_P(RealBufferedFile, ASettledFileIsKeptAndItsChangesAreSeen)
{
    mFiles.mAheadMilliseconds = 20000;
    File file;
    OpenIt(file);
    for (unsigned i = 0; i < 20; ++i)
    {
        const std::string kept = ReadAt(file, 0, kBlock);
        const int reads = mFiles.mReads;
        File other;
        OpenIt(other);
        ASSERT_EQ(kept, ReadAt(other, 0, kBlock));
        ASSERT_EQ(reads, mFiles.mReads) << "a settled block was read again";

        const std::string bytes = Pattern(100, i);
        OverwriteUntilTimeMoves(50, bytes);
        ASSERT_EQ(bytes, ReadAt(file, 50, 100)) << i;
        ASSERT_EQ(bytes, ReadAt(other, 50, 100)) << i;
    }
}

TEST_P(RealBufferedFile, ACopiedTimeOfModificationDoesNotHideAChange)
{
    mFiles.mAheadMilliseconds = 20000;
    File file;
    OpenIt(file);
    ReadAt(file, 0, 10);
    struct stat before = {};
    ASSERT_EQ(0, stat(Path().c_str(), &before));

    OverwriteUntilTimeMoves(0, "changed");
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(0, utimensat(AT_FDCWD, Path().c_str(), times, 0));
    EXPECT_EQ("changed", ReadAt(file, 0, 7));
}

// Each 64-bit word of the file is the number of the overwrite that put it there. A read may meet an
// overwrite half-way, but no word may be older than the last overwrite that ended before the read
// began. The clock is ahead by so much that blocks settle after 300 ms: more than a step of the times, and more
// than an overwrite takes unless the machine is very busy.
TEST_P(RealBufferedFile, NoWordIsOlderThanTheReadWhileAWriterOverwrites)
{
    constexpr std::size_t kWords = kBlock / sizeof(std::uint64_t) + 100;
    constexpr std::uint64_t kOverwrites = 6;
    constexpr std::chrono::milliseconds kSettle{300};
    mFiles.mAheadMilliseconds = 10000 - kSettle.count();
    Write(std::string(kWords * sizeof(std::uint64_t), '\0'));
    std::atomic<std::uint64_t> begun{0}, ended{0};
    std::atomic<bool> stop{false};
    std::atomic<std::uint64_t> stale{0}, early{0};
    const auto read = [&]
    {
        File file;
        OpenIt(file);
        std::vector<std::uint64_t> words(kWords);
        std::size_t got = 0;
        while (!stop)
        {
            const std::uint64_t oldest = ended;
            file.ReadAt(0, words.data(), kWords * sizeof(std::uint64_t), got);
            const std::uint64_t newest = begun;
            for (const std::uint64_t word : words)
            {
                stale += word < oldest ? 1 : 0;
                early += word > newest ? 1 : 0;
            }
        }
    };
    std::thread readers[3];
    for (std::thread& reader : readers)
        reader = std::thread(read);
    std::chrono::steady_clock::duration slowest{0};
    for (std::uint64_t number = 1; number <= kOverwrites; ++number)
    {
        const std::vector<std::uint64_t> words(kWords, number);
        begun = number;
        const auto start = std::chrono::steady_clock::now();
        Overwrite(0, std::string(reinterpret_cast<const char*>(words.data()),
                                 kWords * sizeof(std::uint64_t)));
        slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
        ended = number;
        if (number % 3 == 0)
            Testing::PurgeAll();
        const std::uint64_t keptBefore = BytesKept();
        // Until this content settles and is kept, unless what is kept is stale.
        while (number % 4 != 0 && stale == 0 && BytesKept() <= keptBefore)
            std::this_thread::yield();
    }
    stop = true;
    for (std::thread& reader : readers)
        reader.join();

    if (slowest > kSettle / 2)
        GTEST_SKIP() << "the machine is too busy: a write took about as long as blocks to settle";
    EXPECT_EQ(0u, stale);
    EXPECT_EQ(0u, early);
}

INSTANTIATE_TEST_SUITE_P(Volumes, RealBufferedFile, ::testing::Values("/tmp", "/dev/shm"),
                         [](const auto& inInfo)
                         { return std::string(inInfo.param) == "/tmp" ? "Disk" : "Memory"; });

} // namespace
