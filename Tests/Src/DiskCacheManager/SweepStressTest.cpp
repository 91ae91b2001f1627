// Setters, handles that come and go, and sweeps, all at once on real threads.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <boost/optional/optional_io.hpp>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include "DiskCacheManager.h"
#include "Support/TemporaryFolder.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DiskCacheManager;

constexpr int kSetters = 8;
constexpr int kRounds = 150;
constexpr int kFiles = 40;

class SweepStress : public ::testing::Test
{
protected:
    SweepStress()
    {
        qelcore::debug::DebugDatabase::Instance().SetEntry("RKDiskCacheManager.DiskSweepInterval",
                                                           "1");
    }
    ~SweepStress() override
    {
        qelcore::debug::DebugDatabase::Instance().RemoveEntry(
            "RKDiskCacheManager.DiskSweepInterval");
    }
    void Put(const std::string& inName, std::int64_t inAgeSeconds) const
    {
        const std::string path = mFolder.Write(inName, "12345");
        const timespec time = {::time(nullptr) - inAgeSeconds, 0};
        const timespec times[2] = {time, time};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    }
    qelcore::UTF16String Folder(int inNumber) const
    {
        return qelcore::utility::FileNameToUTF16(mFolder.Path("f" + std::to_string(inNumber)));
    }
    static void SetAndGetLimits(Manager& ioManager, const ManagedDirectory& inDirectory,
                                int inRound)
    {
        ioManager.SetDirectoryMaxFileCount(inDirectory, inRound % 7);
        ioManager.SetDirectoryMaxUsedBytes(inDirectory, 5 * (inRound % 5));
        ioManager.SetDirectoryDeleteEmptySubDirectories(inDirectory, inRound % 2 == 0);
        ioManager.SetDirectoryPriorityBoost(inDirectory,
                                            OptionalDuration(boost::posix_time::seconds(inRound)));
        ioManager.SetDirectoryAutomaticExpiryDuration(
            inDirectory, OptionalDuration(boost::posix_time::hours(inRound % 3)));
        ioManager.GetDirectoryMaxFileCount(inDirectory);
        ioManager.GetDirectoryMaxUsedBytes(inDirectory);
        ioManager.GetDirectoryDeleteEmptySubDirectories(inDirectory);
        ioManager.GetDirectoryPriorityBoost(inDirectory);
        ioManager.GetDirectoryAutomaticExpiryDuration(inDirectory);
    }
    static void SetAndGetLimits(Manager& ioManager, const ManagedVolume& inVolume, int inRound)
    {
        ioManager.SetVolumeMaxUsedBytes(inVolume, inRound);
        ioManager.SetVolumeFreeSpaceBytes(inVolume, inRound);
        ioManager.SetVolumeFreeSpacePercentage(inVolume, static_cast<float>(inRound % 10));
        ioManager.GetVolumeMaxUsedBytes(inVolume);
        ioManager.GetVolumeFreeSpaceBytes(inVolume);
        ioManager.GetVolumeFreeSpacePercentage(inVolume);
        ioManager.IsCloseToFull(inVolume);
    }
    static SweepReportPtr SweepOnDemand(Manager& ioManager, bool inDryRun)
    {
        SweepOptions options;
        options.dryRun = inDryRun;
        options.nameFiles = true;
        if (inDryRun)
            options.onProgress = [](const SweepProgress&) {};
        return ioManager.SweepNow(options);
    }
    /// Reads all of it: a report never changes once it is there.
    static void LookAtReport(const SweepReportPtr& inReport)
    {
        if (!inReport)
            return;
        for (const DirectorySweepReport& directory : inReport->directories)
        {
            SweepAmount gone = directory.gone;
            for (const SweepAmount& deleted : directory.deleted)
                gone = {gone.files + deleted.files, gone.bytes + deleted.bytes};
            EXPECT_EQ(directory.found.files, directory.left.files + gone.files);
            EXPECT_EQ(directory.found.bytes, directory.left.bytes + gone.bytes);
        }
    }
    /// What one client does all day.
    void Set(Manager& ioManager, int inNumber) const
    {
        for (int i = 0; i < kRounds; ++i)
        {
            const ManagedDirectoryPtr own = ioManager.GetOrInitializeManagedDirectory(
                Folder(inNumber), {u".rkdc"}, boost::none);
            const ManagedDirectoryPtr common =
                ioManager.GetOrInitializeManagedDirectory(Folder(0), {u".rkdc"}, boost::none);
            SetAndGetLimits(ioManager, *own, i);
            SetAndGetLimits(ioManager, *common, i + inNumber);
            ioManager.AddFileExtensionsAllowedToDelete(*common, {u".x"});
            if (i % 50 == 0)
                ioManager.DisableRepeatDiskSweep(*own);
            SetAndGetLimits(ioManager,
                            *ioManager.GetOrInitializeManagedVolume(Folder(0), {u".rkdc"}), i);
            LookAtReport(ioManager.GetLastSweepReport());
            if (i % 40 == inNumber)
                LookAtReport(SweepOnDemand(ioManager, inNumber % 2 == 0));
            Put("f" + std::to_string(inNumber) + "/" + std::to_string(i % kFiles) + ".rkdc", 7200);
        }
    }
    bool Has(const std::string& inName) const
    {
        struct stat status;
        return stat(mFolder.Path(inName).c_str(), &status) == 0;
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(SweepStress, SettersAndSweepsTogetherLoseNothingThatIsNotClaimedOrStillInUse)
{
    for (int folder = 0; folder <= kSetters; ++folder)
    {
        const std::string name = "f" + std::to_string(folder);
        Put(name + "/young.rkdc", 0);
        Put(name + "/foreign.mov", 7200);
        Put(name + "/sub/foreign.mov", 7200);
        for (int i = 0; i < kFiles; ++i)
            Put(name + "/sub/" + std::to_string(i) + ".rkdc", 7200 + i);
    }
    {
        Manager manager;
        std::vector<std::thread> setters;
        for (int number = 1; number <= kSetters; ++number)
            setters.emplace_back([this, &manager, number] { Set(manager, number); });
        for (std::thread& setter : setters)
            setter.join();
        std::thread stop([&manager] { manager.Shutdown(); });
        const ManagedDirectoryPtr late =
            manager.GetOrInitializeManagedDirectory(Folder(0), {u".rkdc"}, boost::none);
        manager.SetDirectoryMaxFileCount(*late, 1);
        stop.join();
        EXPECT_EQ(OptionalBytes(1), manager.GetDirectoryMaxFileCount(*late));
    }
    for (int folder = 0; folder <= kSetters; ++folder)
    {
        const std::string name = "f" + std::to_string(folder);
        EXPECT_TRUE(Has(name + "/young.rkdc"));
        EXPECT_TRUE(Has(name + "/foreign.mov"));
        EXPECT_TRUE(Has(name + "/sub/foreign.mov"));
    }
}

} // namespace
