// Writers that are killed at any moment. What they leave must be whole items, and left-overs that go.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <tuple>

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "RealStoreSupport.h"
#include "Support/ChildProcess.h"
#include "Support/Sanitizers.h"
#include "Support/TemporaryFolder.h"

namespace
{

using namespace Testing;
namespace fs = std::filesystem;

/// RK_KILLS, or a number that takes a few seconds. A sanitizer takes its time to begin a process.
int KillCount()
{
    const char* const wanted = std::getenv("RK_KILLS");
    return wanted != nullptr ? std::atoi(wanted) : RK_TEST_SANITIZER ? 60 : 100;
}

constexpr int kKillsOfAnEpoch = 20; // then all is looked at again, and the folder begins anew

constexpr std::uint32_t kItems = 100;

// What writers offer, two offers an item, made before the first of them begins: so the disk and not the
// making of bytes is what takes their time, and most kills meet a write.
const std::vector<std::string>& Offers()
{
    static const std::vector<std::string> sOffers = []
    {
        static constexpr std::uint32_t sSizes[] = {4096,  12,    65536,  3000,
                                                   20000, 65537, 130000, 2047};
        std::vector<std::string> offers;
        for (std::uint32_t i = 0; i < 2 * kItems; ++i)
            offers.push_back(Offer{i, i % kItems, sSizes[i % std::size(sSizes)]}.Bytes());
        return offers;
    }();
    return sOffers;
}

/// A killed process loses nothing that the system has taken, so memory does as well as a disk, and does not
/// wait. Every fifth epoch goes to the disk all the same.
fs::path ParentOf(int inEpoch)
{
    const fs::path memory = "/dev/shm";
    return inEpoch % 5 != 4 && fs::is_directory(memory) ? memory : fs::temp_directory_path();
}

// How many puts a writer has made so far, seen from outside.
class SharedCount
{
public:
    SharedCount()
        : mCount(static_cast<std::atomic<int>*>(mmap(
              nullptr, sizeof(*mCount), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        if (mCount == MAP_FAILED)
            throw std::runtime_error("no shared memory");
    }
    ~SharedCount() { munmap(mCount, sizeof(*mCount)); }
    SharedCount(const SharedCount&) = delete;
    SharedCount& operator=(const SharedCount&) = delete;
    std::atomic<int>& operator*() const { return *mCount; }

private:
    std::atomic<int>* const mCount;
};

/// Puts, touches and removes until it is killed. Runs in a child.
[[noreturn]] void WriteUntilKilled(const std::string& inFolder, std::uint32_t inWriter,
                                   std::atomic<int>& ioPuts)
{
    const RK::Initializer library;
    const RealStore store(inFolder, inWriter % 2 == 0);
    std::mt19937 random(inWriter);
    for (;;)
    {
        const std::uint32_t offer = random() % (2 * kItems);
        store.PutBytes(offer % kItems, Offers()[offer]);
        ++ioPuts;
        if (random() % 4 == 0)
            store.Remove(random() % kItems);
        if (random() % 4 == 0)
            store.Touch(random() % kItems);
        while (store.WritesWaiting() > 32)
            usleep(100);
    }
}

/// Begins a writer, lets it put so many items, and kills it a while later. With no puts it may still be at
/// its start.
void RunAndKill(const std::string& inFolder, std::uint32_t inWriter, int inPuts,
                useconds_t inMicroseconds)
{
    const SharedCount puts;
    const pid_t child = fork();
    if (child == 0)
        WriteUntilKilled(inFolder, inWriter, *puts);
    ASSERT_GT(child, 0);
    EXPECT_TRUE(Comes([&] { return *puts >= inPuts; })) << "a writer hangs";
    usleep(inMicroseconds);
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it ended by itself";
}

// What was found whole is not read again: an item's file never changes.
class Inspector
{
public:
    explicit Inspector(const std::string& inFolder)
        : mFolder(inFolder)
    {
    }
    /// Reads what is new in the folder.
    void Look(int inKill)
    {
        for (const auto& entry : fs::directory_iterator(mFolder))
        {
            struct stat status;
            const std::string name = entry.path().filename();
            if (entry.path().extension() != ".rkdc" || stat(entry.path().c_str(), &status) != 0 ||
                !mSeen.insert({status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec})
                     .second)
                continue;
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            const auto item =
                static_cast<std::uint32_t>(std::stoul(name.substr(name.find('.') + 1)));
            EXPECT_TRUE(Offer::IsWhole(bytes, item))
                << name << " of " << bytes.size() << " bytes after kill " << inKill;
            ++mItems;
        }
    }
    int Items() const { return mItems; }

private:
    const std::string mFolder;
    std::set<std::tuple<ino_t, time_t, long>> mSeen;
    int mItems = 0;
};

void MakeOlder(const std::vector<std::string>& inPaths, int inHours)
{
    for (const std::string& path : inPaths)
    {
        timespec times[2];
        clock_gettime(CLOCK_REALTIME, &times[0]);
        times[0].tv_sec -= inHours * 3600;
        times[1] = times[0];
        EXPECT_EQ(0, utimensat(AT_FDCWD, path.c_str(), times, 0));
    }
}

/// Opens a store on the folder in a child, until inIsSo.
template <class IsSo>
bool AStoreMakesItSo(const std::string& inFolder, bool inScan, const IsSo& inIsSo)
{
    return RunInChild(
               [&]
               {
                   const RK::Initializer library;
                   const RealStore store(inFolder, inScan);
                   return Comes(inIsSo) ? 0 : 1;
               }) == 0;
}

/// Left-overs stay while somebody may still be at them, and go when nobody can be.
void ExpectThatLeftOversGo(const std::string& inFolder, bool inScan)
{
    const FolderContents before(inFolder);
    const std::string marker = inFolder + "/.RK-" + std::string(32, '0') + ".tmp";
    std::ofstream(marker) << "an old one";
    MakeOlder({marker}, 2);
    EXPECT_TRUE(AStoreMakesItSo(inFolder, inScan, [&] { return !fs::exists(marker); }));
    EXPECT_EQ(before.temps.size(), FolderContents(inFolder).temps.size()) << "young ones went";

    MakeOlder(before.temps, 2);
    EXPECT_TRUE(
        AStoreMakesItSo(inFolder, inScan, [&] { return FolderContents(inFolder).temps.empty(); }))
        << "left-overs stay";
    EXPECT_EQ(before.whole, FolderContents(inFolder).whole);
}

/// A store reads all that is there, each item with one completion.
int ReadAll(const std::string& inFolder)
{
    return RunInChild(
        [&]
        {
            const RK::Initializer library;
            const RealStore store(inFolder);
            int wrong = 0;
            for (const std::uint32_t item : FolderContents(inFolder).whole)
                wrong += store.Get(item).whole ? 0 : 1;
            return std::min(wrong, 99);
        });
}

TEST(RealDataCacheKill, AfterAnyKillEveryItemIsWholeAndLeftOversGoOnceTheyAreOld)
{
    const int kills = KillCount();
    Offers();
    std::mt19937 random(20260101);
    std::size_t leftOvers = 0;
    int items = 0;
    for (int first = 0; first < kills && !HasFailure(); first += kKillsOfAnEpoch)
    {
        const int epoch = first / kKillsOfAnEpoch;
        const TemporaryFolder folder(ParentOf(epoch));
        const std::string path = folder.MakeFolder("cache");
        Inspector inspector(path);
        for (int kill = first; kill < std::min(kills, first + kKillsOfAnEpoch); ++kill)
        {
            RunAndKill(path, static_cast<std::uint32_t>(kill + 1), static_cast<int>(random() % 60),
                       random() % 5000);
            inspector.Look(kill);
        }
        const FolderContents contents(path);
        EXPECT_EQ(std::vector<std::string>(), contents.torn);
        leftOvers += contents.temps.size();
        items += inspector.Items();
        EXPECT_EQ(0, ReadAll(path));
        ExpectThatLeftOversGo(path, epoch % 2 == 0);
    }
    // The kills have met writes, or nothing was tried.
    EXPECT_GT(items, kills);
    EXPECT_GT(leftOvers, 0u);
    RecordProperty("items", items);
    RecordProperty("left_overs", static_cast<int>(leftOvers));
}

} // namespace
