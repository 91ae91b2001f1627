#pragma once

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include "qelcore/Export.h"
#include "qelcore/FileExceptions.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace filesupport
{

// A file by its path: a value that holds nothing open. Links are followed, except by Delete() and
// Rename(), which act on the link itself.
//
// Threads  As any value: different objects from any threads.
// Errors   file_exception, unless told otherwise. A path that holds a NUL is refused (EINVAL).
class RK_API File
{
public:
    File() = default;
    explicit File(const UTF16String& inPath)
        : mPath(inPath)
    {
    }

    /// The path as it was given.
    const UTF16String& FullPath() const noexcept { return mPath; }
    /// The last component of the path; empty if the path is empty or ends with a slash.
    UTF16String GetName() const;

    /// Makes an empty file. Fails if anything has that name, a dangling link too.
    void Create() const;
    /// Removes the name. Fails for a folder, and if there is no such file.
    void Delete() const;
    /// Whether there is something of that name that is no folder. Does not throw: what cannot be
    /// looked at is not there.
    bool Exists() const;
    /// When the contents were last changed, in UTC, to the microsecond. A time that ptime cannot hold
    /// (years before 1400 or after 9999) is the nearest one that it can.
    boost::posix_time::ptime Modified() const;
    /// Gives the file another name in its folder, and never takes the place of another (EEXIST).
    /// After a failure all is as it was, this object too.
    /// @param inName  a name without slashes.
    void Rename(const UTF16String& inName);

    friend bool operator==(const File& inA, const File& inB) { return inA.mPath == inB.mPath; }
    friend bool operator!=(const File& inA, const File& inB) { return inA.mPath != inB.mPath; }

private:
    UTF16String mPath;
};

} // namespace filesupport
} // namespace qelcore
