// Many readers of one file, a writer that overwrites it, and purges.
#include "BufferedFileFixture.h"

#include <atomic>
#include <string>
#include <thread>

namespace
{

using Testing::kBlock;
using Testing::kPath;
using ZOR::File;

/// What a reader saw in its blocks.
struct Findings
{
    std::atomic<int> mMixed{0}; // a block of two overwrites
    std::atomic<int> mStale{0}; // of one older than the last that had ended when the read began
    std::atomic<int> mEarly{0}; // of one that had not begun when the read ended
};

// Every byte of the file is the number of the overwrite that put it there, and files in memory are
// overwritten and read in one piece, so that a block must be of one number.
void CheckBlocks(const std::string& inBytes, int inOldest, int inNewest, Findings& ioFindings)
{
    for (std::size_t start = 0; start < inBytes.size(); start += kBlock)
    {
        const std::size_t end = std::min(start + kBlock, inBytes.size());
        const char number = inBytes[start];
        if (inBytes.find_first_not_of(number, start) < end)
            ++ioFindings.mMixed;
        ioFindings.mStale += number < inOldest ? 1 : 0;
        ioFindings.mEarly += number > inNewest ? 1 : 0;
    }
}

TEST(BufferedFileStress, EightReadersAWriterAndPurgesNeverSeeAStaleOrAMixedBlock)
{
    constexpr std::size_t kSize = 2 * kBlock + 5000;
    constexpr int kOverwrites = 36;
    constexpr int kReaders = 8;
    Testing::MemoryFileSystem files;
    files.AddFile(kPath, std::string(kSize, '\0'));
    RK::Initializer library;
    std::atomic<int> begun{0}, ended{0}, reads{0};
    std::atomic<bool> stop{false};
    Findings findings;
    const auto read = [&]
    {
        File file;
        ASSERT_EQ(qelcore::kResult_OK, Testing::OpenBuffered(file, u"/d/clip"));
        while (!stop)
        {
            const int oldest = ended;
            const std::string bytes = Testing::ReadAt(file, 0, kSize);
            CheckBlocks(bytes, oldest, begun, findings);
            ++reads;
        }
    };
    std::thread readers[kReaders];
    for (std::thread& reader : readers)
        reader = std::thread(read);
    for (int number = 1; number <= kOverwrites; ++number)
    {
        begun = number;
        files.Overwrite(kPath, 0, std::string(kSize, static_cast<char>(number)));
        ended = number;
        const int before = reads;
        if (number % 2 == 0)
            files.AdvanceSeconds(11); // what is there settles, and is kept
        while (reads < before + kReaders)
        {
            if (number % 3 == 0)
                Testing::PurgeAll();
            std::this_thread::yield();
        }
    }
    stop = true;
    for (std::thread& reader : readers)
        reader.join();

    EXPECT_EQ(0, findings.mMixed);
    EXPECT_EQ(0, findings.mStale);
    EXPECT_EQ(0, findings.mEarly);
    EXPECT_LT(0u, Testing::BytesKept());
    Testing::PurgeAll();
    EXPECT_EQ(0u, Testing::BytesKept());
}

} // namespace
