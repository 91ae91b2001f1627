// What a real disk and a real folder can do to the store: nothing may hang, nothing torn be delivered, no
// completion be lost.
#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <unistd.h>

#include "RealStoreSupport.h"
#include "Support/FaultyMount.h"
#include "Support/Sanitizers.h"
#include "Support/TemporaryFolder.h"
#include "ZOR/FileResults.h"

namespace
{

using namespace Testing;
namespace fs = std::filesystem;

const auto* const sMounts = UsePrivateMounts();

using Results = std::vector<qelcore::Result>;

void ExpectNothingTorn(const std::string& inFolder)
{
    const FolderContents contents(inFolder);
    EXPECT_EQ(std::vector<std::string>(), contents.torn);
    EXPECT_EQ(std::vector<std::string>(), contents.temps);
}

// A volume in memory, of a size.
class SmallVolume
{
public:
    explicit SmallVolume(const std::string& inOptions) { Mount(0, inOptions); }
    ~SmallVolume() { umount2(Path().c_str(), MNT_DETACH); }
    SmallVolume(const SmallVolume&) = delete;
    SmallVolume& operator=(const SmallVolume&) = delete;
    const std::string& Path() const { return mFolder.Path(); }
    void Remount(bool inReadOnly) const { Mount(MS_REMOUNT | (inReadOnly ? MS_RDONLY : 0), ""); }

private:
    void Mount(unsigned long inFlags, const std::string& inOptions) const
    {
        EXPECT_EQ(0, mount("small", Path().c_str(), "tmpfs", inFlags, inOptions.c_str())) << errno;
    }
    const TemporaryFolder mFolder;
};

class RealDataCacheFaults : public ::testing::Test
{
protected:
    const RK::Initializer mLibrary;
};

TEST_F(RealDataCacheFaults, AFullVolumeTakesWhatFitsAndDropsTheRest)
{
    RK_NEEDS_MOUNTS();
    const SmallVolume volume("size=1m");
    const RealStore store(volume.Path());

    for (std::uint32_t item = 0; item < 40; ++item)
        store.Put(item, 65536);
    store.WaitForWrites();

    ExpectNothingTorn(volume.Path());
    const FolderContents contents(volume.Path());
    EXPECT_GE(contents.whole.size(), 10u);
    EXPECT_LT(contents.whole.size(), 40u);
    for (std::uint32_t item = 0; item < 40; ++item)
        EXPECT_EQ(contents.whole.count(item) != 0, store.Get(item).whole) << item;
    store.Remove(*contents.whole.begin());
    store.Put(100, 60000);
    store.WaitForWrites();
    EXPECT_TRUE(store.Get(100).whole) << "there was room again";
}

TEST_F(RealDataCacheFaults, AFolderWithoutRoomForAnyNameTakesNothingAndGoesOn)
{
    RK_NEEDS_MOUNTS();
    const SmallVolume volume("size=4m,nr_inodes=3"); // the folder itself takes one
    const RealStore store(volume.Path());

    for (std::uint32_t item = 0; item < 10; ++item)
        store.Put(item, 100);
    store.WaitForWrites();

    ExpectNothingTorn(volume.Path());
    EXPECT_EQ((std::set<std::uint32_t>{0, 1}), FolderContents(volume.Path()).whole);
}

// One call of a write goes wrong: the item is dropped, nothing is left of it, and the next one arrives.
struct BadCall
{
    const char* operation;
    int error;
};

// How ctest names it.
void PrintTo(const BadCall& inCall, std::ostream* ioStream)
{
    *ioStream << inCall.operation << strerrorname_np(inCall.error);
}

class RealDataCacheBadWrites : public RealDataCacheFaults,
                               public ::testing::WithParamInterface<BadCall>
{
};

TEST_P(RealDataCacheBadWrites, DropTheItemWholeAndLeaveNothing)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(0);
    const long before = mount.CallCount(GetParam().operation, "*.tmp");
    mount.Inject({.operation = GetParam().operation,
                  .name = "*.tmp",
                  .error = GetParam().error,
                  .times = 1});

