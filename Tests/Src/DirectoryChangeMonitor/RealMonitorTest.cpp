// The monitor over the real system: real folders, the real event thread, the main thread's loop.
#include <filesystem>
#include <thread>

#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "RKDirectoryChangeMonitor.h"
#include "RKInitializer.h"
#include "Support/RealRights.h"
#include "Support/TemporaryFolder.h"
#include "Support/TraceCapture.h"
#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Station.h"
#include "qelcore/MainThread.h"
#include "qelcore/TextConversion.h"

namespace
{

namespace fs = std::filesystem;
using namespace RK::DirectoryChangeMonitor;
using qelcore::UTF16String;

UTF16String Text(const std::string& inPath)
{
    return qelcore::utility::FileNameToUTF16(inPath);
}

class CountingListener : public ZOR::Listener
{
public:
    CountingListener() { ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, this); }
    ~CountingListener() override
    {
        ZOR::StationUtils::RemoveListener(ZOR::kStation_DirectoryChange, this);
    }
    void ListenToMessage(const ZOR::Message& inMessage) override
    {
        if (inMessage.GetMessageID() == RK::DirectoryChangedMessage::GetClassMessageID())
            mPaths.push_back(static_cast<const RK::DirectoryChangedMessage&>(inMessage).mPath);
    }
    /// Turns the main thread's loop until the path was told, for 20 s at most.
    bool Hears(const UTF16String& inPath)
    {
        for (int i = 0; i < 2000; ++i)
        {
            if (std::find(mPaths.begin(), mPaths.end(), inPath) != mPaths.end())
                return true;
            qelcore::threads::RunMainThreadFor(10);
        }
        return false;
    }
    /// Turns the loop until it is quiet for that long.
    void Settle(int inMilliseconds)
    {
        qelcore::threads::RunMainThreadFor(inMilliseconds);
        mPaths.clear();
    }

    std::vector<UTF16String> mPaths;
};

class RealMonitorTest : public testing::Test
{
protected:
    RealMonitorTest() { qelcore::threads::RegisterMainThread(); }

    const RK::Initializer mLibrary;
    const Testing::TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
    const UTF16String mPath = Text(mRoot);
    CountingListener mListener;
};

TEST_F(RealMonitorTest, EntriesThatComeGoAndAreRenamedAreTold)
{
    MonitorDirectory(mPath);
    // The watch begins in its own thread: keep changing until it is there.
    bool isWatched = false;
    for (int i = 0; i < 1000 && !isWatched; ++i)
    {
        mFolder.Write("root/probe", "x");
        fs::remove(mRoot + "/probe");
        qelcore::threads::RunMainThreadFor(10);
        isWatched = !mListener.mPaths.empty();
    }
    ASSERT_TRUE(isWatched);
    mListener.Settle(100);

    mFolder.Write("root/a", "x");
    EXPECT_TRUE(mListener.Hears(mPath));
    mListener.Settle(50);
    fs::rename(mRoot + "/a", mRoot + "/b");
    EXPECT_TRUE(mListener.Hears(mPath));
    mListener.Settle(50);
    mFolder.Write("root/b", "other content");
    mListener.mPaths.clear();
    qelcore::threads::RunMainThreadFor(100);
    EXPECT_TRUE(mListener.mPaths.empty()) << "content is no change of the directory";
    fs::remove(mRoot + "/b");
    EXPECT_TRUE(mListener.Hears(mPath));
    mListener.Settle(50);
    fs::remove(mRoot);
    EXPECT_TRUE(mListener.Hears(mPath));
    mListener.Settle(50);
    fs::create_directory(mRoot);
    EXPECT_TRUE(mListener.Hears(mPath)) << "the path is meant, not the folder that was there";
    StopMonitoringDirectory(mPath);
}

TEST_F(RealMonitorTest, BelowARecursiveWatchEverythingIsToldAboutOnceASecond)
{
    mFolder.MakeFolder("root/a/b");
    MonitorDirectoryRecursively(mPath);
    mFolder.Write("root/a/b/file", "x");
    EXPECT_TRUE(mListener.Hears(mPath));
    StopMonitoringDirectoryRecursively(mPath);
}

TEST_F(RealMonitorTest, VolumesMayBeWatchedWhereThereIsNoSuchFolder)
{
    if (!Testing::RootIsAMountPoint() || fs::exists("/Volumes"))
        GTEST_SKIP() << "needs a root folder that is a mount point, and no /Volumes";
    const Testing::TraceCapture trace("MonitorDirectory", 4);
    MonitorDirectory(u"relative");
    ASSERT_EQ(1u, trace.Count("Attempting to monitor an invalid path: relative"));
    MonitorVolumeChanges();
    qelcore::threads::RunMainThreadFor(50);
    StopMonitoringVolumeChanges();
    EXPECT_EQ(1u, trace.Texts().size()) << "it was taken for an invalid path";
    EXPECT_TRUE(mListener.mPaths.empty());
}

TEST_F(RealMonitorTest, EightThreadsMayStartAndStopWatches)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
    {
        mFolder.MakeFolder("root/" + std::to_string(i));
        threads.emplace_back(
            [this, i]
            {
                const UTF16String own = Text(mRoot + "/" + std::to_string(i));
                for (int times = 0; times < 20; ++times)
                {
                    MonitorDirectory(own);
                    MonitorDirectory(mPath);
                    MonitorDirectoryRecursively(own);
                    mFolder.Write("root/" + std::to_string(i) + "/file", "x");
                    fs::remove(mRoot + "/" + std::to_string(i) + "/file");
                    StopMonitoringDirectoryRecursively(own);
                    StopMonitoringDirectory(mPath);
                    StopMonitoringDirectory(own);
                }
            });
    }
    for (int i = 0; i < 50; ++i)
        qelcore::threads::RunMainThreadFor(10);
    for (std::thread& thread : threads)
        thread.join();
    mListener.Settle(100);
    mFolder.Write("root/end", "x");
    qelcore::threads::RunMainThreadFor(100);
    EXPECT_TRUE(mListener.mPaths.empty()) << "every watch has ended";
}

} // namespace
