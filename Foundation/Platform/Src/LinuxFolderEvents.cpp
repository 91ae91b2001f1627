#include "LinuxFolderEvents.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <unordered_map>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include "Inotify.h"
#include "MountInfo.h"
#include "OwnedDescriptor.h"
#include "Platform/Thread.h"
#include "Platform/VolumeTable.h"
#include "WatchedTree.h"

namespace Platform
{
namespace
{

using Time = std::chrono::steady_clock::time_point;
using std::chrono::milliseconds;

constexpr std::uint32_t kAnythingHappened = kFolderEvent_MustScanSubDirs | kFolderEvent_AnyItem;
constexpr std::uint32_t kAncestorEvents = IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE;

constexpr milliseconds kAgain(10);            ///< to folders that were just being changed
constexpr milliseconds kRootAgain(500);       ///< to a root that is away
constexpr milliseconds kUnwatchedAgain(2000); ///< to folders that have no watch
constexpr milliseconds kLongestStop(2000);
/// Far more than the kernel's queue holds; beyond it nothing but "look at all" is worth keeping.
constexpr std::size_t kMostNoted = 262144;

void Signal(int inEventDescriptor)
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = write(inEventDescriptor, &one, sizeof one);
}

void Clear(int inEventDescriptor)
{
    std::uint64_t count;
    [[maybe_unused]] const ssize_t size = read(inEventDescriptor, &count, sizeof count);
}

// The folders that lead to a root. One of them may be renamed or removed, and then the root's path leads
// elsewhere or nowhere, which no watch of the root itself would tell.
class WayToRoot : public IInotifyClient
{
public:
    /// @param inWake  an eventfd, signalled when the way may have changed; borrowed.
    explicit WayToRoot(int inWake)
        : mWake(inWake)
    {
    }
    ~WayToRoot() override { Inotify::Instance().RemoveAll(*this); }
    WayToRoot(const WayToRoot&) = delete;
    WayToRoot& operator=(const WayToRoot&) = delete;

    void Watch(const std::string& inRoot);
    bool TakeChanged() { return mHasChanged.exchange(false); }
    /// Whether each step has its watch. Otherwise the root must be looked at now and then.
    bool IsWatched() const { return mIsWatched; }

    // What else happens in these folders is nobody's business here.
    void OnEvent(const InotifyEvent& inEvent) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto [first, last] = mSteps.equal_range(inEvent.watch);
        if (std::none_of(first, last,
                         [&](const auto& inStep) { return inStep.second == inEvent.name; }))
            return;
        mHasChanged = true;
        Signal(mWake);
    }

private:
    const int mWake;
    std::mutex mMutex;
    std::multimap<int, std::string>
        mSteps; // guarded by mMutex: a folder's watch, and the next step in it
    std::atomic<bool> mHasChanged{false};
    bool mIsWatched = true; ///< the worker's
};

