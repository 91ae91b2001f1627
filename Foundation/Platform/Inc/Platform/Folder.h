// A folder held open: what is done through it concerns that very folder, however it is renamed and
// whatever takes its place meanwhile.
//
// Threads  A folder belongs to one thread at a time.
// Errors   Each int is 0 or one of the numbers of <cerrno>; outputs are set only when it is 0. A name is
//          one component: one that is empty or "." or "..", or holds a slash or a NUL, is EINVAL.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace Platform
{

class IDirectoryListing;
struct FileStatus;

/// What tells a folder from every other for as long as somebody holds it open or it is not removed.
struct FolderIdentity
{
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t mount = 0; ///< 0 where the system does not tell it (before Linux 5.8)

    friend bool operator==(const FolderIdentity&, const FolderIdentity&) = default;
};

class IFolder
{
public:
    virtual ~IFolder();

    virtual const FolderIdentity& Identity() const = 0;
    virtual int List(std::unique_ptr<IDirectoryListing>& outListing) = 0;
    /// Of the entry itself: links are not followed.
    virtual int StatEntry(const std::string& inName, FileStatus& outStatus) = 0;
    /// Opens a folder directly in this one. ENOTDIR for anything else, links too; EXDEV if another
    /// volume, or another part of this one, is mounted there.
    virtual int OpenFolder(const std::string& inName, std::unique_ptr<IFolder>& outFolder) = 0;
    /// Opens a folder further below: inPath is one or more names with a slash between, and each of them
    /// is refused as by OpenFolder().
    virtual int OpenFolderBelow(const std::string& inPath, std::unique_ptr<IFolder>& outFolder);
    /// The folder that this one is in now.
    virtual int OpenParent(std::unique_ptr<IFolder>& outFolder) = 0;
    /// EEXIST if anything has that name.
    virtual int MakeDirectory(const std::string& inName) = 0;
    /// ENOTEMPTY if it holds anything. Never follows a link (ENOTDIR).
    virtual int RemoveDirectory(const std::string& inName) = 0;
    /// Removes a name that is no folder's (EISDIR). Never follows a link.
    virtual int RemoveFile(const std::string& inName) = 0;
};

} // namespace Platform
