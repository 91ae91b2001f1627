#include "FanotifyMarks.h"

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/fanotify.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace Platform
{
namespace
{

// Events have the same numbers as those of inotify.
static_assert(FAN_MODIFY == IN_MODIFY && FAN_ATTRIB == IN_ATTRIB);
static_assert(FAN_CLOSE_WRITE == IN_CLOSE_WRITE && FAN_CREATE == IN_CREATE);
static_assert(FAN_DELETE == IN_DELETE && FAN_DELETE_SELF == IN_DELETE_SELF);
static_assert(FAN_MOVED_FROM == IN_MOVED_FROM && FAN_MOVED_TO == IN_MOVED_TO);
static_assert(FAN_MOVE_SELF == IN_MOVE_SELF && FAN_Q_OVERFLOW == IN_Q_OVERFLOW);
static_assert(static_cast<std::uint32_t>(FAN_ONDIR) == IN_ISDIR);

constexpr unsigned kGroup = FAN_CLASS_NOTIF | FAN_CLOEXEC | FAN_REPORT_DFID_NAME;
constexpr unsigned kWithoutLimits = FAN_UNLIMITED_QUEUE | FAN_UNLIMITED_MARKS;
constexpr int kHandleForEvents = 0x200; // AT_HANDLE_FID, since Linux 6.5

struct HandleBuffer
{
    alignas(file_handle) unsigned char all[sizeof(file_handle) + MAX_HANDLE_SZ] = {};

    file_handle& Head() { return *reinterpret_cast<file_handle*>(all); }
    const unsigned char* Bytes() const { return all + sizeof(file_handle); }
};

int NameToHandle(int inDescriptor, int inFlags, HandleBuffer& outHandle)
{
    outHandle.Head().handle_bytes = MAX_HANDLE_SZ;
    int mount = 0;
    const int done =
        name_to_handle_at(inDescriptor, "", &outHandle.Head(), &mount, AT_EMPTY_PATH | inFlags);
    return done == 0 ? 0 : errno;
}

std::string JoinHandle(const void* inVolume, int inType, const unsigned char* inBytes,
                       std::size_t inSize)
{
    std::string handle(static_cast<const char*>(inVolume), sizeof(fsid_t));
    handle.append(reinterpret_cast<const char*>(&inType), sizeof inType);
    return handle.append(reinterpret_cast<const char*>(inBytes), inSize);
}

} // namespace

int FanotifyMarks::Begin()
{
    if (HasBegun())
        return 0;
    mGroup = fanotify_init(kGroup | kWithoutLimits, O_RDONLY | O_CLOEXEC);
    if (mGroup < 0)
        mGroup = fanotify_init(kGroup, O_RDONLY | O_CLOEXEC);
    return mGroup < 0 ? errno : 0;
}

void FanotifyMarks::End()
{
    if (HasBegun())
        close(std::exchange(mGroup, -1));
}

int FanotifyMarks::HandleOf(int inDescriptor, Handle& outHandle)
{
    struct statfs volume;
    if (fstatfs(inDescriptor, &volume) != 0)
        return errno;
    HandleBuffer handle;
    int error = NameToHandle(inDescriptor, kHandleForEvents, handle);
    if (error == EINVAL)
        error = NameToHandle(inDescriptor, 0, handle);
    if (error == 0)
        outHandle = JoinHandle(&volume.f_fsid, handle.Head().handle_type, handle.Bytes(),
                               handle.Head().handle_bytes);
    return error;
}

int FanotifyMarks::Put(int inDescriptor, std::uint32_t inMask) const
{
    const std::string path = "/proc/self/fd/" + std::to_string(inDescriptor);
    const std::uint64_t mask = std::uint64_t{inMask} | FAN_ONDIR | FAN_EVENT_ON_CHILD;
    const int done =
        fanotify_mark(mGroup, FAN_MARK_ADD | FAN_MARK_ONLYDIR, mask, AT_FDCWD, path.c_str());
    return done == 0 ? 0 : errno;
}

void FanotifyMarks::Use(Marks::iterator inMark)
{
    mUsed += inMark->second.isUsed ? 0 : 1;
    inMark->second.isUsed = true;
}

int FanotifyMarks::Add(int inDescriptor, std::uint32_t inMask, int& outWatch)
{
    Handle handle;
    int error = HandleOf(inDescriptor, handle);
    if (error == 0)
        error = Put(inDescriptor, inMask);
    if (error != 0)
        return error;
    const auto mark = mMarks.try_emplace(handle).first;
    if (mark->second.watch < 0)
    {
        mark->second.watch = mNext++;
        mHandles[mark->second.watch] = handle;
    }
    mark->second.mask |= inMask;
    Use(mark);
    outWatch = mark->second.watch;
    return 0;
}

bool FanotifyMarks::AddToKnown(int inDescriptor, std::uint32_t inMask, int& outWatch)
{
    Handle handle;
    if (mMarks.empty() || HandleOf(inDescriptor, handle) != 0)
        return false;
    const auto mark = mMarks.find(handle);
    if (mark == mMarks.end())
        return false;
    if ((inMask & ~mark->second.mask) != 0 && Put(inDescriptor, inMask) != 0)
        return false;
    mark->second.mask |= inMask;
    Use(mark);
    outWatch = mark->second.watch;
    return true;
}

void FanotifyMarks::Remove(int inWatch)
{
    const auto handle = mHandles.find(inWatch);
    if (handle == mHandles.end())
        return;
    Mark& mark = mMarks[handle->second];
    mUsed -= mark.isUsed ? 1 : 0;
    mark.isUsed = false;
    FlushIfUnused();
}

void FanotifyMarks::FlushIfUnused()
{
    if (mUsed != 0 || mMarks.empty())
        return;
    fanotify_mark(mGroup, FAN_MARK_FLUSH, 0, AT_FDCWD, nullptr);
    mMarks.clear();
    mHandles.clear();
}

std::ptrdiff_t FanotifyMarks::Read(void* outBytes, std::size_t inSize) const
{
    return read(mGroup, outBytes, inSize);
}

std::vector<InotifyEvent> FanotifyMarks::Parse(const void* inBytes, std::size_t inSize)
{
    std::vector<InotifyEvent> events;
    const auto* bytes = static_cast<const unsigned char*>(inBytes);
    fanotify_event_metadata event;
    while (inSize >= sizeof event)
    {
        std::memcpy(&event, bytes, sizeof event);
        if (event.vers != FANOTIFY_METADATA_VERSION || event.metadata_len < sizeof event ||
            event.event_len < event.metadata_len || event.event_len > inSize)
            break;
        const auto mask = static_cast<std::uint32_t>(event.mask);
        if ((mask & IN_Q_OVERFLOW) != 0)
            events.push_back({-1, mask, ""});
        else
            ParseOne(bytes + event.metadata_len, event.event_len - event.metadata_len, mask,
                     events);
        bytes += event.event_len;
        inSize -= event.event_len;
    }
    return events;
}

/// @param inBytes  the records behind an event: the folder's handle, and the name in it.
void FanotifyMarks::ParseOne(const unsigned char* inBytes, std::size_t inSize, std::uint32_t inMask,
                             std::vector<InotifyEvent>& ioEvents)
{
    constexpr std::size_t kHead = offsetof(fanotify_event_info_fid, handle);
    constexpr std::size_t kHandleHead = sizeof(file_handle);
    fanotify_event_info_header record;
    if (inSize < kHead + kHandleHead)
        return;
    std::memcpy(&record, inBytes, sizeof record);
    file_handle handle;
    std::memcpy(&handle, inBytes + kHead, kHandleHead);
    const std::size_t nameAt = kHead + kHandleHead + handle.handle_bytes;
    if (record.info_type != FAN_EVENT_INFO_TYPE_DFID_NAME || record.len > inSize ||
        handle.handle_bytes > MAX_HANDLE_SZ || nameAt >= record.len)
        return;
    const auto mark = mMarks.find(JoinHandle(inBytes + sizeof record, handle.handle_type,
                                             inBytes + kHead + kHandleHead, handle.handle_bytes));
    if (mark == mMarks.end())
        return;
    const int watch = mark->second.watch;
    const auto* const text = reinterpret_cast<const char*>(inBytes + nameAt);
    const std::string name(text, strnlen(text, record.len - nameAt));
    if (mark->second.isUsed)
        ioEvents.push_back({watch, inMask, name == "." ? "" : name});
    if ((inMask & IN_DELETE_SELF) == 0)
        return;
    if (mark->second.isUsed)
        ioEvents.push_back({watch, IN_IGNORED, ""});
    mUsed -= mark->second.isUsed ? 1 : 0;
    mHandles.erase(watch);
    mMarks.erase(mark);
    FlushIfUnused();
}

} // namespace Platform