void WayToRoot::Watch(const std::string& inRoot)
{
    Inotify::Instance().RemoveAll(*this);
    std::multimap<int, std::string> steps;
    mIsWatched = true;
    for (std::size_t end = inRoot.size(); end != 0 && inRoot != "/";)
    {
        const std::size_t slash = inRoot.rfind('/', end - 1);
        const bool isFirst = slash == std::string::npos;
        const std::string parent = isFirst ? "." : slash == 0 ? "/" : inRoot.substr(0, slash);
        const std::size_t begin = isFirst ? 0 : slash + 1;
        const OwnedDescriptor folder(open(parent.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
        int watch = -1;
        if (folder.IsOpen() &&
            Inotify::Instance().AddFolder(folder.Get(), kAncestorEvents, *this, watch) == 0)
            steps.emplace(watch, inRoot.substr(begin, end - begin));
        else
            mIsWatched = false;
        end = isFirst ? 0 : slash;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    mSteps = std::move(steps);
    // What has happened up to here went by unseen.
    mHasChanged = true;
    Signal(mWake);
}

// What the thread of a stream and the stream itself share. The thread keeps it alive, so that a stream can
// end while its thread stands still in a folder that does not answer.
//
// Threads  Lists are the reading thread's, the worker's and the client's, under mMutex; the rest is the
//          worker's alone, or the client's before the worker has begun.
class Work : public IInotifyClient, private WatchedTree::ISink
{
public:
    Work(const std::string& inRoot, double inLatencySeconds, std::uint32_t inFlags)
        : mRoot(inRoot.size() > 1 && inRoot.back() == '/' ? inRoot.substr(0, inRoot.size() - 1)
                                                          : inRoot)
        , mLatency(std::chrono::duration_cast<std::chrono::steady_clock::duration>(
              std::chrono::duration<double>(std::clamp(inLatencySeconds, 0.0, 3600.0))))
        , mFlags(inFlags)
        , mWake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , mReadable(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
        , mMountTable(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC))
        , mWay(mWake.Get())
        , mTree(mRoot,
                IN_ATTRIB | (TellsItems() ? std::uint32_t{IN_CLOSE_WRITE} : std::uint32_t{0}),
                *this, *this)
    {
        mWake.OrThrow("eventfd");
        mReadable.OrThrow("eventfd");
    }
    ~Work() override { Inotify::Instance().RemoveAll(*this); }
    Work(const Work&) = delete;
    Work& operator=(const Work&) = delete;

    bool Begin()
    {
        if (mTree.Begin() != 0)
            return false;
        mWay.Watch(mRoot);
        mMounts = MountsBelow();
        mHasRoot = true;
        return true;
    }

    void Run();
    void Stop();

    int Descriptor() const { return mReadable.Get(); }
    std::uint64_t LossCount() const { return mLossCount; }

    std::vector<FolderEvent> Take()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        Clear(mReadable.Get());
        return std::exchange(mReady, {});
    }

    void OnEvent(const InotifyEvent& inEvent) override
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if ((inEvent.mask & IN_Q_OVERFLOW) != 0 || mNoted.size() >= kMostNoted)
        {
            mHasOverflown = true;
            mNoted.clear();
        }
        else
            mNoted.push_back(inEvent);
        Signal(mWake.Get());
    }

private:
    bool TellsItems() const { return (mFlags & kFolderStream_FileEvents) != 0; }

    std::map<std::uint64_t, std::string> MountsBelow() const;
    void Turn(bool inMountsChanged);
    void TakeNoted();
    void LookAtRoot();
    void LookAtMounts();
    /// Whether something has no watch that would tell of it.
    bool MustLook() const { return !mHasRoot || !mWay.IsWatched() || mTree.HasUnwatched(); }
    /// Of a mount point, below the root.
    std::string FolderOf(const std::string& inPoint) const
    {
        std::string folder = inPoint.substr(std::min(mTree.RealPath().size(), inPoint.size()));
        return folder.substr(std::min(folder.find_first_not_of('/'), folder.size()));
    }
    void Deliver();
    void Tell(const std::string& inFolder, const std::string& inName,
              std::uint32_t inFlags) override;
    void Add(const std::string& inPath, std::uint32_t inFlags);
    int MillisecondsToWait() const;

    const std::string mRoot;
    const std::chrono::steady_clock::duration mLatency;
    const std::uint32_t mFlags;
    const OwnedDescriptor mWake;
    const OwnedDescriptor mReadable;
    const OwnedDescriptor mMountTable;
    WayToRoot mWay;

    std::mutex mMutex;
    std::condition_variable mHasEnded;
    std::vector<InotifyEvent> mNoted; // guarded by mMutex
    bool mHasOverflown = false;       // guarded by mMutex
    std::vector<FolderEvent> mReady;  // guarded by mMutex
    bool mIsStopping = false;         // guarded by mMutex
    bool mIsRunning = false;          // guarded by mMutex
    std::atomic<std::uint64_t> mLossCount{0};
    std::uint64_t mOverflowCount = 0;

    // The worker's.
    WatchedTree mTree;
    bool mHasRoot = false;
    bool mHasMore = false; ///< of the tree, to be tried again soon
    std::map<std::uint64_t, std::string> mMounts;
    std::vector<FolderEvent> mBatch;
    std::unordered_map<std::string, std::size_t> mPlaces; ///< of paths in mBatch
    Time mDue{};                                          ///< of mBatch
    Time mNextLook{};                                     ///< at the root, or at what has no watch
    std::uint64_t mNextID = 1;

    friend class Stream;
};

std::map<std::uint64_t, std::string> Work::MountsBelow() const
{
    std::vector<Mount> mounts;
    VolumeTable().Mounts(mounts);
    std::map<std::uint64_t, std::string> below;
    for (const Mount& mount : mounts)
        if (IsAtOrBelow(mount.mountPoint, mTree.RealPath()))
            below.emplace(mount.id, mount.mountPoint);
    return below;
}

void Work::Run()
{
    SetCurrentThreadName("RK::FolderEvents");
    for (;;)
    {
        pollfd descriptors[] = {{mWake.Get(), POLLIN, 0}, {mMountTable.Get(), POLLPRI, 0}};
        poll(descriptors, 2, MillisecondsToWait());
        Clear(mWake.Get());
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            if (mIsStopping)
                break;
        }
        Turn(descriptors[1].revents != 0);
    }
    Inotify::Instance().RemoveAll(*this);
    const std::lock_guard<std::mutex> lock(mMutex);
    mIsRunning = false;
    mHasEnded.notify_all();
}

