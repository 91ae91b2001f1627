// A reader as RKFileManager.h shows one, on real files, in a process that may hold few of them.
#include <atomic>
#include <random>
#include <stdexcept>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include "RKFileManager.h"
#include "Support/ChildProcess.h"
#include "ZOR/WeakReference.h"
#include "qelcore/Mutex.h"

namespace
{

using qelcore::threads::Lock;
using qelcore::threads::Mutex;

constexpr char kFile[] = "/proc/self/status";

std::atomic<std::uint64_t> sUses{0};

class Reader : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
{
public:
    ~Reader() override
    {
        std::uint32_t opening = 0;
        {
            Lock lock(mMutex);
            CloseFile();
            opening = mOpening;
        }
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), opening);
    }
    /// @return whether it could.
    bool Read()
    {
        std::uint32_t opened = 0;
        bool read = false;
        {
            Lock lock(mMutex);
            if (OpenIfClosed())
                opened = ++mOpening;
            mLastUse = ++sUses;
            char byte = 0;
            read = mFile >= 0 && pread(mFile, &byte, 1, 0) == 1;
        }
        if (opened != 0)
            RK::FileManager::RegisterOpenFile(RK::IOpenFileOwnerRef(this), u"/proc/self/status",
                                              opened, 1);
        return read;
    }
    qelcore::Result CloseOpenFile(std::uint32_t inFileID) override
    {
        {
            Lock lock(mMutex);
            if (inFileID == mOpening)
                CloseFile();
        }
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFileID);
        return qelcore::kResult_OK;
    }
    std::uint64_t GetOpenFilePriority(std::uint32_t) override { return mLastUse; }

private:
    bool OpenIfClosed() RK_REQUIRES(mMutex)
    {
        if (mFile >= 0)
            return false;
        mFile = open(kFile, O_RDONLY | O_CLOEXEC);
        return mFile >= 0;
    }
    void CloseFile() RK_REQUIRES(mMutex)
    {
        if (mFile >= 0)
            close(mFile);
        mFile = -1;
    }

    Mutex mMutex;
    int mFile RK_GUARDED_BY(mMutex) = -1;
    std::uint32_t mOpening RK_GUARDED_BY(mMutex) = 0;
    std::atomic<std::uint64_t> mLastUse{0};
};

using ReaderRef = ZOR::InterfaceRef<Reader, RK::IOpenFileOwner>;

/// While others close, more may be opened than the hard limit says: then their turn comes first.
bool ReadSoonerOrLater(Reader& ioReader, int inMostTries)
{
    for (int tries = 0; tries < inMostTries; ++tries)
    {
        if (ioReader.Read())
            return true;
        std::this_thread::yield();
    }
    return false;
}

/// Reads through far more readers than the process may hold files.
/// @return 0, or 1 if a read found no descriptor, however often it tried.
int ReadThroughMany(bool inUnderSuggestedLimits, int inMostTries)
{
    constexpr unsigned kThreads = 4;
    const rlimit limit = {96, 96};
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        throw std::runtime_error("the limit cannot be set");
    RK::FileManager::Startup();
    std::uint32_t soft = 1000, hard = 1000;
    if (inUnderSuggestedLimits)
        RK::FileManager::GetSuggestedOpenFileLimits(soft, hard);
    RK::FileManager::SetOpenFileLimits(soft, hard);

    std::vector<ReaderRef> readers;
    for (int i = 0; i < 300; ++i)
        readers.push_back(ReaderRef(new Reader));
    std::atomic<bool> failed{false};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < kThreads; ++thread)
        threads.emplace_back(
            [&readers, &failed, thread, inMostTries]
            {
                std::mt19937 random(thread);
                for (int read = 0; read < 3000 && !failed; ++read)
                {
                    if (!ReadSoonerOrLater(*readers[random() % readers.size()], inMostTries))
                        failed = true;
                }
            });
    for (std::thread& thread : threads)
        thread.join();
    readers.clear();
    RK::FileManager::Shutdown();
    return failed ? 1 : 0;
}

TEST(RealReaders, AlwaysGetADescriptorUnderTheSuggestedLimits)
{
    EXPECT_EQ(0, Testing::RunInChild([] { return ReadThroughMany(true, 100000000); }));
}

TEST(RealReaders, RunOutOfDescriptorsWithoutLimits)
{
    EXPECT_EQ(1, Testing::RunInChild([] { return ReadThroughMany(false, 1000); }));
}

} // namespace
