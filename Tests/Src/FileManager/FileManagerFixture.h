#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FileManager/FileManager.h"
#include "Support/ManualExecutor.h"
#include "ZOR/CountedObject.h"
#include "ZOR/WeakReference.h"
#include "qelcore/TextConversion.h"

namespace RK
{

/// What the tests see of the inside of a manager.
struct FileManagerProbe
{
    explicit FileManagerProbe(FileManagerImpl& inManager)
        : m(inManager)
    {
    }
    FileManagerImpl& m;

    bool Purging() const
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(m.mMutex, "FileManagerProbe");
        return m.mPurging;
    }
    std::size_t ListedCount() const
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(m.mMutex, "FileManagerProbe");
        return m.mFiles.size();
    }
    /// The sum of the counts that are listed, which the open count must be while nobody registers.
    std::uint64_t SumOfListed() const
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(m.mMutex, "FileManagerProbe");
        std::uint64_t sum = 0;
        for (const auto& file : m.mFiles)
            sum += file.second.first;
        return sum;
    }
    /// Whether another thread finds the lock free.
    bool LockIsFree() const
    {
        bool free = false;
        std::thread(
            [this, &free]
            {
                if (!m.mMutex.TryLock("FileManagerProbe"))
                    return;
                free = true;
                m.mMutex.Unlock();
            })
            .join();
        return free;
    }
    /// Drops the files of dead owners, as any snapshot does.
    void Snapshot() { m.FlushWeakReferences(); }
};

} // namespace RK

namespace Testing
{

using FileIDs = std::vector<std::uint32_t>;

inline qelcore::UTF16String PathOf(std::uint32_t inFileID)
{
    const std::string number = std::to_string(inFileID);
    return u"/clips/" + qelcore::utility::AsciiToUTF16(number.data(), number.size());
}

/// An owner that closes what it is asked to and unregisters that, unless the test says otherwise.
/// The number of a file is its priority. Base decides whether there are weak references to it.
template <class Base>
class FileOwner : public Base
{
public:
    ~FileOwner() override
    {
        if (onEnd)
            onEnd();
    }

    qelcore::Result CloseOpenFile(std::uint32_t inFileID) override
    {
        asked.push_back(inFileID);
        if (onClose)
            return onClose(inFileID);
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFileID);
        return qelcore::kResult_OK;
    }
    std::uint64_t GetOpenFilePriority(std::uint32_t inFileID) override
    {
        return onPriority ? onPriority(inFileID) : inFileID;
    }

    FileIDs asked;
    std::function<qelcore::Result(std::uint32_t)> onClose;
    std::function<std::uint64_t(std::uint32_t)> onPriority;
    std::function<void()> onEnd;
};

using WeakOwner = FileOwner<ZOR::WeakCountedObject<RK::IOpenFileOwner>>;
using StrongOwner = FileOwner<ZOR::CountedObject<RK::IOpenFileOwner>>;
using WeakOwnerRef = ZOR::InterfaceRef<WeakOwner, RK::IOpenFileOwner>;
using StrongOwnerRef = ZOR::InterfaceRef<StrongOwner, RK::IOpenFileOwner>;

/// A manager whose background work runs only when the test runs it.
class FileManagerTest : public ::testing::Test
{
protected:
    FileManagerTest() { RK::FileManager::Startup(); }
    ~FileManagerTest() override
    {
        mOwner->onClose = nullptr;
        RK::FileManager::Shutdown();
    }

    template <class Owner>
    static void Register(const ZOR::InterfaceRef<Owner, RK::IOpenFileOwner>& inOwner,
                         std::uint32_t inFileID, std::uint32_t inCount = 1)
    {
        RK::FileManager::RegisterOpenFile(inOwner, PathOf(inFileID), inFileID, inCount);
    }
    void Register(std::uint32_t inFileID, std::uint32_t inCount = 1)
    {
        Register(mOwner, inFileID, inCount);
    }
    void RegisterRange(std::uint32_t inFirst, std::uint32_t inLast)
    {
        for (std::uint32_t fileID = inFirst; fileID <= inLast; ++fileID)
            Register(fileID);
    }
    void Unregister(std::uint32_t inFileID)
    {
        RK::FileManager::UnregisterOpenFile(mOwner, inFileID);
    }
    static std::uint64_t OpenCount() { return Running().GetOpenCount(); }
    static RK::FileManagerProbe Inside() { return RK::FileManagerProbe(Running()); }
    static void ExpectBooksToAgree() { EXPECT_EQ(Inside().SumOfListed(), OpenCount()); }
    std::size_t RunLazyPurges() { return executors.lastCreatedIO->RunQueued(); }
    std::size_t QueuedLazyPurges() { return executors.lastCreatedIO->DueCount(); }
    static FileIDs Range(std::uint32_t inFirst, std::uint32_t inLast)
    {
        FileIDs ids;
        for (std::uint32_t fileID = inFirst; fileID <= inLast; ++fileID)
            ids.push_back(fileID);
        return ids;
    }

    ManualExecutorFactory executors;
    qelcore::threads::ScopedExecutorFactory executorScope{executors};
    WeakOwnerRef mOwner{new WeakOwner};

private:
    static RK::FileManagerImpl& Running() { return *RK::Details::RunningFileManager(); }
};

} // namespace Testing
