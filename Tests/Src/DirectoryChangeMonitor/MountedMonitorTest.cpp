// The monitor over the real mount table, in a child process with mounts of its own.
#include <gtest/gtest.h>

#include <sys/mount.h>

#include "RKDirectoryChangeMonitor.h"
#include "RKInitializer.h"
#include "Support/ChildProcess.h"
#include "Support/FaultyMount.h"
#include "Support/TemporaryFolder.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace RK::DirectoryChangeMonitor;

constexpr int kCannotMount = 98;

const auto* const sMounts = Testing::UsePrivateMounts();

class Listener : public ZOR::Listener
{
public:
    Listener() { ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, this); }
    ~Listener() override { ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, this); }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        if (inMessage.GetMessageID() == RK::VolumeChangedMessage::GetClassMessageID())
            ++mCount;
        else if (inMessage.GetMessageID() == RK::DirectoryPollingMessage::GetClassMessageID())
            ++mPolls;
        else
            ++mOthers;
    }
    int mCount = 0;
    int mPolls = 0;
    int mOthers = 0;
};

bool MountAt(const std::string& inPath)
{
    return mount("none", inPath.c_str(), "tmpfs", 0, nullptr) == 0;
}

/// Mounts and unmounts until the monitor, whose watch begins on a thread of its own, tells it.
/// @return false if it does not within 20 s.
bool IsToldOfMounts(const std::string& inPath, const Listener& inListener)
{
    for (int i = 0; i < 1000 && inListener.mCount == 0; ++i)
    {
        if (!MountAt(inPath) || umount(inPath.c_str()) != 0)
            return false;
        qelcore::threads::RunMainThreadFor(20);
    }
    return inListener.mCount != 0;
}

TEST(MountedMonitor, AMountAndAnUnmountAreToldUntilTheWatchEnds)
{
    RK_NEEDS_MOUNTS();
    const Testing::TemporaryFolder folder;
    const int answer = Testing::RunInChild(
        [&]
        {
            if (!Testing::EnterPrivateMounts() || !MountAt(folder.Path()))
                return kCannotMount;
            umount(folder.Path().c_str());
            qelcore::threads::RegisterMainThread();
            const RK::Initializer library;
            Listener listener;
            MonitorVolumeChanges();
            if (!IsToldOfMounts(folder.Path(), listener))
                return 1;
            qelcore::threads::RunMainThreadFor(200);
            StopMonitoringVolumeChanges();
            qelcore::threads::RunMainThreadFor(200);
            listener.mCount = 0;
            MountAt(folder.Path());
            qelcore::threads::RunMainThreadFor(200);
            if (listener.mCount != 0)
                return 2;
            return listener.mOthers == 0 ? 0 : 3;
        });
    EXPECT_EQ(0, answer);
}

// Such storage gives no events, and is asked for every five seconds.
TEST(MountedMonitor, AFolderOnAVolumeWhoseTypeHoldsAvidIsPolled)
{
    RK_NEEDS_FAULTY_MOUNT();
    const Testing::FaultyMount mount("SharedAVIDStorage");
    qelcore::threads::RegisterMainThread();
    const RK::Initializer library;
    const Listener listener;
    const auto path = qelcore::utility::FileNameToUTF16(mount.Path());
    MonitorDirectory(path);
    for (int i = 0; i < 300 && listener.mPolls < 2; ++i)
        qelcore::threads::RunMainThreadFor(100);
    StopMonitoringDirectory(path);

    EXPECT_EQ(2, listener.mPolls);
    EXPECT_EQ(0, listener.mOthers);
}

TEST(MountedMonitor, AFolderOnAnotherVolumeInUserSpaceIsNotPolled)
{
    RK_NEEDS_FAULTY_MOUNT();
    const Testing::FaultyMount mount;
    qelcore::threads::RegisterMainThread();
    const RK::Initializer library;
    const Listener listener;
    const auto path = qelcore::utility::FileNameToUTF16(mount.Path());
    MonitorDirectory(path);
    qelcore::threads::RunMainThreadFor(6000);
    StopMonitoringDirectory(path);

    EXPECT_EQ(0, listener.mPolls);
}

} // namespace
