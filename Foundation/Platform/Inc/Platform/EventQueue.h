// Folders watched by one thread that waits for all of them in one call, and the pipe that wakes it.
//
// The shape is that of a list of changes which goes in whole with each call, and one event that comes out. A
// record stands for what is watched; all are one-shot, so what has fired is armed again by being in the list
// of the next call. What happens in between is kept, and fires then: it is seen once.
//
// A folder's event says that entries were added, removed or renamed, or that the folder itself was; not that
// the content of a file in it has changed. Where events were lost, every folder fires. A folder for which
// there is no watch left is looked at now and then, and fires when its times have changed. The path "/Volumes" stands
// for the table of mounts, and for a folder of that name if there is one.
//
// Threads  Any; Wait of one queue by one thread at a time. Idents are no descriptors of the process: closing
//          one while another thread waits for it is harmless, and a number does not come again.
// Errors   As told with each; the calls behave as their namesakes of the system.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Platform
{

constexpr std::int16_t kQueueFilter_None = 0; ///< such a record is passed over
constexpr std::int16_t kQueueFilter_Read = -1;
constexpr std::int16_t kQueueFilter_Folder = -4;

constexpr std::uint16_t kQueueFlag_Add = 0x1;
constexpr std::uint16_t kQueueFlag_Enable = 0x4;
constexpr std::uint16_t kQueueFlag_OneShot = 0x10;
constexpr std::uint16_t kQueueFlag_Error = 0x4000; ///< of an event: mData holds the number of errno

constexpr std::uint32_t kQueueNote_Delete = 0x1;
constexpr std::uint32_t kQueueNote_Write = 0x2;
constexpr std::uint32_t kQueueNote_Rename = 0x20;

struct QueueRecord
{
    std::uint64_t mIdent = 0;
    std::int16_t mFilter = kQueueFilter_None;
    std::uint16_t mFlags = 0;
    std::uint32_t mNotes = 0;
    std::int64_t mData = 0;
    std::uint64_t mUserData = 0;
};

class IEventQueue
{
public:
    virtual ~IEventQueue();

    /// @param outEnds  for reading, for writing. What is written in one call is read as a whole.
    /// @return 0; -1 and the ends as they were.
    virtual int CreatePipe(int (&outEnds)[2]) = 0;
    /// @return how many bytes; 0 if there are none, -1 if there is no such end.
    virtual std::ptrdiff_t Read(int inEnd, void* outBytes, std::size_t inSize) = 0;
    virtual std::ptrdiff_t Write(int inEnd, const void* inBytes, std::size_t inSize) = 0;

    /// @return an ident for a path; -1 if it cannot be watched.
    virtual int Open(const std::string& inPath) = 0;
    /// Of a path's ident or of an end of a pipe. @return 0; -1, with errno, if there is no such ident.
    virtual int Close(int inIdent) = 0;

    /// @return a queue; -1 if there can be none.
    virtual int CreateQueue() = 0;
    virtual void CloseQueue(int inQueue) = 0;
    /// Arms what is in inChanges, and waits until one of it fires.
    /// @param outEvent  of it.
    /// @return 1; 0 or below if there is no event.
    virtual int Wait(int inQueue, const std::vector<QueueRecord>& inChanges,
                     QueueRecord& outEvent) = 0;

    /// Runs inWork in a thread that nobody waits for.
    /// @return 0 or a number of errno.
    virtual int StartThread(void (*inWork)(void*), void* inArgument) = 0;
    /// How often events were lost, or a folder had no watch.
    virtual std::uint64_t LossCount() = 0;
};

/// The instance in force.
IEventQueue& EventQueue();

/// Puts an event queue in the place of the real one for its life. One at a time.
class ScopedEventQueue
{
public:
    explicit ScopedEventQueue(IEventQueue& inQueue);
    ~ScopedEventQueue();
    ScopedEventQueue(const ScopedEventQueue&) = delete;
    ScopedEventQueue& operator=(const ScopedEventQueue&) = delete;

private:
    IEventQueue* mBefore;
};

} // namespace Platform
