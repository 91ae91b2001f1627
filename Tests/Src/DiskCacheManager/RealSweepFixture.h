#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <boost/optional/optional_io.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include "RiverKit/RKDiskCacheManager.h"
#include "Support/TemporaryFolder.h"
#include "ZORMessaging/Station.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace Testing
{

constexpr std::int64_t kDay = 86400; // seconds
inline const std::vector<qelcore::UTF16String> kExtensions = {u".rkdc"};

/// A folder of the real disk and the process's manager, which sweeps a millisecond after it is asked to.
class RealSweep : public ::testing::Test
{
protected:
    RealSweep()
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("RKDiskCacheManager.DiskSweepInterval",
                                                           "1");
    }
    ~RealSweep() override
    {
        qelcore::debug::DebugDatabase::Instance().RemoveEntry(
            "RKDiskCacheManager.DiskSweepInterval");
    }
    void Age(const std::string& inName, std::int64_t inSeconds) const
    {
        const timespec time = {::time(nullptr) - inSeconds, 0};
        const timespec times[2] = {time, time};
        ASSERT_EQ(0, utimensat(AT_FDCWD, mFolder.Path(inName).c_str(), times, AT_SYMLINK_NOFOLLOW));
    }
    void Put(const std::string& inName, std::int64_t inAgeSeconds, std::size_t inBytes = 100) const
    {
        mFolder.Write(inName, std::string(inBytes, 'x'));
        Age(inName, inAgeSeconds);
    }
    RK::DiskCacheManager::ManagedDirectoryPtr Manage() const
    {
        return RK::DiskCacheManager::ManagedDirectory::Create(
            qelcore::utility::FileNameToUTF16(mFolder.Path()), kExtensions, boost::none);
    }
    /// Runs the main thread until a sweep that began after this call has told its end.
    static void WaitForSweep()
    {
        EndOfSweep end;
        qelcore::threads::RegisterMainThread();
        ASSERT_TRUE(ZOR::StationUtils::AddListener(RK::DiskCacheManager::GetStationID(), &end));
        for (int i = 0; i < 2; ++i) // the first one may have been under way
            qelcore::threads::RunMainThreadUntilStopped();
        ZOR::StationUtils::RemoveListener(RK::DiskCacheManager::GetStationID(), &end);
        qelcore::threads::UnregisterMainThread();
    }
    std::vector<std::string> Left() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder.Path()))
            names.push_back(entry.path().filename().string());
        return names;
    }

    TemporaryFolder mFolder;

private:
    /// Ends the wait for a sweep.
    struct EndOfSweep : ZOR::Listener
    {
        void ListenToMessage(const ZOR::Message& inMessage) override
        {
            using RK::DiskCacheManager::CleanCompleteMessage;
            if (inMessage.GetMessageID() == CleanCompleteMessage::GetClassMessageID())
                qelcore::threads::StopMainThread();
        }
    };
};

} // namespace Testing