    store.PutAndWait(6); // over a megabyte, so that it is written in parts

    EXPECT_GT(mount.CallCount(GetParam().operation, "*.tmp"), before) << "was not tried";
    ExpectNothingTorn(mount.Behind());
    EXPECT_EQ(std::set<std::uint32_t>{0}, FolderContents(mount.Behind()).whole);
    EXPECT_FALSE(store.Lists(6));
    store.PutAndWait(6);
    EXPECT_TRUE(store.Get(6).whole);
}

INSTANTIATE_TEST_SUITE_P(Calls, RealDataCacheBadWrites,
                         ::testing::Values(BadCall{"create", EACCES}, BadCall{"create", EMFILE},
                                           BadCall{"create", ENOSPC}, BadCall{"write", EIO},
                                           BadCall{"write", ENOSPC}, BadCall{"write", EDQUOT},
                                           BadCall{"fsync", EIO}, BadCall{"flush", EIO},
                                           BadCall{"flush", ENOSPC}, BadCall{"rename", EIO}));

TEST_F(RealDataCacheFaults, ADiskThatFillsUpInTheMiddleOfAWriteLeavesNothingOfIt)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    mount.Inject({.operation = "write", .name = "*.tmp", .error = ENOSPC, .after = 1});

    store.PutAndWait(6);

    EXPECT_GT(mount.CallCount("write", "*.tmp"), 1) << "it was one write";
    ExpectNothingTorn(mount.Behind());
    EXPECT_TRUE(FolderContents(mount.Behind()).whole.empty());
}

TEST_F(RealDataCacheFaults, TransfersThatComeShortAreGoneOnWith)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    mount.Inject({.operation = "write", .most = 5000});
    mount.Inject({.operation = "read", .most = 3000});

    for (const std::uint32_t item : {0u, 1u, 2u, 3u, 5u})
        store.Put(item);
    store.WaitForWrites();

    ExpectNothingTorn(mount.Behind());
    for (const std::uint32_t item : {0u, 1u, 2u, 3u, 5u})
        EXPECT_TRUE(store.Get(item).whole) << item;
}

TEST_F(RealDataCacheFaults, AReadThatFailsIsToldAndTheItemIsThereAgainWhenTheDiskIs)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(2);
    mount.Inject({.operation = "read", .name = "*.rkdc", .error = EIO});

    const RealStore::Pending read = store.BeginGet(2);
    EXPECT_TRUE(
        Comes([&] { return read.Now().results.size() == 2; })); // once with, once without bytes
    EXPECT_EQ(Results(2, ZOR::kFileResult_DeviceFailure), read.Now().results);
    EXPECT_FALSE(store.Lists(2));

    mount.Clear();
    EXPECT_TRUE(store.Get(2).whole);
    EXPECT_TRUE(store.Lists(2));
}

TEST_F(RealDataCacheFaults, AReadThatFailsHalfwayDeliversNothing)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(6);
    mount.Inject({.operation = "read", .name = "*.rkdc", .most = 100000, .after = 0, .times = 2});
    mount.Inject({.operation = "read", .name = "*.rkdc", .error = EIO});

    const RealStore::Read read = store.Get(6);

    EXPECT_FALSE(read.whole);
    EXPECT_FALSE(read.torn);
}

// Somebody else cuts a file short between the look at its size and its read, or it always was.
TEST_F(RealDataCacheFaults, AFileThatEndsBeforeItsSizeIsNotDelivered)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(2);
    mount.Inject({.operation = "read", .name = "*.rkdc", .most = 0, .after = 1});
    mount.Inject({.operation = "read", .name = "*.rkdc", .most = 1000, .times = 1});

    const RealStore::Read read = store.Get(2);

    EXPECT_TRUE(read.told);
    EXPECT_FALSE(read.torn);
}

