#include "DiskCacheManagerFileUtils.h"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <memory>
#include <string>
#include <utility>

#include <boost/make_shared.hpp>

#include "Platform/FileSystem.h"
#include "ZOR/PathUtils.h"
#include "qelcore/CaseFolding.h"
#include "qelcore/Contract.h"
#include "qelcore/Dir.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"
#include "qelcore/UTCTime.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

namespace FileUtils = qelcore::utility::FileUtils;
using boost::posix_time::ptime;
using Platform::LinkPolicy;
using qelcore::threads::AtomicInt;

constexpr char kSourcePath[] = "Src/DiskCacheManagerFileUtils";

ptime LastUse(const Platform::FileStatus& inStatus)
{
    return qelcore::utility::ToUTCTime(
        std::max(inStatus.accessed.seconds, inStatus.modified.seconds));
}

/// Where the specials stand beside all other times, which are 0.
int RankOf(const ptime& inTime)
{
    if (inTime.is_neg_infinity())
        return -1;
    if (inTime.is_not_a_date_time())
        return 1;
    return inTime.is_pos_infinity() ? 2 : 0;
}

// One walk's settings and results.
class Lister
{
public:
    Lister(const AtomicInt& inAbortFlag, const Extensions& inExtensions,
           std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes)
        : mAbortFlag(inAbortFlag)
        , mExtensions(inExtensions)
        , mFiles(ioFiles)
        , mUsedBytes(ioUsedBytes)
    {
    }

    void List(const PathPtr& inDirectory, LinkPolicy inPolicy,
              std::vector<SubDirectoryRecord>& ioSubDirectories)
    {
        // Entries are looked at through the open folder, so that each is the one that was listed,
        // whatever the folder is called meanwhile.
        std::unique_ptr<Platform::IFolder> folder;
        std::unique_ptr<Platform::IDirectoryListing> listing;
        const std::string path = qelcore::utility::UTF16ToFileName(*inDirectory);
        if (Platform::FileSystem().OpenFolder(path, inPolicy, folder) != 0 ||
            folder->List(listing) != 0)
            return;
        Platform::DirectoryEntry entry;
        bool end = false;
        while (mAbortFlag == 0 && listing->Next(entry, end) == 0 && !end)
        {
            Platform::FileStatus status;
            if (entry.name[0] != '.' && folder->StatEntry(entry.name, status) == 0)
                Take(inDirectory, entry.name, status, ioSubDirectories);
        }
    }

    void ListFlattened(const PathPtr& inDirectory, LinkPolicy inPolicy, const PathSet& inExcluded,
                       std::vector<SubDirectoryRecord>& ioSubDirectories, bool& ioIsEmpty)
    {
        std::vector<SubDirectoryRecord> direct;
        List(inDirectory, inPolicy, direct);
        for (SubDirectoryRecord& subDirectory : direct)
        {
            if (mAbortFlag != 0)
                return;
            if (!ListBelow(subDirectory, inExcluded, ioSubDirectories))
                ioIsEmpty = false;
        }
    }

private:
    void Take(const PathPtr& inDirectory, const std::string& inName,
              const Platform::FileStatus& inStatus,
              std::vector<SubDirectoryRecord>& ioSubDirectories)
    {
        const bool isFile = inStatus.kind == Platform::FileKind::kFile;
        if (!isFile && inStatus.kind != Platform::FileKind::kDirectory)
            return;
        qelcore::UTF16String name = qelcore::utility::FileNameToUTF16(inName);
        if (!isFile)
        {
            ioSubDirectories.push_back({inDirectory, std::move(name), LastUse(inStatus)});
        }
        else if (MatchExtension(name, mExtensions))
        {
            mFiles.push_back({inDirectory, inStatus.size, std::move(name), LastUse(inStatus)});
            mUsedBytes += inStatus.size;
        }
    }

