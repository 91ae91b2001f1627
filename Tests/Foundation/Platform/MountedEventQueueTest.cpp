// The event queue where volumes come and go, and where watches run out: each test in a child process with
// namespaces of its own.
#include <filesystem>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include "EventQueueReader.h"
#include "FewWatches.h"
#include "Support/ChildProcess.h"
#include "Support/RealRights.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using Testing::EventQueueReader;

constexpr int kCannot = 98;

class MountedEventQueue : public testing::Test
{
protected:
    static std::uint32_t WaitFor(int inQueue, int inIdent)
    {
        QueueRecord event;
        EventQueue().Wait(inQueue, {EventQueueReader::Armed(inIdent)}, event);
        return event.mNotes;
    }
    void Create(const std::string& inName) const
    {
        close(open(mFolder.Path(inName).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0666));
    }

    const Testing::TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
};

TEST_F(MountedEventQueue, VolumesFireForEachThatComesAndGoes)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, Testing::RunInChild(
                     [this]
                     {
                         if (!Testing::EnterPrivateMounts())
                             return kCannot;
                         const int volumes = EventQueue().Open("/Volumes");
                         const int queue = EventQueue().CreateQueue();
                         if (volumes == -1)
                             return 1;
                         if (mount("memory", mRoot.c_str(), "tmpfs", 0, "size=64k") != 0)
                             return 2;
                         if (WaitFor(queue, volumes) != kQueueNote_Write)
                             return 3;
                         if (umount(mRoot.c_str()) != 0)
                             return 4;
                         return WaitFor(queue, volumes) == kQueueNote_Write ? 0 : 5;
                     }));
}

TEST_F(MountedEventQueue, AFolderOnAVolumeThatGoesIsToldAndTheOneBeneathIsWatched)
{
    RK_NEEDS_MOUNTS();
    EXPECT_EQ(0, Testing::RunInChild(
                     [this]
                     {
                         if (!Testing::EnterPrivateMounts() ||
                             mount("memory", mRoot.c_str(), "tmpfs", 0, "size=64k") != 0)
                             return kCannot;
                         const int root = EventQueue().Open(mRoot);
                         const int queue = EventQueue().CreateQueue();
                         if (umount(mRoot.c_str()) != 0)
                             return 1;
                         if ((WaitFor(queue, root) & kQueueNote_Delete) == 0)
                             return 2;
                         EventQueueReader reader;
                         reader.Take(root);
                         Create("root/file");
                         return reader.Sum(root) == kQueueNote_Write ? 0 : 3;
                     }));
}

TEST_F(MountedEventQueue, AFolderWithoutAWatchIsLookedAtAndCountsAsALoss)
{
    const int answer = Testing::RunInChild(
        [this]
        {
            if (!Testing::HaveFewWatches(0))
                return kCannot;
            const int root = EventQueue().Open(mRoot);
            const int queue = EventQueue().CreateQueue();
            if (root == -1)
                return 1;
            if (EventQueue().LossCount() != 1)
                return 2;
            for (const char* name : {"root/a", "root/b"})
            {
                Create(name);
                if (WaitFor(queue, root) != kQueueNote_Write)
                    return 3;
            }
            return EventQueue().LossCount() == 1 ? 0 : 4;
        });
    if (answer == kCannot)
        GTEST_SKIP() << "needs user namespaces";
    EXPECT_EQ(0, answer);
}

// Room for two watches: the folder above and the folder. Others take that room while it is away.
TEST_F(MountedEventQueue, AFolderThatLosesItsWatchWhenItIsMadeAnewCountsAsALoss)
{
    const std::string other = mFolder.MakeFolder("root/other");
    const int answer = Testing::RunInChild(
        [&]
        {
            // Whatever is above both, the folder, and what is in it.
            if (!Testing::HaveFewWatches(2))
                return kCannot;
            const int root = EventQueue().Open(mRoot);
            const int queue = EventQueue().CreateQueue();
            if (root == -1 || EventQueue().LossCount() != 0)
                return 1;
            fs::rename(mRoot, mFolder.Path("away"));
            if ((WaitFor(queue, root) & kQueueNote_Rename) == 0)
                return 2;
            const int taking = EventQueue().Open(mFolder.Path("away"));
            const std::uint64_t before = EventQueue().LossCount();
            fs::create_directory(mRoot);
            if (taking == -1 || (WaitFor(queue, root) & kQueueNote_Write) == 0)
                return 3;
            if (EventQueue().LossCount() == before)
                return 4;
            Create("root/a");
            return WaitFor(queue, root) == kQueueNote_Write ? 0 : 5;
        });
    if (answer == kCannot)
        GTEST_SKIP() << "needs user namespaces";
    EXPECT_EQ(0, answer);
}

} // namespace
