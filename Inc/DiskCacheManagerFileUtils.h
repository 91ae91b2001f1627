#pragma once

#include <cstdint>
#include <set>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/AtomicInt.h"
#include "qelcore/FileUtils.h"
#include "qelcore/UTFString.h"

// What a sweep does with files: list them, and delete one. Here by whole records, each of which stands for
// itself; a sweep does the same through a ManagedTree.
//
// Threads  Free functions without state. A set inAbortFlag ends a listing at the next entry; what was
//          listed by then is handed back.
// Errors   Nothing fails loudly: what cannot be read is not listed, and a refused deletion is told by
//          the result or a trace line. std::bad_alloc passes.
// Names    Any bytes that the system allows. A name that is no UTF-8 stays what it is on its way
//          through a record, and is deleted only by its extension, like any other.
namespace RK
{
namespace DiskCacheManager
{

using Path = qelcore::utility::FileUtils::PathSpecifier;
using PathPtr = boost::shared_ptr<const Path>;
using PathSet = std::set<Path>;
using Extensions = std::vector<qelcore::UTF16String>; // each with its dot

/// Whether a comes before b by the count of ticks beneath: the special times have their places there too,
/// before and behind all others, not_a_date_time just ahead of the infinite future. So it orders all
/// times, which the operators of ptime do not.
bool IsBefore(const boost::posix_time::ptime& a, const boost::posix_time::ptime& b);

// A file of a sweep. There may be millions, so the folder is shared, and a record has 64 bytes: two words
// for the folder, one each for size and time, four for the name, which lies beside it if it is longer
// than 7 units.
struct FileRecord
{
    PathPtr mDirectory;
    std::uint64_t mSize = 0; // bytes
    qelcore::UTF16String mName;
    boost::posix_time::ptime
        mTime; // the later of last access and last modification; whole seconds, UTC

    /// The newest first.
    friend bool operator<(const FileRecord& a, const FileRecord& b)
    {
        return IsBefore(b.mTime, a.mTime);
    }
};

struct SubDirectoryRecord
{
    PathPtr mDirectory; // the one that it is in
    qelcore::UTF16String mName;
    boost::posix_time::ptime mTime; // as a file's

    /// The newest first.
    friend bool operator<(const SubDirectoryRecord& a, const SubDirectoryRecord& b)
    {
        return IsBefore(b.mTime, a.mTime);
    }
};

/// Lists one folder, in the system's order. Hidden entries, those whose name begins with ".", links, and
/// files whose extension is not in inExtensions are passed over and counted nowhere.
/// @param ioSubDirectories, ioFiles  appended to.
/// @param ioUsedBytes                the files' sizes are added.
void GetDirectoryListing(const PathPtr& inDirectory, const qelcore::threads::AtomicInt& inAbortFlag,
                         const Extensions& inExtensions,
                         std::vector<SubDirectoryRecord>& ioSubDirectories,
                         std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes);

/// Lists a folder and all below it, but what is in inExcluded.
/// @param ioSubDirectories  gets the subtrees without a file of inExtensions, each by its topmost folder:
///                          they may hold other files.
/// @param ioIsEmpty         cleared if there is such a file below, or an excluded folder; never set.
void GetFlattenedDirectoryListing(const PathPtr& inDirectory, const PathSet& inExcluded,
                                  const qelcore::threads::AtomicInt& inAbortFlag,
                                  const Extensions& inExtensions, std::vector<FileRecord>& ioFiles,
                                  std::uint64_t& ioUsedBytes,
                                  std::vector<SubDirectoryRecord>& ioSubDirectories,
                                  bool& ioIsEmpty);

/// Whether the extension of inName is one of inExtensions, without regard to case.
bool MatchExtension(const qelcore::UTF16String& inName, const Extensions& inExtensions);

/// Asserts that the list is not empty, and goes on.
void AssertNotEmpty(const Extensions& inFileExtensionsAllowedToDelete, const char* inPath,
                    const char* inSignature, int inLine);

/// Deletes a file if its extension is in the list: the last barrier, whatever the record says.
/// @return whether it is gone; also true if it was gone before.
bool DeleteFile(const FileRecord& inRecord, const Extensions& inFileExtensionsAllowedToDelete);

/// Removes a folder if there are only folders in it, as qelcore::filesupport::Dir::Delete(). A failure
/// is a line of the trace category "RK::DiskCacheManager" at level 5.
void DeleteSubDirectory(const SubDirectoryRecord& inRecord);

/// That line.
void TraceRefusedFolder(const Path& inPath);

} // namespace DiskCacheManager
} // namespace RK
