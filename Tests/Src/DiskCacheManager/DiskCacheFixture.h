#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/optional/optional_io.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "DiskCacheManager.h"
#include "Support/FakeVolumeTable.h"
#include "Support/ManualExecutor.h"
#include "Support/MemoryFileSystem.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace RK
{
namespace DiskCacheManager
{

/// What the tests see of the inside of a manager.
struct ManagerProbe
{
    explicit ManagerProbe(Manager& inManager)
        : m(inManager)
    {
    }
    Manager& m;

    /// The tag under which inCall locked last, seen from within a lock around it.
    std::string TagOf(const std::function<void()>& inCall)
    {
        Manager::ScopedLock lock(m.mMutex, "around");
        inCall();
        const char* const tag = m.mMutex.HolderTag();
        return tag != nullptr ? tag : "";
    }
    bool LockIsFree()
    {
        if (!m.mMutex.TryLock("probe"))
            return false;
        m.mMutex.Unlock();
        return true;
    }
    std::size_t DirectoryRecordCount()
    {
        Manager::ScopedLock lock(m.mMutex, "probe");
        return m.mDirectories.size();
    }
    ManagedVolumeRecord VolumeRecordOf(const Path& inPath)
    {
        Manager::ScopedLock lock(m.mMutex, "probe");
        return m.mVolumes.at(inPath);
    }
    ManagedDirectoryRecord DirectoryRecordOf(const Path& inPath)
    {
        Manager::ScopedLock lock(m.mMutex, "probe");
        return m.mDirectories.at(inPath);
    }
    VolumeRecords Volumes()
    {
        Manager::ScopedLock lock(m.mMutex, "probe");
        return m.mVolumes;
    }
    DirectoryRecords Directories()
    {
        Manager::ScopedLock lock(m.mMutex, "probe");
        return m.mDirectories;
    }
};

} // namespace DiskCacheManager
} // namespace RK

namespace Testing
{

using boost::posix_time::hours;
using boost::posix_time::minutes;
using boost::posix_time::seconds;

constexpr std::int64_t kNow = 1700000000;
constexpr std::uint64_t kMiB = 1u << 20;
constexpr std::uint64_t kGiB = 1u << 30;
constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;

/// A manager of its own over files in memory, whose sweeps run when the test says so. The volume of "/"
/// has 100 GiB, of which 50 are free.
class DiskCacheTest : public ::testing::Test
{
protected:
    using Manager = RK::DiskCacheManager::Manager;
    using ManagedDirectoryPtr = RK::DiskCacheManager::ManagedDirectoryPtr;
    using Extensions = RK::DiskCacheManager::Extensions;
    static constexpr std::uint64_t kIntervalMs = 600000;

    DiskCacheTest() { mFiles.SetNow({kNow, 999999999}); }

    /// A file of the cache that was last used that long ago.
    void Put(const std::string& inPath, std::int64_t inAgeSeconds, std::uint64_t inBytes = 100)
    {
        const Platform::FileTime time = {kNow - inAgeSeconds, 0};
        mFiles.AddSizedFile(inPath, inBytes, time, time);
    }
    ManagedDirectoryPtr Manage(const qelcore::UTF16String& inPath,
                               const RK::DiskCacheManager::OptionalDuration& inBoost = boost::none)
    {
        mFiles.AddDirectory(qelcore::utility::UTF16ToFileName(inPath));
        return mManager.GetOrInitializeManagedDirectory(inPath, {u".rkdc"}, inBoost);
    }
    RK::DiskCacheManager::ManagedVolumePtr VolumeOf(const qelcore::UTF16String& inPath)
    {
        return mManager.GetOrInitializeManagedVolume(inPath, {});
    }
    /// Lifts every limit of a folder's volume but that of the free space.
    void FreeVolume(const qelcore::UTF16String& inPath)
    {
        mManager.SetVolumeFreeSpacePercentage(*VolumeOf(inPath), boost::none);
    }
    ManualExecutor& Background() { return *mExecutors.lastCreatedIO; }
    /// Lets one interval pass. @return how many sweeps that made.
    std::size_t PassInterval()
    {
        const std::size_t before = mSweeps;
        Background().Advance(kIntervalMs);
        HearMessages();
        return mSweeps - before;
    }
    void HearMessages() { qelcore::threads::RunMainThreadUntilIdle(); }
    RK::DiskCacheManager::ManagerProbe Inside()
    {
        return RK::DiskCacheManager::ManagerProbe(mManager);
    }
    std::vector<std::string> Left(const std::string& inFolder)
    {
        std::vector<std::string> names;
        std::unique_ptr<Platform::IDirectoryListing> listing;
        if (mFiles.List(inFolder, Platform::LinkPolicy::kFollow, listing) != 0)
            return names;
        Platform::DirectoryEntry entry;
        bool end = false;
        while (listing->Next(entry, end) == 0 && !end)
            names.push_back(entry.name);
        return names;
    }

    MemoryFileSystem mFiles;
    FakeVolumeTable mVolumes;
    ManualExecutorFactory mExecutors;
    qelcore::threads::ScopedExecutorFactory mExecutorScope{mExecutors};
    Manager mManager;
    std::size_t mSweeps = 0;       // heard of
    std::vector<bool> mRepeatings; // of these

private:
    struct Hearing : ZOR::Listener
    {
        explicit Hearing(DiskCacheTest& inTest)
            : test(inTest)
        {
            qelcore::threads::RegisterMainThread();
            ZOR::StationUtils::AddListener(test.mManager.GetStationID(), this);
        }
        ~Hearing() override
        {
            ZOR::StationUtils::RemoveListener(test.mManager.GetStationID(), this);
            qelcore::threads::UnregisterMainThread();
        }
        void ListenToMessage(const ZOR::Message& inMessage) override
        {
            using RK::DiskCacheManager::CleanCompleteMessage;
            ASSERT_EQ(CleanCompleteMessage::GetClassMessageID(), inMessage.GetMessageID());
            ++test.mSweeps;
            test.mRepeatings.push_back(
                static_cast<const CleanCompleteMessage&>(inMessage).IsRepeating());
        }
        DiskCacheTest& test;
    };
    Hearing mHearing{*this};
};

} // namespace Testing
