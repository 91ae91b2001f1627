// The event queue over the real system.
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <mutex>
#include <thread>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "EventQueueReader.h"
#include "Foundation/Platform/Src/Inotify.h"
#include "Foundation/Platform/Src/OwnedDescriptor.h"

namespace
{

namespace fs = std::filesystem;
using namespace Platform;
using testing::ElementsAre;
using Testing::EventQueueReader;
using testing::IsEmpty;
using testing::SizeIs;

class EventQueueTest : public testing::Test
{
protected:
    int Open(const std::string& inPath)
    {
        mOpen.push_back(mEvents.Open(inPath));
        return mOpen.back();
    }
    ~EventQueueTest() override
    {
        for (const int ident : mOpen)
            mEvents.Close(ident);
    }
    void Touch(const std::string& inName) { mFolder.Write(inName, "x"); }

    IEventQueue& mEvents = EventQueue();
    const Testing::TemporaryFolder mFolder;
    const std::string mRoot = mFolder.MakeFolder("root");
    EventQueueReader mReader;
    std::vector<int> mOpen;
};

TEST_F(EventQueueTest, AFolderFiresForEntriesThatComeGoAndAreRenamed)
{
    const int root = Open(mRoot);
    EXPECT_THAT(mReader.Take(root), IsEmpty());
    Touch("root/a");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
    fs::rename(mRoot + "/a", mRoot + "/b");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
    fs::remove(mRoot + "/b");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
    EXPECT_THAT(mReader.Take(root), IsEmpty()) << "once each";
}

TEST_F(EventQueueTest, AFolderDoesNotFireForTheContentOfItsFilesNorForWhatIsBelow)
{
    Touch("root/file");
    mFolder.MakeFolder("root/below");
    const int root = Open(mRoot);
    Touch("root/file");
    Touch("root/below/file");
    fs::permissions(mRoot + "/file", fs::perms::owner_read);
    EXPECT_THAT(mReader.Take(root), IsEmpty());
}

TEST_F(EventQueueTest, WhatHappensWhileAFolderIsNotArmedFiresOnceWhenItIs)
{
    const int root = Open(mRoot);
    const int other = Open(mFolder.MakeFolder("other"));
    Touch("root/a");
    fs::remove(mRoot + "/a");
    Touch("root/b");
    EXPECT_THAT(mReader.Take(other), IsEmpty()) << "the events of root have passed by";
    EXPECT_THAT(mReader.Take(root), ElementsAre(kQueueNote_Write));
}

TEST_F(EventQueueTest, ARecordThatIsSetToNoFilterIsPassedOver)
{
    const int root = Open(mRoot);
    Touch("root/a");
    std::vector<QueueRecord> list = {EventQueueReader::Armed(root), EventQueueReader::Armed(root)};
    list[0].mFilter = kQueueFilter_None;
    list[1].mUserData = 7;
    QueueRecord event;
    ASSERT_EQ(1, mEvents.Wait(mReader.Queue(), list, event));
    EXPECT_EQ(7u, event.mUserData);
}

TEST_F(EventQueueTest, SpellingsOfOneDirectoryAreWatchesOfTheirOwn)
{
    fs::create_directory_symlink(mRoot, mFolder.Path("link"));
    const std::vector<int> spellings = {Open(mRoot), Open(mRoot + "/"),
                                        Open(mFolder.Path("./root")), Open(mFolder.Path("link"))};
    Touch("root/a");
    EXPECT_THAT(mReader.Take(spellings), SizeIs(4));
    EXPECT_EQ(0, mEvents.Close(spellings[0]));
    EXPECT_EQ(0, mEvents.Close(spellings[3]));
    Touch("root/b");
    EXPECT_THAT(mReader.Take({spellings[1], spellings[2]}), SizeIs(2));
}

TEST_F(EventQueueTest, ADeletionIsToldAtOnceAndOnceAlthoughSomebodyHoldsTheFolderOpen)
{
    const int root = Open(mRoot);
    {
        const OwnedDescriptor held(open(mRoot.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        fs::remove(mRoot);
        EXPECT_EQ(kQueueNote_Delete, mReader.Sum(root));
    }
    EXPECT_THAT(mReader.Take(root), IsEmpty()) << "the folder itself goes only now";
}

TEST_F(EventQueueTest, AFolderThatIsMadeAnewIsWatchedOn)
{
    const int root = Open(mRoot);
    for (int times = 0; times < 3; ++times)
    {
        fs::remove_all(mRoot);
        EXPECT_NE(0u, mReader.Sum(root) & kQueueNote_Delete);
        fs::create_directory(mRoot);
        EXPECT_NE(0u, mReader.Sum(root) & kQueueNote_Write) << "there is a folder now";
        Touch("root/a");
        EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
    }
}

TEST_F(EventQueueTest, ARenameOfTheFolderIsToldAndTheOneThatTakesItsNameIsWatched)
{
    const int root = Open(mRoot);
    fs::rename(mRoot, mFolder.Path("away"));
    EXPECT_NE(0u, mReader.Sum(root) & kQueueNote_Rename);
    fs::create_directory(mRoot);
    mReader.Take(root);
    Touch("away/file");
    EXPECT_THAT(mReader.Take(root), IsEmpty()) << "the path is meant";
    Touch("root/file");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
}

TEST_F(EventQueueTest, AFolderThatIsExchangedForAnotherIsWatchedOn)
{
    const std::string other = mFolder.MakeFolder("other");
    const int root = Open(mRoot);
    ASSERT_EQ(0, renameat2(AT_FDCWD, mRoot.c_str(), AT_FDCWD, other.c_str(), RENAME_EXCHANGE));
    EXPECT_NE(0u, mReader.Sum(root));
    Touch("root/file");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(root));
    Touch("other/file");
    EXPECT_THAT(mReader.Take(root), IsEmpty());
}

TEST_F(EventQueueTest, AFileFiresForItsContentAndItsRemoval)
{
    Touch("root/file");
    const int file = Open(mRoot + "/file");
    Touch("root/other");
    EXPECT_THAT(mReader.Take(file), IsEmpty());
    Touch("root/file");
    EXPECT_EQ(kQueueNote_Write, mReader.Sum(file));
    fs::remove(mRoot + "/file");
    EXPECT_EQ(kQueueNote_Delete, mReader.Sum(file) & ~kQueueNote_Write);
    EXPECT_THAT(mReader.Take(file), IsEmpty());
}

TEST_F(EventQueueTest, WhatIsNotThereCannotBeOpened)
{
    EXPECT_EQ(-1, mEvents.Open(mRoot + "/absent"));
    EXPECT_EQ(-1, mEvents.Open(mRoot + "/absent/below"));
    EXPECT_EQ(-1, mEvents.Open(""));
}

TEST_F(EventQueueTest, AnIdentThatIsClosedIsAnErrorOfItsRecordAndNotUsedAgain)
{
    const int root = mEvents.Open(mRoot);
    EXPECT_EQ(0, mEvents.Close(root));
    errno = 0;
    EXPECT_EQ(-1, mEvents.Close(root));
    EXPECT_EQ(EBADF, errno);
    QueueRecord event;
    ASSERT_EQ(1, mEvents.Wait(mReader.Queue(), {EventQueueReader::Armed(root)}, event));
    EXPECT_EQ(static_cast<std::uint64_t>(root), event.mIdent);
    EXPECT_NE(0, event.mFlags & kQueueFlag_Error);
    EXPECT_EQ(EBADF, event.mData);
    EXPECT_NE(root, Open(mRoot));
}

TEST_F(EventQueueTest, APipePassesWritesOnAsAWholeAndInOrder)
{
    int ends[2];
    ASSERT_EQ(0, mEvents.CreatePipe(ends));
    char bytes[8] = {};
    EXPECT_EQ(0, mEvents.Read(ends[0], bytes, sizeof bytes));
    EXPECT_EQ(3, mEvents.Write(ends[1], "abc", 3));
    EXPECT_EQ(2, mEvents.Write(ends[1], "de", 2));
    EXPECT_EQ(4, mEvents.Read(ends[0], bytes, 4));
    EXPECT_STREQ("abcd", bytes);
    QueueRecord record;
    record.mIdent = static_cast<std::uint64_t>(ends[0]);
    record.mFilter = kQueueFilter_Read;
    QueueRecord event;
    ASSERT_EQ(1, mEvents.Wait(mReader.Queue(), {record}, event));
    EXPECT_EQ(1, event.mData);
    EXPECT_EQ(0, mEvents.Close(ends[0]));
    EXPECT_EQ(0, mEvents.Close(ends[1]));
    EXPECT_EQ(-1, mEvents.Read(ends[0], bytes, 1));
    EXPECT_EQ(-1, mEvents.Write(ends[1], "a", 1));
}

TEST_F(EventQueueTest, AWriteToThePipeAndAChangeWakeAWaitThatHasBegun)
{
    const int root = Open(mRoot);
    const auto waiting =
        std::async(std::launch::async,
                   [&]
                   {
                       QueueRecord event;
                       mEvents.Wait(mReader.Queue(), {EventQueueReader::Armed(root)}, event);
                       return event.mNotes;
                   })
            .share();
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)));
    Touch("root/a");
    EXPECT_EQ(kQueueNote_Write, waiting.get());
}

