#include "LinuxEventQueue.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Platform
{
namespace
{

constexpr const char* kMountTablePath = "/Volumes";
constexpr std::chrono::milliseconds kLookAgain(2000);

constexpr std::uint32_t kEntries = IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO;
constexpr std::uint32_t kItself = IN_DELETE_SELF | IN_MOVE_SELF;

void Clear(int inEventDescriptor)
{
    std::uint64_t count;
    [[maybe_unused]] const ssize_t size = read(inEventDescriptor, &count, sizeof count);
}

std::string ParentOf(const std::string& inPath)
{
    const std::size_t slash = inPath.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : inPath.substr(0, slash);
}

std::string WithoutSlashes(std::string inPath)
{
    while (inPath.size() > 1 && inPath.back() == '/')
        inPath.pop_back();
    return inPath;
}

template <class Index>
void EraseFrom(Index& ioIndex, int inWatch, int inIdent)
{
    const auto [first, last] = ioIndex.equal_range(inWatch);
    const auto found =
        std::find_if(first, last, [&](const auto& inEntry) { return inEntry.second == inIdent; });
    if (found != last)
        ioIndex.erase(found);
}

} // namespace

LinuxEventQueue::~LinuxEventQueue()
{
    Inotify::Instance().RemoveAll(*this);
}

int LinuxEventQueue::CreatePipe(int (&outEnds)[2])
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto bytes = std::make_shared<Bytes>();
    for (int& end : outEnds)
        mEnds[end = mNextIdent++] = bytes;
    return 0;
}

std::ptrdiff_t LinuxEventQueue::Read(int inEnd, void* outBytes, std::size_t inSize)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto end = mEnds.find(inEnd);
    if (end == mEnds.end())
        return -1;
    Bytes& bytes = *end->second;
    const auto last = bytes.begin() + static_cast<std::ptrdiff_t>(std::min(inSize, bytes.size()));
    const std::ptrdiff_t count = last - bytes.begin();
    std::copy(bytes.begin(), last, static_cast<char*>(outBytes));
    bytes.erase(bytes.begin(), last);
    return count;
}

std::ptrdiff_t LinuxEventQueue::Write(int inEnd, const void* inBytes, std::size_t inSize)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto end = mEnds.find(inEnd);
    if (end == mEnds.end())
        return -1;
    const char* const bytes = static_cast<const char*>(inBytes);
    end->second->insert(end->second->end(), bytes, bytes + inSize);
    WakeAll();
    return static_cast<std::ptrdiff_t>(inSize);
}

// Watches what is there now; without a watch it is looked at. Nothing of it is known to OnEvent yet.
LinuxEventQueue::Folder LinuxEventQueue::Watched(const std::string& inPath)
{
    Folder folder;
    folder.mPath = inPath;
    folder.mIsMountTable = inPath == kMountTablePath;
    const std::string path = WithoutSlashes(inPath);
    folder.mName = path.substr(path.rfind('/') + 1);

    const OwnedDescriptor parent(open(ParentOf(path).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (parent.IsOpen() &&
        Inotify::Instance().Add(parent.Get(), kEntries, *this, folder.mParentWatch) != 0)
        folder.mLacksWatch = true;
    folder.mIsLookedAt = folder.mParentWatch == -1;
    const OwnedDescriptor itself(open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status;
    if (!itself.IsOpen() || fstat(itself.Get(), &status) != 0)
        return folder;
    folder.mStamp = {status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec,
                     status.st_ctim.tv_sec * 1000000000 + status.st_ctim.tv_nsec};
    const std::uint32_t mask = S_ISDIR(status.st_mode) ? kEntries | kItself : IN_MODIFY | kItself;
    if (Inotify::Instance().Add(itself.Get(), mask, *this, folder.mWatch) != 0)
        folder.mIsLookedAt = folder.mLacksWatch = true;
    return folder;
}

// With mMutex held.
void LinuxEventQueue::Index(int inIdent, const Folder& inFolder)
{
    if (inFolder.mWatch != -1)
        mByWatch.emplace(inFolder.mWatch, inIdent);
    if (inFolder.mParentWatch != -1)
        mByParentWatch.emplace(inFolder.mParentWatch, inIdent);
}

// With mMutex held.
void LinuxEventQueue::Unindex(int inIdent, const Folder& inFolder)
{
    EraseFrom(mByWatch, inFolder.mWatch, inIdent);
    EraseFrom(mByParentWatch, inFolder.mParentWatch, inIdent);
}

// With mChanges held, and the folder out of the indices.
void LinuxEventQueue::Unwatch(const Folder& inFolder)
{
    for (const int watch : {inFolder.mWatch, inFolder.mParentWatch})
    {
        bool isUsed;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            isUsed = mByWatch.count(watch) != 0 || mByParentWatch.count(watch) != 0;
        }
        if (watch != -1 && !isUsed)
            Inotify::Instance().Remove(watch, *this);
    }
}

int LinuxEventQueue::Open(const std::string& inPath)
{
    const std::lock_guard<std::mutex> changes(mChanges);
    Folder folder = Watched(inPath);
    if (folder.mStamp == Stamp() && !folder.mIsMountTable)
    {
        Unwatch(folder);
        return -1;
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    const int ident = mNextIdent++;
    mLossCount += folder.mLacksWatch;
    Index(ident, folder);
    mFolders.emplace(ident, std::move(folder));
    return ident;
}

int LinuxEventQueue::Close(int inIdent)
{
    const std::lock_guard<std::mutex> changes(mChanges);
    Folder folder;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mEnds.erase(inIdent) != 0)
            return 0;
        const auto found = mFolders.find(inIdent);
        if (found == mFolders.end())
        {
            errno = EBADF;
            return -1;
        }
        folder = std::move(found->second);
        mFolders.erase(found);
        Unindex(inIdent, folder);
    }
    Unwatch(folder);
    return 0;
}

int LinuxEventQueue::CreateQueue()
{
    const auto queue = std::make_shared<Queue>();
    queue->mWake = OwnedDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    queue->mMountTable = OwnedDescriptor(open("/proc/self/mountinfo", O_RDONLY | O_CLOEXEC));
    if (!queue->mWake.IsOpen())
        return -1;
    const std::lock_guard<std::mutex> lock(mMutex);
    mQueues[mNextIdent] = queue;
    return mNextIdent++;
}

void LinuxEventQueue::CloseQueue(int inQueue)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    WakeAll(); // a Wait that has begun ends
    mQueues.erase(inQueue);
}