    /// @return whether the subtree is empty, and then it has become one record.
    bool ListBelow(SubDirectoryRecord& ioSubDirectory, const PathSet& inExcluded,
                   std::vector<SubDirectoryRecord>& ioSubDirectories)
    {
        Path path;
        FileUtils::BuildPathSpec(*ioSubDirectory.mDirectory, ioSubDirectory.mName, path);
        if (inExcluded.count(path) != 0)
            return false;
        const std::size_t fileCount = mFiles.size();
        std::vector<SubDirectoryRecord> below;
        bool isEmpty = true;
        // It was a folder when it was listed: a link that stands there now is not followed.
        ListFlattened(boost::make_shared<Path>(std::move(path)), LinkPolicy::kDoNotFollow,
                      inExcluded, below, isEmpty);
        isEmpty = isEmpty && mFiles.size() == fileCount;
        if (isEmpty)
            ioSubDirectories.push_back(std::move(ioSubDirectory));
        else
            std::move(below.begin(), below.end(), std::back_inserter(ioSubDirectories));
        return isEmpty;
    }

    const AtomicInt& mAbortFlag;
    const Extensions& mExtensions;
    std::vector<FileRecord>& mFiles;
    std::uint64_t& mUsedBytes;
};

} // namespace

bool IsBefore(const ptime& a, const ptime& b)
{
    const int rankOfA = RankOf(a);
    const int rankOfB = RankOf(b);
    return rankOfA != rankOfB || rankOfA != 0 ? rankOfA < rankOfB : a < b;
}

void GetDirectoryListing(const PathPtr& inDirectory, const AtomicInt& inAbortFlag,
                         const Extensions& inExtensions,
                         std::vector<SubDirectoryRecord>& ioSubDirectories,
                         std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes)
{
    Lister(inAbortFlag, inExtensions, ioFiles, ioUsedBytes)
        .List(inDirectory, LinkPolicy::kFollow, ioSubDirectories);
}

void GetFlattenedDirectoryListing(const PathPtr& inDirectory, const PathSet& inExcluded,
                                  const AtomicInt& inAbortFlag, const Extensions& inExtensions,
                                  std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes,
                                  std::vector<SubDirectoryRecord>& ioSubDirectories,
                                  bool& ioIsEmpty)
{
    Lister(inAbortFlag, inExtensions, ioFiles, ioUsedBytes)
        .ListFlattened(inDirectory, LinkPolicy::kFollow, inExcluded, ioSubDirectories, ioIsEmpty);
}

bool MatchExtension(const qelcore::UTF16String& inName, const Extensions& inExtensions)
{
    const qelcore::UTF16String extension = ZOR::PathUtils::GetExtensionPart(inName);
    return std::any_of(
        inExtensions.begin(), inExtensions.end(), [&](const qelcore::UTF16String& inAllowed)
        { return qelcore::utility::CaseInsensitive::StringEquals(extension, inAllowed); });
}

void AssertNotEmpty(const Extensions& inFileExtensionsAllowedToDelete, const char* inPath,
                    const char* inSignature, int inLine)
{
    if (inFileExtensionsAllowedToDelete.empty() &&
        qelcore::debug::BreakAfterAssertDialog("!inFileExtensionsAllowedToDelete.empty()", inPath,
                                               inSignature, inLine))
        std::raise(SIGTRAP);
}

bool DeleteFile(const FileRecord& inRecord, const Extensions& inFileExtensionsAllowedToDelete)
{
    AssertNotEmpty(inFileExtensionsAllowedToDelete, kSourcePath, __PRETTY_FUNCTION__, __LINE__);
    if (!MatchExtension(inRecord.mName, inFileExtensionsAllowedToDelete))
        return false;
    Path path;
    FileUtils::BuildPathSpec(*inRecord.mDirectory, inRecord.mName, path);
    return !FileUtils::FileExists(path) || FileUtils::RemoveFile(path);
}

void DeleteSubDirectory(const SubDirectoryRecord& inRecord)
{
    Path path;
    FileUtils::BuildPathSpec(*inRecord.mDirectory, inRecord.mName, path);
    try
    {
        qelcore::filesupport::Dir(path).Delete();
    }
    catch (const qelcore::filesupport::dir_exception&)
    {
        RK_TRACE("RK::DiskCacheManager", 5, "Unable to delete subdirectory: " << path);
    }
}

} // namespace DiskCacheManager
} // namespace RK