TEST_F(EventQueueTest, TheEndOfAQueueEndsItsWait)
{
    const int queue = mEvents.CreateQueue();
    const int root = Open(mRoot);
    const auto waiting =
        std::async(std::launch::async,
                   [&]
                   {
                       QueueRecord event;
                       return mEvents.Wait(queue, {EventQueueReader::Armed(root)}, event);
                   })
            .share();
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)));
    mEvents.CloseQueue(queue);
    ASSERT_EQ(std::future_status::ready, waiting.wait_for(std::chrono::seconds(20)));
    EXPECT_EQ(-1, waiting.get());
}

TEST_F(EventQueueTest, AnIdentMayBeClosedWhileItIsWaitedForAndTheOthersGoOn)
{
    const int root = mEvents.Open(mRoot);
    const int other = Open(mFolder.MakeFolder("other"));
    auto waiting = std::async(std::launch::async,
                              [&]
                              {
                                  QueueRecord event;
                                  std::vector<QueueRecord> list = {EventQueueReader::Armed(root),
                                                                   EventQueueReader::Armed(other)};
                                  // The closed one may be told as an error, once it is looked at.
                                  while (mEvents.Wait(mReader.Queue(), list, event) == 1 &&
                                         static_cast<int>(event.mIdent) != other)
                                      list.erase(list.begin());
                                  return event.mNotes;
                              });
    EXPECT_EQ(std::future_status::timeout, waiting.wait_for(std::chrono::milliseconds(50)));
    EXPECT_EQ(0, mEvents.Close(root));
    Touch("root/a");
    Touch("other/a");
    EXPECT_EQ(kQueueNote_Write, waiting.get());
}

