// Streams of what happens below a folder, at any depth.
//
// A stream never leaves a gap: a folder that appears is watched before it is listed, and what was in it
// by then is told as created. Where the system lost events, or has no room to watch for more, the
// stream says kFolderEvent_MustScanSubDirs of the folder below which anything may have happened, together with all
// of kFolderEvent_AnyItem, so that a client that knows no more than those looks again as well.
//
// Links below the root are not followed. Folders of other file systems that are mounted below are watched
// like any, except for those of servers, of automounters and of the kernel. What another host does in a
// folder that several share gives no event.
//
// Threads  Each function may be called from any thread; one stream from one thread at a time, but for
//          Descriptor() and Take().
// Units    Seconds. Paths are the system's own bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Platform
{

// What an event says; a set of them is a sum. Flags of one path add up until they are taken, so one that
// says created and removed may be there or not: look.
constexpr std::uint32_t kFolderEvent_MustScanSubDirs = 0x1;
constexpr std::uint32_t kFolderEvent_KernelDropped =
    0x4; ///< why: the system had no room for events
constexpr std::uint32_t kFolderEvent_RootChanged =
    0x20;                                          ///< the root came, went, or is another folder
constexpr std::uint32_t kFolderEvent_Mount = 0x40; ///< at the event's path
constexpr std::uint32_t kFolderEvent_Unmount = 0x80;
constexpr std::uint32_t kFolderEvent_ItemCreated = 0x100;
constexpr std::uint32_t kFolderEvent_ItemRemoved = 0x200;
constexpr std::uint32_t kFolderEvent_ItemInodeMetaMod = 0x400; ///< rights, owner, times
constexpr std::uint32_t kFolderEvent_ItemRenamed = 0x800;      ///< away from here, or to here
constexpr std::uint32_t kFolderEvent_ItemModified = 0x1000;    ///< its content, once it was closed
constexpr std::uint32_t kFolderEvent_ItemIsFile = 0x10000;     ///< or anything that is no folder
constexpr std::uint32_t kFolderEvent_ItemIsDir = 0x20000;
constexpr std::uint32_t kFolderEvent_AnyItem = 0xF00;

/// The stream tells kFolderEvent_RootChanged.
constexpr std::uint32_t kFolderStream_WatchRoot = 0x4;
/// Each event is told of the item. Otherwise it is told of the folder that the item is in, with a slash at
/// its end, and changes of content are not told.
constexpr std::uint32_t kFolderStream_FileEvents = 0x10;

struct FolderEvent
{
    std::string path; ///< begins with the root as it was given, but for a slash at its end
    std::uint32_t flags = 0;
    std::uint64_t id = 0; ///< grows from event to event
};

class IFolderEventStream
{
public:
    /// Stops, and lets go of the watches.
    virtual ~IFolderEventStream();
    /// Begins. What happens after the return is told. Takes time in proportion to the folders below.
    /// @return false if the root cannot be watched: it is not there, no folder, or may not be read.
    virtual bool Start() = 0;
    /// Ends: Take() has nothing from now on.
    virtual void Stop() = 0;
    /// Readable while there is something to take; borrowed for the life of the stream.
    virtual int Descriptor() const = 0;
    /// Takes what is due, in the order in which the paths were first touched: all that happened within the
    /// latency after the first of it.
    virtual std::vector<FolderEvent> Take() = 0;
    /// How often events were lost, or could not be watched for, and a MustScanSubDirs was told for it.
    virtual std::uint64_t LossCount() const = 0;
};

class IFolderEvents
{
public:
    virtual ~IFolderEvents();
    /// @param inFlags  a sum of kFolderStream_ values.
    /// @return null if there is no room for a stream.
    virtual std::unique_ptr<IFolderEventStream>
    Create(const std::string& inRoot, double inLatencySeconds, std::uint32_t inFlags) = 0;
};

/// The source in force.
IFolderEvents& FolderEvents();

/// Puts a source in the place of the real one for its life. One at a time.
class ScopedFolderEvents
{
public:
    explicit ScopedFolderEvents(IFolderEvents& inSource);
    ~ScopedFolderEvents();
    ScopedFolderEvents(const ScopedFolderEvents&) = delete;
    ScopedFolderEvents& operator=(const ScopedFolderEvents&) = delete;

private:
    IFolderEvents* mBefore;
};

} // namespace Platform