void LinuxEventQueue::WakeAll()
{
    const std::uint64_t one = 1;
    for (const auto& [ident, queue] : mQueues) [[maybe_unused]]
        const ssize_t size = write(queue->mWake.Get(), &one, sizeof one);
}

void LinuxEventQueue::OnEvent(const InotifyEvent& inEvent)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if ((inEvent.mask & IN_Q_OVERFLOW) != 0)
    {
        ++mLossCount;
        for (auto& [ident, folder] : mFolders)
            folder.mPending |= kQueueNote_Write;
    }
    // Copies: what is noted may take the folder out of the index.
    std::vector<int> folders, children;
    const auto [first, last] = mByWatch.equal_range(inEvent.watch);
    std::transform(first, last, std::back_inserter(folders),
                   [](const auto& inEntry) { return inEntry.second; });
    const auto [firstChild, lastChild] = mByParentWatch.equal_range(inEvent.watch);
    std::transform(firstChild, lastChild, std::back_inserter(children),
                   [](const auto& inEntry) { return inEntry.second; });
    for (const int ident : folders)
        NoteOfFolder(mFolders.at(ident), inEvent);
    for (const int ident : children)
        NoteOfParent(mFolders.at(ident), inEvent);
    if ((inEvent.mask & IN_IGNORED) != 0)
    {
        mByWatch.erase(inEvent.watch);
        mByParentWatch.erase(inEvent.watch);
    }
    WakeAll();
}

// The folder itself and the one above both tell it, at different times.
void LinuxEventQueue::NoteGone(Folder& ioFolder, std::uint32_t inNote)
{
    if (!std::exchange(ioFolder.mIsGone, true))
        ioFolder.mPending |= inNote;
}

void LinuxEventQueue::NoteOfFolder(Folder& ioFolder, const InotifyEvent& inEvent)
{
    if ((inEvent.mask & (kEntries | IN_MODIFY)) != 0)
        ioFolder.mPending |= kQueueNote_Write;
    if ((inEvent.mask & (IN_DELETE_SELF | IN_UNMOUNT)) != 0)
        NoteGone(ioFolder, kQueueNote_Delete);
    if ((inEvent.mask & IN_MOVE_SELF) != 0)
        NoteGone(ioFolder, kQueueNote_Rename);
    if ((inEvent.mask & IN_IGNORED) != 0)
        ioFolder.mWatch = -1;
    ioFolder.mMustLookUp |= (inEvent.mask & (kItself | IN_UNMOUNT | IN_IGNORED)) != 0;
}

void LinuxEventQueue::NoteOfParent(Folder& ioFolder, const InotifyEvent& inEvent)
{
    if ((inEvent.mask & IN_IGNORED) != 0)
    {
        ioFolder.mParentWatch = -1;
        ioFolder.mIsLookedAt = true;
        return;
    }
    if (inEvent.name != ioFolder.mName)
        return;
    if ((inEvent.mask & IN_DELETE) != 0)
        NoteGone(ioFolder, kQueueNote_Delete);
    if ((inEvent.mask & IN_MOVED_FROM) != 0)
        NoteGone(ioFolder, kQueueNote_Rename);
    ioFolder.mMustLookUp = true;
}

std::vector<int> LinuxEventQueue::MustLookUp(const std::vector<QueueRecord>& inChanges)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    std::vector<int> idents;
    for (const QueueRecord& record : inChanges)
    {
        const auto found = mFolders.find(static_cast<int>(record.mIdent));
        if (record.mFilter == kQueueFilter_Folder && found != mFolders.end() &&
            std::exchange(found->second.mMustLookUp, false))
            idents.push_back(found->first);
    }
    return idents;
}