// Holds up the thread that reads the kernel's queue from the first event of a folder on.
class Blocker : public IInotifyClient
{
public:
    explicit Blocker(const std::string& inFolder)
    {
        const OwnedDescriptor folder(open(inFolder.c_str(), O_PATH | O_CLOEXEC));
        EXPECT_EQ(0, Inotify::Instance().Add(folder.Get(), IN_CREATE, *this, mWatch));
    }
    ~Blocker() override { Inotify::Instance().RemoveAll(*this); }
    void OnEvent(const InotifyEvent&) override
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mIsBlocking = true;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return mMayGoOn; });
    }
    void AwaitBlocking()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mChanged.wait(lock, [this] { return mIsBlocking; });
    }
    void Release()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mMayGoOn = true;
        mChanged.notify_all();
    }

private:
    int mWatch = -1;
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mIsBlocking = false; // guarded by mMutex
    bool mMayGoOn = false;    // guarded by mMutex
};

TEST_F(EventQueueTest, WhereTheKernelLosesEventsEveryFolderFiresAndTheLossIsCounted)
{
    constexpr int kMoreThanTheKernelHolds = 40000;
    const Testing::TemporaryFolder memory("/dev/shm"); // a disk would take its time
    const int flooded = Open(memory.MakeFolder("flooded"));
    const int quiet = Open(mRoot);
    const std::string gate = mFolder.MakeFolder("gate");
    Blocker blocker(gate);
    Touch("gate/file");
    blocker.AwaitBlocking();
    const std::uint64_t before = mEvents.LossCount();
    // Two names in turn, since the kernel merges equal events that follow each other.
    const std::string names[] = {memory.Path("flooded/a"), memory.Path("flooded/b")};
    for (const std::string& name : names)
        close(open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    for (int i = 0; i < kMoreThanTheKernelHolds; ++i)
    {
        unlink(names[i % 2].c_str());
        close(open(names[i % 2].c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
    }
    blocker.Release();
    mReader.Take(std::vector<int>{}); // everything is read by now
    const auto taken = mReader.Take({flooded, quiet});
    EXPECT_EQ(1u, taken.count(flooded));
    EXPECT_EQ(1u, taken.count(quiet)) << "its event may be among those that were lost";
    EXPECT_EQ(before + 1, mEvents.LossCount());
}

} // namespace