void Work::Stop()
{
    std::unique_lock<std::mutex> lock(mMutex);
    mIsStopping = true;
    Signal(mWake.Get());
    mHasEnded.wait_for(lock, kLongestStop, [this] { return !mIsRunning; });
    mReady.clear();
    Clear(mReadable.Get());
}

void Work::Turn(bool inMountsChanged)
{
    TakeNoted();
    if (inMountsChanged)
        LookAtMounts();
    const Time now = std::chrono::steady_clock::now();
    const bool mustLook = MustLook() && now >= mNextLook;
    if (mustLook)
    {
        mTree.LookAtUnwatched();
        mNextLook = now + (mHasRoot ? kUnwatchedAgain : kRootAgain);
    }
    if (mTree.TakeRootDoubt() || mustLook)
        LookAtRoot();
    mHasMore = mHasRoot && mTree.Reconcile();
    mLossCount = mOverflowCount + mTree.LossCount();
    if (!mBatch.empty() && std::chrono::steady_clock::now() >= mDue)
        Deliver();
}

void Work::TakeNoted()
{
    std::vector<InotifyEvent> noted;
    bool hasOverflown;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        noted.swap(mNoted);
        hasOverflown = std::exchange(mHasOverflown, false);
    }
    for (const InotifyEvent& event : noted)
        mTree.Handle(event);
    const bool isRootInDoubt = mWay.TakeChanged() || hasOverflown;
    if (hasOverflown)
    {
        ++mOverflowCount;
        Tell("", "", kAnythingHappened | kFolderEvent_KernelDropped);
        mTree.MakeAllDirty();
    }
    if (isRootInDoubt)
        LookAtRoot();
}

void Work::LookAtRoot()
{
    if (mHasRoot && mTree.IsRootInPlace())
        return;
    const bool hadRoot = mHasRoot;
    if (mTree.Begin() != 0)
        mTree.Clear();
    mHasRoot = !mTree.IsEmpty();
    if (!hadRoot && !mHasRoot)
        return;
    mWay.Watch(mRoot);
    std::uint32_t flags = kAnythingHappened;
    if ((mFlags & kFolderStream_WatchRoot) != 0)
        flags |= kFolderEvent_RootChanged;
    Tell("", "", flags);
    mNextLook = std::chrono::steady_clock::now() + kRootAgain;
}

