#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "Inotify.h"

namespace Platform
{

// The process's group of fanotify marks: watches of folders beyond the user's limit of inotify watches, where the
// process may. They have a limit of their own, and none for a process that administers the system.
//
// A folder is known by its handle. A mark cannot be taken from a folder that is not open any more, so one that
// nobody uses stays, and serves whoever asks for that folder again; with the last that is used all go.
//
// No end of a volume is told: who watches folders of volumes looks at the table of mounts.
//
// Threads  One at a time, but for Read.
class FanotifyMarks
{
public:
    /// The first number of a watch here. Those of inotify count up from 1, and do not come so far.
    static constexpr int kFirstWatch = 1 << 30;

    FanotifyMarks() = default;
    FanotifyMarks(const FanotifyMarks&) = delete;
    FanotifyMarks& operator=(const FanotifyMarks&) = delete;

    /// @return 0, or a number of errno: EPERM, ENOSYS or EINVAL where there is no such thing for this process.
    int Begin();
    bool HasBegun() const { return mGroup >= 0; }
    /// Of a group that nobody reads.
    void End();

    /// Marks the folder that a descriptor is open for.
    /// @param inMask  a sum of IN_ values.
    /// @return 0, or a number of errno: ENOTDIR for what is no folder, ENOSPC for the user's limit of marks.
    int Add(int inDescriptor, std::uint32_t inMask, int& outWatch);
    /// The same for a folder that has a mark. @return false if it has none.
    bool AddToKnown(int inDescriptor, std::uint32_t inMask, int& outWatch);
    /// Nobody uses the watch any more.
    void Remove(int inWatch);

    /// Waits for events. From any thread, while others do the rest.
    /// @return how many bytes, or -1.
    std::ptrdiff_t Read(void* outBytes, std::size_t inSize) const;
    /// The events in what was read, of folders that are used; IN_IGNORED follows the end of a folder.
    std::vector<InotifyEvent> Parse(const void* inBytes, std::size_t inSize);

private:
    using Handle = std::string; // of a folder: its volume's number, and its own
    struct Mark
    {
        int watch = -1;
        std::uint32_t mask = 0;
        bool isUsed = false;
    };
    using Marks = std::unordered_map<Handle, Mark>;

    static int HandleOf(int inDescriptor, Handle& outHandle);
    int Put(int inDescriptor, std::uint32_t inMask) const;
    void Use(Marks::iterator inMark);
    void FlushIfUnused();
    void ParseOne(const unsigned char* inBytes, std::size_t inSize, std::uint32_t inMask,
                  std::vector<InotifyEvent>& ioEvents);

    int mGroup = -1;
    int mNext = kFirstWatch;
    std::size_t mUsed = 0;
    Marks mMarks;
    std::unordered_map<int, Handle> mHandles; // by watch
};

} // namespace Platform
