#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Inotify.h"
#include "OwnedDescriptor.h"
#include "Platform/EventQueue.h"

namespace Platform
{

// The event queue over the process's one inotify instance. Pipes are lists in memory: one that nobody reads
// any more must not fill up and hold its writers.
//
// A watch is of an inode, and a client means a path. So the folder above is watched as well, for the one name
// in it: a folder that is removed while somebody still has it open tells nothing itself until that one
// lets go, and a new folder of the old name is watched in its place.
class LinuxEventQueue : public IEventQueue, private IInotifyClient
{
public:
    LinuxEventQueue() = default;
    ~LinuxEventQueue() override;
    LinuxEventQueue(const LinuxEventQueue&) = delete;
    LinuxEventQueue& operator=(const LinuxEventQueue&) = delete;

    int CreatePipe(int (&outEnds)[2]) override;
    std::ptrdiff_t Read(int inEnd, void* outBytes, std::size_t inSize) override;
    std::ptrdiff_t Write(int inEnd, const void* inBytes, std::size_t inSize) override;
    int Open(const std::string& inPath) override;
    int Close(int inIdent) override;
    int CreateQueue() override;
    void CloseQueue(int inQueue) override;
    int Wait(int inQueue, const std::vector<QueueRecord>& inChanges,
             QueueRecord& outEvent) override;
    int StartThread(void (*inWork)(void*), void* inArgument) override;
    std::uint64_t LossCount() override;

private:
    using Bytes = std::deque<char>;
    using Time = std::chrono::steady_clock::time_point;

    struct Stamp
    {
        std::int64_t mModified = -1;
        std::int64_t mChanged = -1;
        bool operator==(const Stamp&) const = default;
    };
    struct Folder
    {
        std::string mPath;
        std::string mName; ///< the last part of the path, in the folder above
        int mWatch = -1;   ///< -1: none
        int mParentWatch = -1;
        std::uint32_t mPending = 0; ///< notes that wait to be armed
        bool mMustLookUp = false;   ///< the name leads to something else now
        bool mIsLookedAt = false;   ///< for want of a watch, or of a folder above
        bool mLacksWatch = false;   ///< there was no room for one
        bool mIsMountTable = false;
        bool mIsGone = false; ///< and that was noted
        Stamp mStamp;
    };
    struct Queue
    {
        OwnedDescriptor mWake{-1};
        OwnedDescriptor mMountTable{-1};
        std::uint64_t mLast = 0; ///< the ident that fired last, so that all take turns
    };

    void OnEvent(const InotifyEvent& inEvent) override;
    static void NoteGone(Folder& ioFolder, std::uint32_t inNote);
    static void NoteOfFolder(Folder& ioFolder, const InotifyEvent& inEvent);
    static void NoteOfParent(Folder& ioFolder, const InotifyEvent& inEvent);
    Folder Watched(const std::string& inPath);
    void Index(int inIdent, const Folder& inFolder);
    void Unindex(int inIdent, const Folder& inFolder);
    void Unwatch(const Folder& inFolder);
    std::vector<int> MustLookUp(const std::vector<QueueRecord>& inChanges);
    void LookUp(int inIdent);
    void LookAround();
    bool Fire(const std::vector<QueueRecord>& inChanges, Queue& ioQueue, QueueRecord& outEvent);
    bool FireRecord(const QueueRecord& inRecord, QueueRecord& outEvent);
    void WakeAll();
    int MillisecondsToWait() const;

    // One change of the watches at a time. Taken ahead of Inotify's lock, and that ahead of mMutex.
    std::mutex mChanges;

    std::mutex mMutex; // guards all below
    std::map<int, Folder> mFolders;
    std::multimap<int, int> mByWatch;       // idents
    std::multimap<int, int> mByParentWatch; // idents
    std::map<int, std::shared_ptr<Bytes>> mEnds;
    std::map<int, std::shared_ptr<Queue>> mQueues;
    int mNextIdent = 1 << 20; // far from the numbers of descriptors
    std::uint64_t mLossCount = 0;
    Time mNextLook{};
};

} // namespace Platform