TEST_F(RealDataCacheFaults, AFileThatCannotBeOpenedIsToldOnce)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(2);
    mount.Inject({.operation = "open", .name = "*.rkdc", .error = EIO});

    EXPECT_EQ(Results{ZOR::kFileResult_DeviceFailure}, store.Get(2).results);
    EXPECT_FALSE(store.Lists(2));
}

TEST_F(RealDataCacheFaults, AReadThatHangsHoldsUpNoOther)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    for (const std::uint32_t item : {0u, 2u, 3u})
        store.PutAndWait(item);
    mount.Inject({.operation = "read", .name = FileNameOf(2), .hangs = true});

    const RealStore::Pending hanging = store.BeginGet(2);
    EXPECT_TRUE(mount.WaitUntilHanging(1));
    EXPECT_TRUE(store.Get(0).whole);
    EXPECT_TRUE(store.Get(3).whole);
    store.PutAndWait(5);
    EXPECT_TRUE(store.Get(5).whole);
    EXPECT_FALSE(hanging.Now().told);

    mount.Clear();
    EXPECT_TRUE(hanging.Wait().whole);
}

TEST_F(RealDataCacheFaults, AWriteThatHangsHoldsUpNoReadAndNoCaller)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    store.PutAndWait(0);
    mount.Inject({.operation = "write", .name = "*.tmp", .hangs = true});

    store.Put(2);
    EXPECT_TRUE(mount.WaitUntilHanging(1));
    store.Put(3);
    store.Touch(0);
    EXPECT_TRUE(store.Get(0).whole);
    EXPECT_EQ(2u, store.WritesWaiting());

    mount.Clear();
    store.WaitForWrites();
    EXPECT_TRUE(store.Get(2).whole);
    EXPECT_TRUE(store.Get(3).whole);
}

TEST_F(RealDataCacheFaults, AVolumeThatGoesAwayEndsEveryReadAndDropsEveryWrite)
{
    RK_NEEDS_FAULTY_MOUNT();
    FaultyMount mount;
    const RealStore store(mount.Path());
    for (const std::uint32_t item : {0u, 2u, 3u})
        store.PutAndWait(item);
    mount.Inject({.operation = "read", .name = "*.rkdc", .hangs = true});
    const RealStore::Pending hanging = store.BeginGet(2);
    EXPECT_TRUE(mount.WaitUntilHanging(1));

    mount.Kill();

    EXPECT_LT(hanging.Wait().results.at(0), 0);
    EXPECT_FALSE(store.Get(0).whole);
    EXPECT_FALSE(store.Has(3) && store.Get(3).whole);
    store.PutAndWait(5);
    store.Touch(0);
    store.Remove(0);
    store.PutAndWait(6);
}

// As many reads as there can be, and more, with no descriptor left for any.
TEST_F(RealDataCacheFaults, WithoutDescriptorsEveryReadIsToldAndAllWorksOnceThereAreSome)
{
    if (RK_TEST_ADDRESS_SANITIZER)
        GTEST_SKIP() << "the sanitizer itself looks at memory through a pipe";
    const TemporaryFolder folder;
    const RealStore store(folder.Path());
    for (std::uint32_t item = 0; item < 8; ++item)
        store.Put(item);
    store.WaitForWrites();
    EXPECT_TRUE(store.Get(0).whole);
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const int next = dup(0);
    ASSERT_GE(next, 0);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));

    std::vector<RealStore::Pending> reads;
    for (int i = 0; i < 300; ++i)
        reads.push_back(store.BeginGet(static_cast<std::uint32_t>(i % 8)));
    store.PutAndWait(9);
    store.Touch(1);
    store.Remove(100);
    for (const RealStore::Pending& read : reads)
    {
        const RealStore::Read now = read.Wait();
        EXPECT_FALSE(now.torn);
        if (!now.whole && now.answer >= 0)
        {
            EXPECT_EQ(Results{ZOR::kFileResult_TooManyOpenFiles}, now.results);
        }
    }
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));

    EXPECT_FALSE(store.Has(9));
    store.PutAndWait(9);
    for (const std::uint32_t item : {0u, 1u, 7u, 9u})
        EXPECT_TRUE(store.Get(item).whole) << item;
    ExpectNothingTorn(folder.Path());
}

