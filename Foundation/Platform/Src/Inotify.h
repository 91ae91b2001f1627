#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Platform
{

class FanotifyMarks;

struct InotifyEvent
{
    int watch = -1; ///< -1: of no watch, as an overflow of the queue is
    std::uint32_t mask = 0;
    std::string name; ///< empty: the folder itself
};

class IInotifyClient
{
public:
    virtual ~IInotifyClient() = default;
    /// On the thread that reads the kernel's queue, with the lock of Inotify held: takes a note, and waits
    /// for nothing.
    virtual void OnEvent(const InotifyEvent& inEvent) = 0;
};

// The process's one inotify instance, of which a user has 128 in all. It has one watch for each inode,
// whatever the path that led to it, so watches are shared: each client sees the events that it asked
// for, of the watches that it has.
//
// A thread of its own reads the kernel's queue at once, since that holds no more than 16384 events; the first
// watch starts it, and it stays. Folders beyond the user's limit of watches get a fanotify mark where the process
// may, with a second such thread.
//
// Threads  Any. Lives for ever.
class Inotify
{
public:
    static Inotify& Instance();

    /// Watches what a descriptor is open for, which may be closed then; one opened with O_PATH will do. The
    /// events that a client asks for once more are added to those that it has.
    /// @param inMask  a sum of IN_ values.
    /// @param outWatch  the number of the watch; the same for everybody who watches that inode.
    /// @return 0, or a number of errno: ENOSPC for the user's limit of watches, EMFILE for that of instances.
    int Add(int inDescriptor, std::uint32_t inMask, IInotifyClient& inClient, int& outWatch);
    /// The same for a folder, which may get a fanotify mark: then the end of its volume is not told.
    int AddFolder(int inDescriptor, std::uint32_t inMask, IInotifyClient& inClient, int& outWatch);
    /// The client sees no more of that watch.
    void Remove(int inWatch, IInotifyClient& inClient);
    /// When this returns, the client is not called and will not be.
    void RemoveAll(IInotifyClient& inClient);

private:
    using Clients = std::map<IInotifyClient*, std::uint32_t>;

    Inotify();
    int Begin();
    int BeginMarks();
    int StartThread(void (Inotify::*inRun)());
    int AddWatch(int inDescriptor, std::uint32_t inMask, int& outWatch);
    int AddMark(int inDescriptor, std::uint32_t inMask, int& outWatch);
    void AddClient(int inWatch, std::uint32_t inMask, IInotifyClient& inClient);
    void EndWatch(int inWatch);
    void Run();
    void RunMarks();
    void HandOut(const InotifyEvent& inEvent);
    void HandOutToAll(const InotifyEvent& inEvent);

    std::mutex mMutex;
    int mInstance = -1;                          // guarded by mMutex until it is there, then fixed
    const std::unique_ptr<FanotifyMarks> mMarks; // guarded by mMutex
    std::unordered_map<int, Clients> mWatches;   // guarded by mMutex
    std::map<IInotifyClient*, int> mWatchCount;  // guarded by mMutex: whom an overflow is told
};

} // namespace Platform
