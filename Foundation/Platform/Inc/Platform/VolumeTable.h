// Mounted volumes, and which of them a path is on.
//
// Threads  Every function may be called from any thread.
// Units    Sizes are bytes. Paths and names are the system's own bytes.
// Errors   Each int is 0 or one of the numbers of <cerrno>; outputs are set only when it is 0. A volume
//          that does not answer (a server that is away) is ETIMEDOUT within a few seconds, and at
//          once for as long as an earlier question to it is still open.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Platform
{

struct Mount
{
    std::uint64_t id = 0;
    std::uint64_t parentID = 0;
    std::string root;         ///< the folder of the file system that is mounted, "/" for all of it
    std::string mountPoint;   ///< where, without a trailing slash, except for "/"
    std::string type;         ///< "ext4", "tmpfs", "fuse.something"
    std::string source;       ///< device, server and share, or what the file system calls itself
    std::string options;      ///< of this mount
    std::string superOptions; ///< of the file system
};

struct VolumeSpace
{
    std::uint64_t freeBytes = 0; ///< what a user without rights can still write
    std::uint64_t sizeBytes = 0;
};

// Tells that the table of mounts has changed.
//
// Threads  One at a time.
class IVolumeChanges
{
public:
    virtual ~IVolumeChanges();
    /// Readable once the table has changed since the last Clear(), and now and then for nothing; it may be
    /// watched for being readable in any kind of loop. Borrowed.
    virtual int Descriptor() const = 0;
    /// Forgets the changes up to now: for the moment before the table is read.
    virtual void Clear() = 0;
};

class IVolumeTable
{
public:
    virtual ~IVolumeTable();
    /// All mounts, in the order of the system's table: of two on one folder the later one is on top.
    virtual int Mounts(std::vector<Mount>& outMounts) = 0;
    /// The volume on which inPath is. inPath must be there, but for "/Volumes", which is on that of "/" then;
    /// links are followed.
    virtual int MountOfPath(const std::string& inPath, Mount& outMount) = 0;
    virtual int Space(const std::string& inPath, VolumeSpace& outSpace) = 0;
    /// The label of the file system that is mounted there; may be empty. ENOTDIR: the mount point is no
    /// folder. Any other error: it has no label, or does not tell it.
    virtual int Label(const std::string& inMountPoint, std::string& outLabel);
    /// Changes from now on. @return null where they cannot be told.
    virtual std::unique_ptr<IVolumeChanges> WatchChanges();
};

/// Whether a volume of that type is made of this machine's own disks or memory, and so answers.
bool IsLocalFileSystem(const std::string& inType);

/// The instance in force.
IVolumeTable& VolumeTable();

/// Puts a volume table in the place of the real one for its life. One at a time.
class ScopedVolumeTable
{
public:
    explicit ScopedVolumeTable(IVolumeTable& inTable);
    ~ScopedVolumeTable();
    ScopedVolumeTable(const ScopedVolumeTable&) = delete;
    ScopedVolumeTable& operator=(const ScopedVolumeTable&) = delete;

private:
    IVolumeTable* mBefore;
};

} // namespace Platform
