#pragma once

#include <algorithm>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RKVolumeUtilities.h"
#include "Support/FakeVolumeTable.h"
#include "Support/TemporaryFolder.h"
#include "VolumeUtilities.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/DebugDatabase.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace RKTests
{

using RK::VolumeUtilities::Volume;
using RK::VolumeUtilities::Volumes;

inline qelcore::UTF16String Wide(const std::string& inText)
{
    return qelcore::utility::FileNameToUTF16(inText);
}
inline std::string Narrow(const qelcore::utility::ImmutableString& inText)
{
    return qelcore::utility::UTF16ToFileName(inText.ToString());
}
inline qelcore::utility::ImmutableString Text(const char* inText)
{
    return qelcore::utility::ImmutableString::CreateDynamic(inText);
}

inline Volume MakeVolume(const char* inPath, const char* inName = nullptr, std::uint32_t inType = 0)
{
    Volume volume;
    volume.VolumePath = Text(inPath);
    volume.FriendlyName = Text(inName);
    volume.VolumeType = inType;
    return volume;
}

inline std::vector<std::string> PathsOf(const Volumes& inVolumes)
{
    std::vector<std::string> paths;
    for (const Volume& volume : inVolumes)
        paths.push_back(Narrow(volume.VolumePath));
    std::sort(paths.begin(), paths.end());
    return paths;
}

/// Counts what is told of volumes, and on which thread.
class VolumesRecorder : public ZOR::Listener
{
public:
    VolumesRecorder()
    {
        ZOR::StationUtils::AddListener(RK::VolumeUtilities::GetVolumesChangedStationID(), this);
    }
    ~VolumesRecorder() override
    {
        ZOR::StationUtils::RemoveListener(RK::VolumeUtilities::GetVolumesChangedStationID(), this);
    }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        if (inMessage.GetMessageID() ==
            RK::VolumeUtilities::VolumesChangedMessage::GetClassMessageID())
            mThreads.push_back(std::this_thread::get_id());
    }
    std::vector<std::thread::id> mThreads;
};

// The library's part with a made-up table, in which "/" is ext4, and no cloud folders.
class VolumesTest : public testing::Test
{
protected:
    VolumesTest()
    {
        qelcore::threads::RegisterMainThread();
        ZOR::Messaging::Initialize();
        qelcore::debug::DebugDatabase::Instance().SetEntry("SkyAtelier.SyncFolder",
                                                           mSyncFolder.Path("Sync"));
        RK::VolumeUtilities::Startup();
        mRecorder = std::make_unique<VolumesRecorder>();
    }
    ~VolumesTest() override
    {
        RK::VolumeUtilities::Shutdown();
        RK::VolumeUtilities::AddSkyAtelierLibrariesDirectoryAsVolume(qelcore::UTF16String());
        RK::VolumeUtilities::VolumesHolder::Instance()->SetVolumes(Volumes());
        qelcore::threads::RunMainThreadUntilIdle();
        mRecorder.reset();
        qelcore::debug::DebugDatabase::Instance().RemoveEntry("SkyAtelier.SyncFolder");
        ZOR::Messaging::Terminate();
    }

    /// How many messages were told since the last call.
    std::size_t Told()
    {
        qelcore::threads::RunMainThreadUntilIdle();
        return std::exchange(mRecorder->mThreads, {}).size();
    }
    /// Starts discovery, and takes the message of it.
    void Discover()
    {
        RK::VolumeUtilities::InitializeDriveDiscovery();
        Told();
    }
    /// The system tells that its table has changed. @return the messages that follow.
    std::size_t Change()
    {
        mVolumes.TellChange();
        return Told();
    }
    static Volumes Known()
    {
        Volumes volumes;
        RK::VolumeUtilities::GetVolumes(volumes);
        return volumes;
    }
    static std::vector<std::string> Paths() { return PathsOf(Known()); }
    /// The volume of that path; a default one, and a failure, if there is none.
    static Volume At(const std::string& inPath)
    {
        for (const Volume& volume : Known())
            if (Narrow(volume.VolumePath) == inPath)
                return volume;
        ADD_FAILURE() << "no volume at " << inPath;
        return Volume();
    }
    std::string MakeSyncFolder() const { return mSyncFolder.MakeFolder("Sync"); }

    Testing::FakeVolumeTable mVolumes;
    const Testing::TemporaryFolder mSyncFolder;
    std::unique_ptr<VolumesRecorder> mRecorder;
};

} // namespace RKTests