// The path may lead to another folder by now, or to none.
void LinuxEventQueue::LookUp(int inIdent)
{
    const std::lock_guard<std::mutex> changes(mChanges);
    std::string path;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto found = mFolders.find(inIdent);
        if (found == mFolders.end())
            return;
        path = found->second.mPath;
    }
    Folder now = Watched(path);
    Folder before;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        Folder& folder = mFolders.at(inIdent); // none goes but with mChanges held
        now.mPending = folder.mPending;
        now.mMustLookUp = folder.mMustLookUp;
        now.mIsGone = folder.mIsGone && now.mStamp == Stamp();
        if (now.mStamp != Stamp() && (now.mWatch != folder.mWatch || now.mStamp != folder.mStamp))
            now.mPending |= kQueueNote_Write; // what happened in it so far was not told
        mLossCount += now.mLacksWatch && !folder.mLacksWatch;
        Unindex(inIdent, folder);
        before = std::exchange(folder, std::move(now));
        Index(inIdent, folder);
    }
    Unwatch(before);
}

void LinuxEventQueue::LookAround()
{
    std::vector<int> idents;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (std::chrono::steady_clock::now() < mNextLook)
            return;
        mNextLook = std::chrono::steady_clock::now() + kLookAgain;
        for (const auto& [ident, folder] : mFolders)
            if (folder.mIsLookedAt)
                idents.push_back(ident);
    }
    for (const int ident : idents)
        LookUp(ident);
}

// With mMutex held.
int LinuxEventQueue::MillisecondsToWait() const
{
    const bool mustLook = std::any_of(mFolders.begin(), mFolders.end(), [](const auto& inFolder)
                                      { return inFolder.second.mIsLookedAt; });
    if (!mustLook)
        return -1;
    const auto wait =
        std::chrono::ceil<std::chrono::milliseconds>(mNextLook - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(wait.count(), 0, kLookAgain.count()));
}

int LinuxEventQueue::Wait(int inQueue, const std::vector<QueueRecord>& inChanges,
                          QueueRecord& outEvent)
{
    for (;;)
    {
        for (const int ident : MustLookUp(inChanges))
            LookUp(ident);
        LookAround();
        std::shared_ptr<Queue> queue;
        int timeout;
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            const auto found = mQueues.find(inQueue);
            if (found == mQueues.end())
                return -1;
            queue = found->second;
            if (Fire(inChanges, *queue, outEvent))
                return 1;
            timeout = MillisecondsToWait();
        }
        pollfd descriptors[] = {{queue->mWake.Get(), POLLIN, 0},
                                {queue->mMountTable.Get(), POLLPRI, 0}};
        poll(descriptors, 2, timeout);
        Clear(queue->mWake.Get());
        if (descriptors[1].revents == 0)
            continue;
        const std::lock_guard<std::mutex> lock(mMutex);
        for (auto& [ident, folder] : mFolders)
            if (folder.mIsMountTable)
                folder.mPending |= kQueueNote_Write;
    }
}

// With mMutex held.
bool LinuxEventQueue::Fire(const std::vector<QueueRecord>& inChanges, Queue& ioQueue,
                           QueueRecord& outEvent)
{
    const auto last =
        std::find_if(inChanges.begin(), inChanges.end(),
                     [&](const QueueRecord& inRecord) { return inRecord.mIdent == ioQueue.mLast; });
    const std::size_t begin =
        last == inChanges.end() ? 0 : static_cast<std::size_t>(last - inChanges.begin()) + 1;
    for (std::size_t i = 0; i < inChanges.size(); ++i)
    {
        if (!FireRecord(inChanges[(begin + i) % inChanges.size()], outEvent))
            continue;
        ioQueue.mLast = outEvent.mIdent;
        return true;
    }
    return false;
}

bool LinuxEventQueue::FireRecord(const QueueRecord& inRecord, QueueRecord& outEvent)
{
    const int ident = static_cast<int>(inRecord.mIdent);
    outEvent = inRecord;
    if (inRecord.mFilter == kQueueFilter_Read)
    {
        // An end that was closed has nothing more to say, and an error would be said for ever.
        const auto end = mEnds.find(ident);
        if (end == mEnds.end() || end->second->empty())
            return false;
        outEvent.mData = static_cast<std::int64_t>(end->second->size());
        return true;
    }
    if (inRecord.mFilter != kQueueFilter_Folder)
        return false;
    const auto folder = mFolders.find(ident);
    if (folder == mFolders.end())
    {
        outEvent.mFlags |= kQueueFlag_Error;
        outEvent.mData = EBADF;
        return true;
    }
    outEvent.mNotes = folder->second.mPending & inRecord.mNotes;
    folder->second.mPending = 0;
    return outEvent.mNotes != 0;
}

int LinuxEventQueue::StartThread(void (*inWork)(void*), void* inArgument)
{
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before); // signals are for those who know what to do
    int error = 0;
    try
    {
        std::thread(inWork, inArgument).detach();
    }
    catch (const std::system_error& failure)
    {
        error = failure.code().value();
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

std::uint64_t LinuxEventQueue::LossCount()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mLossCount;
}

} // namespace Platform
