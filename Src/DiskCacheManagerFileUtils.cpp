#include "DiskCacheManagerFileUtils.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <memory>
#include <numeric>
#include <string>

#include <boost/make_shared.hpp>

#include "DiskCacheManagerTree.h"
#include "ZOR/PathUtils.h"
#include "qelcore/CaseFolding.h"
#include "qelcore/Contract.h"
#include "qelcore/Dir.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

namespace FileUtils = qelcore::utility::FileUtils;
using boost::posix_time::ptime;
using qelcore::threads::AtomicInt;

constexpr char kSourcePath[] = "Src/DiskCacheManagerFileUtils";
constexpr Ticks kAnyAge = std::numeric_limits<Ticks>::max();

/// Where the specials stand beside all other times, which are 0.
int RankOf(const ptime& inTime)
{
    if (inTime.is_neg_infinity())
        return -1;
    if (inTime.is_not_a_date_time())
        return 1;
    return inTime.is_pos_infinity() ? 2 : 0;
}

/// For whoever only lends the flag.
SweepWatch WatchOf(const AtomicInt& inAbortFlag)
{
    return SweepWatch(std::shared_ptr<const AtomicInt>(std::shared_ptr<void>(), &inAbortFlag));
}

/// The path of each of a tree's folders, made when it is first asked for.
class SharedPaths
{
public:
    SharedPaths(const ManagedTree& inTree, const PathPtr& inTop)
        : mTree(inTree)
        , mPaths(inTree.FolderCount())
    {
        mPaths[ManagedTree::kTop] = inTop;
    }
    const PathPtr& Of(std::uint32_t inFolder)
    {
        if (!mPaths[inFolder])
            mPaths[inFolder] =
                boost::make_shared<Path>(qelcore::utility::FileNameToUTF16(mTree.PathOf(inFolder)));
        return mPaths[inFolder];
    }

private:
    const ManagedTree& mTree;
    std::vector<PathPtr> mPaths;
};

void Append(const std::vector<TreeFile>& inFiles, SharedPaths& ioPaths,
            std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes)
{
    for (const TreeFile& file : inFiles)
    {
        ioFiles.push_back({ioPaths.Of(file.folder), file.size,
                           qelcore::utility::FileNameToUTF16(file.name), TimeOf(file.lastUse)});
        ioUsedBytes += file.size;
    }
}

void Append(const std::vector<std::uint32_t>& inFolders, ManagedTree& ioTree, SharedPaths& ioPaths,
            std::vector<SubDirectoryRecord>& ioFolders)
{
    for (const std::uint32_t folder : inFolders)
        ioFolders.push_back({ioPaths.Of(ioTree.ParentOf(folder)),
                             qelcore::utility::FileNameToUTF16(ioTree.FolderName(folder)),
                             TimeOf(ioTree.LastUseOf(folder))});
}

void Ignore(SweepStep, const std::string&, int) {}

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
    SweepWatch watch = WatchOf(inAbortFlag);
    ManagedTree tree(*inDirectory);
    std::vector<TreeFile> files;
    tree.ListTop({ExtensionMatcher(inExtensions), {}, watch, Ignore}, files);
    SharedPaths paths(tree, inDirectory);
    std::vector<std::uint32_t> folders(tree.FolderCount() - 1);
    std::iota(folders.begin(), folders.end(), ManagedTree::kTop + 1);
    Append(files, paths, ioFiles, ioUsedBytes);
    Append(folders, tree, paths, ioSubDirectories);
}

void GetFlattenedDirectoryListing(const PathPtr& inDirectory, const PathSet& inExcluded,
                                  const AtomicInt& inAbortFlag, const Extensions& inExtensions,
                                  std::vector<FileRecord>& ioFiles, std::uint64_t& ioUsedBytes,
                                  std::vector<SubDirectoryRecord>& ioSubDirectories,
                                  bool& ioIsEmpty)
{
    SweepWatch watch = WatchOf(inAbortFlag);
    ManagedTree tree(*inDirectory);
    std::vector<TreeFile> files;
    tree.List({ExtensionMatcher(inExtensions), inExcluded, watch, Ignore}, files);
    SharedPaths paths(tree, inDirectory);
    Append(files, paths, ioFiles, ioUsedBytes);
    Append(tree.EmptyFolders(), tree, paths, ioSubDirectories);
    ioIsEmpty = ioIsEmpty && tree.HasOnlyEmptyFolders();
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
    ManagedTree tree(*inRecord.mDirectory);
    const std::string name = qelcore::utility::UTF16ToFileName(inRecord.mName);
    TreeFile file;
    file.name = name.c_str();
    int error = 0;
    const ManagedTree::Removal removal = tree.RemoveFile(file, kAnyAge, true, error);
    return removal == ManagedTree::Removal::kDone || removal == ManagedTree::Removal::kGone;
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
        TraceRefusedFolder(path);
    }
}

void TraceRefusedFolder(const Path& inPath)
{
    RK_TRACE("RK::DiskCacheManager", 5, "Unable to delete subdirectory: " << inPath);
}

} // namespace DiskCacheManager
} // namespace RK