TEST_F(RealDataCacheFaults, ADeletedFolderIsMadeAnewByTheNextWrite)
{
    const TemporaryFolder parent;
    const std::string folder = parent.Path("cache");
    const RealStore store(folder);
    store.PutAndWait(0);
    store.PutAndWait(2);

    fs::remove_all(folder);

    EXPECT_EQ(Results{ZOR::kFileResult_NotFound}, store.Get(0).results);
    EXPECT_EQ(RK::kDataCacheResultItemNotFound, store.Get(0).answer);
    store.Touch(2);
    EXPECT_TRUE(Comes([&] { return !store.Lists(2); }));
    store.PutAndWait(3);
    EXPECT_TRUE(store.Get(3).whole);
    ExpectNothingTorn(folder);
}

TEST_F(RealDataCacheFaults, AFileInTheFoldersPlaceIsLeftAloneAndTakesNothing)
{
    const TemporaryFolder parent;
    const std::string folder = parent.Path("cache");
    const RealStore store(folder);
    store.PutAndWait(0);
    fs::remove_all(folder);
    parent.Write("cache", "somebody's");

    EXPECT_LT(store.Get(0).results.at(0), 0);
    store.PutAndWait(2);
    store.Touch(0);
    store.Remove(0);
    store.PutAndWait(3);
    EXPECT_LT(store.Get(3).answer, 0);
    EXPECT_EQ("somebody's", parent.Read("cache"));

    fs::remove(folder);
    store.PutAndWait(2);
    EXPECT_TRUE(store.Get(2).whole);
}

TEST_F(RealDataCacheFaults, AReadOnlyVolumeIsReadAndTakesNothing)
{
    RK_NEEDS_MOUNTS();
    const SmallVolume volume("size=8m");
    const RealStore store(volume.Path());
    store.PutAndWait(0);
    store.PutAndWait(2);

    volume.Remount(true);
    EXPECT_TRUE(store.Get(0).whole);
    store.PutAndWait(3);
    store.Touch(0);
    store.Remove(2);
    store.PutAndWait(5);
    EXPECT_EQ((std::set<std::uint32_t>{0, 2}), FolderContents(volume.Path()).whole);
    EXPECT_TRUE(store.Get(2).whole) << "it could not be removed, so it is there";

    volume.Remount(false);
    store.PutAndWait(3);
    EXPECT_TRUE(store.Get(3).whole);
    ExpectNothingTorn(volume.Path());
}

// Readers while somebody removes and writes the same items anew: whole, or told that it is not there.
TEST_F(RealDataCacheFaults, ItemsThatComeAndGoAreDeliveredWholeOrNotAtAll)
{
    const TemporaryFolder folder;
    const RealStore store(folder.Path());
    std::vector<RealStore::Pending> reads;
    for (std::uint32_t round = 0; round < 600; ++round)
    {
        store.Put(round % 5, SizeOfItem(round), round);
        reads.push_back(store.BeginGet(round % 5));
        if (round % 3 == 0)
            fs::remove(folder.Path(FileNameOf(round % 5)));
        reads.push_back(store.BeginGet((round + 1) % 5));
        store.Remove((round + 2) % 5);
    }
    for (const RealStore::Pending& read : reads)
    {
        const RealStore::Read end = read.Wait();
        EXPECT_TRUE(end.told);
        EXPECT_FALSE(end.torn);
    }
    store.WaitForWrites();
    ExpectNothingTorn(folder.Path());
}

} // namespace