void Work::LookAtMounts()
{
    std::map<std::uint64_t, std::string> mounts = MountsBelow();
    const auto tellMissing = [this](const auto& inFrom, const auto& inIn, std::uint32_t inFlag)
    {
        for (const auto& [id, point] : inFrom)
        {
            const auto found = inIn.find(id);
            if (found != inIn.end() && found->second == point)
                continue;
            const std::string folder = FolderOf(point);
            Tell(folder, "", inFlag);
            mTree.MakeDirtyAt(folder);
            if (folder.empty())
                LookAtRoot();
        }
    };
    mTree.OnMountsChanged();
    tellMissing(mMounts, mounts, kFolderEvent_Unmount);
    tellMissing(mounts, mMounts, kFolderEvent_Mount);
    mMounts = std::move(mounts);
}

void Work::Tell(const std::string& inFolder, const std::string& inName, std::uint32_t inFlags)
{
    std::string path = mRoot == "/" ? "" : mRoot;
    if (!inFolder.empty())
        path += "/" + inFolder;
    if (!inName.empty() && TellsItems())
        path += "/" + inName;
    if (!TellsItems())
    {
        path += "/";
        inFlags &= ~(kFolderEvent_ItemIsFile | kFolderEvent_ItemIsDir);
    }
    Add(path.empty() ? "/" : path, inFlags);
}

void Work::Add(const std::string& inPath, std::uint32_t inFlags)
{
    if (mBatch.empty())
        mDue = std::chrono::steady_clock::now() + mLatency;
    const auto [place, isNew] = mPlaces.try_emplace(inPath, mBatch.size());
    if (isNew)
        mBatch.push_back({inPath, 0, 0});
    mBatch[place->second].flags |= inFlags;
}

void Work::Deliver()
{
    for (FolderEvent& event : mBatch)
        event.id = mNextID++;
    const std::lock_guard<std::mutex> lock(mMutex);
    if (!mIsStopping)
    {
        mReady.insert(mReady.end(), std::make_move_iterator(mBatch.begin()),
                      std::make_move_iterator(mBatch.end()));
        Signal(mReadable.Get());
    }
    mBatch.clear();
    mPlaces.clear();
}

int Work::MillisecondsToWait() const
{
    const Time now = std::chrono::steady_clock::now();
    Time next = Time::max();
    if (!mBatch.empty())
        next = mDue;
    if (MustLook())
        next = std::min(next, mNextLook);
    if (mHasMore)
        next = std::min(next, now + kAgain);
    if (next == Time::max())
        return -1;
    return std::max(
        0, static_cast<int>(
               std::chrono::ceil<milliseconds>(std::max(next - now, Time::duration(0))).count()));
}

class Stream : public IFolderEventStream
{
public:
    explicit Stream(std::shared_ptr<Work> inWork)
        : mWork(std::move(inWork))
    {
    }
    ~Stream() override { Stop(); }

    bool Start() override
    {
        if (mHasBegun || !mWork->Begin())
            return false;
        mHasBegun = true;
        sigset_t all, before;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &before); // signals are for those who know what to do
        try
        {
            mWork->mIsRunning = true;
            std::thread([work = mWork] { work->Run(); }).detach();
        }
        catch (const std::system_error&)
        {
            mWork->mIsRunning = false;
            Inotify::Instance().RemoveAll(*mWork);
            mHasBegun = false;
        }
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        return mHasBegun;
    }

    void Stop() override
    {
        if (mHasBegun)
            mWork->Stop();
    }

    int Descriptor() const override { return mWork->Descriptor(); }
    std::vector<FolderEvent> Take() override { return mWork->Take(); }
    std::uint64_t LossCount() const override { return mWork->LossCount(); }

private:
    const std::shared_ptr<Work> mWork;
    bool mHasBegun = false;
};

} // namespace

std::unique_ptr<IFolderEventStream>
LinuxFolderEvents::Create(const std::string& inRoot, double inLatencySeconds, std::uint32_t inFlags)
{
    try
    {
        return std::make_unique<Stream>(std::make_shared<Work>(inRoot, inLatencySeconds, inFlags));
    }
    catch (const std::system_error&)
    {
        return nullptr;
    }
}

} // namespace Platform
