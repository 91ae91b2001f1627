#pragma once

#include <cstddef>
#include <iterator>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/File.h"
#include "qelcore/FileExceptions.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace filesupport
{

/// Whether a listing shall give the file of that name (the name alone, without its folder).
using FileFilter = boost::function<bool(const UTF16String& inName)>;

// A walk over files that is read from the disk as it goes: it holds one folder open and a few entries in
// memory, however many there are. Copies share one walk, so that only one of them may be moved on.
//
// Threads  One at a time.
class RK_API FileIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = File;
    using difference_type = std::ptrdiff_t;
    using pointer = const File*;
    using reference = const File&;

    /// The end of every walk.
    FileIterator();
    FileIterator(const FileIterator&);
    FileIterator& operator=(const FileIterator&);
    ~FileIterator();

    /// The file that the walk stands at, until it is moved on. Not at the end.
    const File& operator*() const;
    const File* operator->() const { return &**this; }
    /// Moves on to the next file. Not at the end.
    /// @throws dir_exception  if the folder cannot be read any further; the walk is then at its end.
    FileIterator& operator++();

    /// Whether both are at their end, or both are copies of one walk.
    friend bool operator==(const FileIterator& inA, const FileIterator& inB)
    {
        return inA.Equals(inB);
    }
    friend bool operator!=(const FileIterator& inA, const FileIterator& inB)
    {
        return !inA.Equals(inB);
    }

private:
    friend class Dir;
    class Walk;
    explicit FileIterator(const boost::shared_ptr<Walk>& inWalk);
    bool Equals(const FileIterator& inOther) const;

    boost::shared_ptr<Walk> mWalk; // null, or at its end, for the end
};

// A folder by its path: a value that holds nothing open.
//
// Threads  As any value: different objects from any threads.
// Errors   dir_exception, unless told otherwise. A path that holds a NUL is refused (EINVAL).
class RK_API Dir
{
public:
    Dir() = default;
    explicit Dir(const UTF16String& inPath)
        : mPath(inPath)
    {
    }

    /// Where temporary files go: what TMPDIR names, or else the system's folder.
    static Dir TempDir();

    /// The path as it was given, with or without a trailing slash.
    const UTF16String& FullPath() const noexcept { return mPath; }
    /// The last component of the path, whether or not a slash follows it; "/" for the root.
    UTF16String GetName() const;

    /// Makes the folder. Its parent must be there, and nothing else of its name.
    void Create() const;
    /// Removes the folder and the folders in it if there is nothing else in any of them: a file, a
    /// hidden one too, or a link (ENOTEMPTY), or a mount point (EXDEV), makes it throw and leave
    /// everything. The whole tree is looked through before the first folder is removed. Links are
    /// never followed below FullPath()'s last slash, and a link to a folder is not removed (ENOTDIR).
    ///
    /// Others may be at work in the tree meanwhile. What they put into it makes this throw
    /// (ENOTEMPTY), and the folders that were already removed are made again, with the rights of new
    /// ones: so for a moment they may find a folder gone, and making something in it fails. What
    /// they remove is no failure. If they move a folder that is just looked at, this stops (EBUSY);
    /// whatever they move, nothing but empty folders, found in this tree, is ever removed.
    void Delete() const;
    /// Whether there is a folder of that name, or a link to one. Does not throw: what cannot be
    /// looked at is not there.
    bool Exists() const;

    /// Begins a walk over the files in the folder, hidden ones and links to files included, in the
    /// system's order. Its files' paths are this folder's FullPath(), a slash, and what is below.
    ///
    /// A folder that is removed during the walk ends it: files that were already read from it may
    /// still come, and then do not exist. A folder below that cannot be opened is passed over.
    /// @param inRecursive  also the files in the folders below; links to folders are not followed.
    /// @param inFilter     empty to take all; it has no say about folders.
    /// @throws dir_exception  if the folder is not there or cannot be read.
    FileIterator BeginFiles(bool inRecursive = false,
                            const FileFilter& inFilter = FileFilter()) const;
    FileIterator EndFiles() const { return FileIterator(); }

    friend bool operator==(const Dir& inA, const Dir& inB) { return inA.mPath == inB.mPath; }
    friend bool operator!=(const Dir& inA, const Dir& inB) { return inA.mPath != inB.mPath; }

private:
    UTF16String mPath;
};

} // namespace filesupport
} // namespace qelcore
