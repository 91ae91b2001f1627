#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace Platform
{

enum class SegmentResult
{
    kOpened,
    kAbsent,  ///< there is none of that name
    kForeign, ///< what has the name is not ours: another owner, other rights, another size or kind
    kFailed,  ///< the system refused: no room, no right, nothing to share memory by
};

// A named block of bytes that processes of one user share, with locks and a bell. It lives until the
// machine stops, or until it is removed: removing takes the name away, and whoever has it open goes on.
//
// The bytes are read and written through the descriptor, never through a mapping: a file that somebody
// else cuts short then gives short reads, where a mapping would kill the process.
//
// Locks     Numbered, exclusive, and known to the kernel alone, so that no bytes can spoil them. A lock
//           goes with the process that took it, however that ends. They exclude openings from each
//           other, those of one process too; they do not exclude threads that share one opening.
// Bell      The first four bytes: a count that Ring() raises. Write() does not change them.
// Fork      A child of fork() has neither the descriptor nor the locks; what it inherits of an opening
//           must only be destroyed there, which does nothing.
// Threads   One at a time, except Ring(), which any thread may call meanwhile.
class SharedSegment
{
public:
    /// @param inName    a file name without slashes. Each user has names of its own.
    /// @param inSize    bytes, the bell included; what is there must have just that size.
    /// @param inCreate  makes it, with zeros and for this user only, if there is none. Its memory is set
    ///                  aside at once, so that no write fails for want of it later.
    /// @param outSegment  null unless the result is kOpened.
    static SegmentResult Open(const std::string& inName, std::size_t inSize, bool inCreate,
                              std::unique_ptr<SharedSegment>& outSegment);
    /// Takes the name away from whatever has it. @return whether nothing has the name now.
    static bool Remove(const std::string& inName);

    ~SharedSegment();
    SharedSegment(const SharedSegment&) = delete;
    SharedSegment& operator=(const SharedSegment&) = delete;

    /// Whether the name still is that of this segment.
    bool IsCurrent() const;

    /// All bytes, the bell's included. @return false if they are not all there.
    bool Read(void* outBytes) const;
    /// All bytes behind the bell. @param inBytes  the whole, of which the first four are left out.
    bool Write(const void* inBytes) const;

    /// Waits a little for the lock. @return whether it was taken, or is held by this opening already.
    bool Lock(unsigned inNumber, int inTimeoutMilliseconds);
    void Unlock(unsigned inNumber);
    bool IsLockedByOthers(unsigned inNumber) const;

    /// Raises the bell's count and wakes all who wait for it.
    void Ring() const;
    std::uint32_t BellCount() const;
    /// Waits until the bell's count is not inCount, at most so long; it may return earlier without reason.
    void WaitForBell(std::uint32_t inCount, int inTimeoutMilliseconds) const;

private:
    SharedSegment(const std::string& inPath, std::size_t inSize, int inDescriptor, void* inBell);

    const std::string mPath;
    const std::size_t mSize;
    const int mDescriptor;
    void* const mBell; // a mapping that only the kernel looks into
    const unsigned mForkCount;
};

} // namespace Platform
