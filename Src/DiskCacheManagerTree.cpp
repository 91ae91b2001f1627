#include "DiskCacheManagerTree.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>

#include "Platform/FileSystem.h"
#include "Platform/FolderTree.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"
#include "qelcore/UTCTime.h"

namespace RK
{
namespace DiskCacheManager
{

namespace
{

using boost::posix_time::ptime;
using Platform::FileKind;

constexpr Ticks kTicksPerSecond = 1000000;
constexpr Ticks kNegativeInfinity = std::numeric_limits<Ticks>::min();
constexpr Ticks kPositiveInfinity = std::numeric_limits<Ticks>::max();
constexpr Ticks kNotATime = kPositiveInfinity - 1;

const ptime& Epoch()
{
    static const ptime sEpoch(boost::gregorian::date(1970, 1, 1));
    return sEpoch;
}

/// As ToUTCTime(), which makes a calendar's date of each.
Ticks LastUse(const Platform::FileStatus& inStatus)
{
    static const Ticks sFirst =
        TicksOf(qelcore::utility::ToUTCTime(std::numeric_limits<std::int64_t>::min()));
    static const Ticks sLast =
        TicksOf(qelcore::utility::ToUTCTime(std::numeric_limits<std::int64_t>::max()));
    const std::int64_t seconds = std::max(inStatus.accessed.seconds, inStatus.modified.seconds);
    if (seconds < sFirst / kTicksPerSecond)
        return sFirst;
    return seconds > sLast / kTicksPerSecond ? sLast : seconds * kTicksPerSecond;
}

bool IsASCII(char inByte)
{
    return static_cast<unsigned char>(inByte) < 128;
}

char Lowered(char inByte)
{
    return inByte >= 'A' && inByte <= 'Z' ? static_cast<char>(inByte - 'A' + 'a') : inByte;
}

int ErrorOfKind(FileKind inKind)
{
    if (inKind == FileKind::kDirectory)
        return EISDIR;
    return inKind == FileKind::kSymbolicLink ? ELOOP : EINVAL;
}

} // namespace

Ticks TicksOf(const ptime& inTime)
{
    if (inTime.is_neg_infinity())
        return kNegativeInfinity;
    if (inTime.is_pos_infinity())
        return kPositiveInfinity;
    return inTime.is_not_a_date_time() ? kNotATime : (inTime - Epoch()).total_microseconds();
}

ptime TimeOf(Ticks inTicks)
{
    if (inTicks == kNegativeInfinity)
        return ptime(boost::posix_time::neg_infin);
    if (inTicks == kPositiveInfinity)
        return ptime(boost::posix_time::pos_infin);
    return inTicks == kNotATime ? ptime() : Epoch() + boost::posix_time::microseconds(inTicks);
}

ExtensionMatcher::ExtensionMatcher(const Extensions& inExtensions)
    : mExtensions(inExtensions)
{
    for (const qelcore::UTF16String& extension : inExtensions)
    {
        std::string lowered = qelcore::utility::UTF16ToFileName(extension);
        mAllASCII = mAllASCII && std::all_of(lowered.begin(), lowered.end(), IsASCII);
        std::transform(lowered.begin(), lowered.end(), lowered.begin(), Lowered);
        mLowered.push_back(std::move(lowered));
    }
}

bool ExtensionMatcher::Matches(const std::string& inName) const
{
    const std::size_t dot = inName.rfind('.');
    if (!mAllASCII || dot == std::string::npos || inName[0] == '.' ||
        !std::all_of(inName.begin() + static_cast<std::ptrdiff_t>(dot), inName.end(), IsASCII))
        return MatchExtension(qelcore::utility::FileNameToUTF16(inName), mExtensions);
    return std::any_of(mLowered.begin(), mLowered.end(),
                       [&](const std::string& inExtension)
                       {
                           return inName.size() - dot == inExtension.size() &&
                                  std::equal(inExtension.begin(), inExtension.end(),
                                             inName.begin() + static_cast<std::ptrdiff_t>(dot),
                                             [](char inLowered, char inByte)
                                             { return inLowered == Lowered(inByte); });
                       });
}

const char* ManagedTree::Names::Add(const std::string& inName)
{
    const std::size_t size = inName.size() + 1;
    if (kBlockBytes - mUsed < size)
    {
        mBlocks.push_back(std::make_unique<char[]>(std::max(size, kBlockBytes)));
        mUsed = 0;
    }
    char* const place = mBlocks.back().get() + mUsed;
    std::memcpy(place, inName.c_str(), size);
    mUsed = std::min(mUsed + size, kBlockBytes);
    return place;
}

ManagedTree::ManagedTree(const Path& inPath, Platform::LinkPolicy inPolicy)
    : mPath(qelcore::utility::UTF16ToFileName(ZOR::PathUtils::RemoveTrailingSlash(inPath)))
    , mPolicy(inPolicy)
    , mFolders(1)
{
}

int ManagedTree::Open()
{
    std::unique_ptr<Platform::IFolder> top;
    if (const int error = Platform::FileSystem().OpenFolder(mPath, mPolicy, top))
        return error;
    Folder& folder = mFolders[kTop];
    if (folder.isKnown && top->Identity() != folder.identity)
        return ESTALE;
    folder.isKnown = true;
    folder.identity = top->Identity();
    mTop = std::move(top);
    return 0;
}

void ManagedTree::Close()
{
    mTop.reset();
}

/// Step by step, since folders may lie deeper than calls can.
std::string ManagedTree::RelativePathOf(std::uint32_t inFolder) const
{
    std::vector<const std::string*> names;
    for (std::uint32_t folder = inFolder; folder != kTop; folder = mFolders[folder].parent)
        names.push_back(&mFolders[folder].name);
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
    {
        if (!path.empty())
            path += '/';
        path += **name;
    }
    return path;
}

std::string ManagedTree::PathOf(std::uint32_t inFolder) const
{
    if (inFolder == kTop)
        return mPath;
    return (mPath == "/" ? mPath : mPath + "/") + RelativePathOf(inFolder);
}

std::string ManagedTree::PathOf(const TreeFile& inFile) const
{
    const std::string folder = PathOf(inFile.folder);
    return (folder == "/" ? folder : folder + "/") + inFile.name;
}

int ManagedTree::OpenBelow(std::uint32_t inFolder, std::shared_ptr<Platform::IFolder>& outFolder)
{
    if (!mTop)
    {
        if (const int error = Open())
            return error;
    }
    outFolder = mTop;
    if (inFolder == kTop)
        return 0;
    std::unique_ptr<Platform::IFolder> opened;
    if (const int error = mTop->OpenFolderBelow(RelativePathOf(inFolder), opened))
        return error;
    Folder& folder = mFolders[inFolder];
    if (folder.isKnown && opened->Identity() != folder.identity)
        return ESTALE;
    folder.isKnown = true;
    folder.identity = opened->Identity();
    outFolder = std::move(opened);
    return 0;
}

int ManagedTree::ListTop(const Listing& inListing, std::vector<TreeFile>& ioFiles)
{
    return ListFolder(kTop, inListing, ioFiles);
}

int ManagedTree::List(const Listing& inListing, std::vector<TreeFile>& ioFiles)
{
    if (const int error = ListTop(inListing, ioFiles))
        return error;
    for (std::uint32_t folder = kTop + 1; folder < mFolders.size(); ++folder)
    {
        if (inListing.watch.ShouldStop())
            break;
        const int error = ListFolder(folder, inListing, ioFiles);
        if (error != 0 && error != ENOENT)
            inListing.refuse(SweepStep::kOpenFolder, PathOf(folder), error);
        // One that cannot be read is as good as empty; a mount point keeps what is around it.
        if (error != 0)
            mFolders[folder].isEmpty = error != ENOENT && error != EXDEV;
    }
    SpreadFullness();
    return 0;
}

int ManagedTree::ListFolder(std::uint32_t inFolder, const Listing& inListing,
                            std::vector<TreeFile>& ioFiles)
{
    std::shared_ptr<Platform::IFolder> folder;
    const int error = OpenBelow(inFolder, folder);
    ++inListing.watch.steps;
    return error != 0 ? error : ListOpen(inFolder, *folder, inListing, ioFiles);
}

int ManagedTree::ListOpen(std::uint32_t inFolder, Platform::IFolder& inOpen,
                          const Listing& inListing, std::vector<TreeFile>& ioFiles)
{
    std::unique_ptr<Platform::IDirectoryListing> listing;
    if (const int error = inOpen.List(listing))
        return error;
    mFolders[inFolder].isEmpty = true; // until something else is seen
    ++mListedFolders;
    ++inListing.watch.counters->foldersListed;
    Platform::DirectoryEntry entry;
    for (;;)
    {
        if (inListing.watch.ShouldStop())
        {
            mFolders[inFolder].isEmpty = false; // nobody knows
            return 0;
        }
        bool end = false;
        const int error = listing->Next(entry, end);
        inListing.watch.steps.fetch_add(1, std::memory_order_relaxed);
        if (error != 0)
            inListing.refuse(SweepStep::kListFolder, PathOf(inFolder), error);
        if (error != 0 || end)
            return 0;
        if (entry.name[0] == '.')
            continue;
        if (entry.kind == FileKind::kDirectory)
            TakeFolder(inFolder, entry.name, inListing);
        else if (entry.kind == FileKind::kFile && inListing.matcher.Matches(entry.name))
            TakeFile(inFolder, inOpen, entry.name, inListing, ioFiles);
    }
}

void ManagedTree::TakeFile(std::uint32_t inFolder, Platform::IFolder& inOpen,
                           const std::string& inName, const Listing& inListing,
                           std::vector<TreeFile>& ioFiles)
{
    Platform::FileStatus status;
    if (const int error = inOpen.StatEntry(inName, status))
    {
        if (error != ENOENT)
            inListing.refuse(SweepStep::kLookAtEntry, PathOf(inFolder) + "/" + inName, error);
        return;
    }
    if (status.kind != FileKind::kFile)
        return;
    ioFiles.push_back({LastUse(status), status.size, mNames.Add(inName), inFolder});
    mFolders[inFolder].isEmpty = false;
    inListing.watch.counters->filesListed.fetch_add(1, std::memory_order_relaxed);
}

/// Nothing is asked about it yet: where it is the mount point of a volume that is away, that would not come
/// back.
void ManagedTree::TakeFolder(std::uint32_t inFolder, const std::string& inName,
                             const Listing& inListing)
{
    Folder folder;
    folder.name = inName;
    folder.parent = inFolder;
    mFolders.push_back(std::move(folder));
    const std::string path = PathOf(FolderCount() - 1);
    if (inListing.excluded.count(qelcore::utility::FileNameToUTF16(path)) == 0)
        return;
    mFolders.pop_back();
    mFolders[inFolder].isEmpty = false;
    mHasExcluded = mHasExcluded || inFolder == kTop;
}

/// What is in a folder is in those above it.
void ManagedTree::SpreadFullness()
{
    for (std::size_t folder = mFolders.size() - 1; folder > kTop; --folder)
    {
        if (!mFolders[folder].isEmpty && mFolders[folder].parent != kTop)
            mFolders[mFolders[folder].parent].isEmpty = false;
    }
}

bool ManagedTree::HasOnlyEmptyFolders() const
{
    return !mHasExcluded &&
           std::all_of(mFolders.begin() + 1, mFolders.end(), [](const Folder& inFolder)
                       { return inFolder.parent != kTop || inFolder.isEmpty; });
}

std::vector<std::uint32_t> ManagedTree::EmptyFolders() const
{
    std::vector<std::uint32_t> folders;
    for (std::uint32_t folder = kTop + 1; folder < FolderCount(); ++folder)
    {
        const std::uint32_t parent = mFolders[folder].parent;
        if (mFolders[folder].isEmpty && (parent == kTop || !mFolders[parent].isEmpty))
            folders.push_back(folder);
    }
    return folders;
}

Ticks ManagedTree::LastUseOf(std::uint32_t inFolder)
{
    std::shared_ptr<Platform::IFolder> parent;
    Platform::FileStatus status;
    if (OpenBelow(mFolders[inFolder].parent, parent) != 0 ||
        parent->StatEntry(mFolders[inFolder].name, status) != 0)
        return 0;
    return LastUse(status);
}

ManagedTree::Removal ManagedTree::RemoveFile(const TreeFile& inFile, Ticks inCutoff, bool inReally,
                                             int& outError)
{
    std::shared_ptr<Platform::IFolder> folder;
    Platform::FileStatus status;
    int error = OpenBelow(inFile.folder, folder);
    if (error == 0)
        error = folder->StatEntry(inFile.name, status);
    if (error == 0 && status.kind != FileKind::kFile)
        error = ErrorOfKind(status.kind);
    if (error == 0 && LastUse(status) >= inCutoff)
        return Removal::kYoung;
    if (error == 0 && inReally)
        error = folder->RemoveFile(inFile.name);
    if (error == ENOENT)
        return Removal::kGone;
    outError = error;
    return error == 0 ? Removal::kDone : Removal::kRefused;
}

int ManagedTree::RemoveFolder(std::uint32_t inFolder, bool inReally)
{
    std::shared_ptr<Platform::IFolder> parent;
    if (const int error = OpenBelow(mFolders[inFolder].parent, parent))
        return error;
    Platform::FolderTree tree;
    tree.Open(parent, mFolders[inFolder].name);
    const int error = tree.Survey();
    return error == 0 && inReally ? tree.Remove() : error;
}

} // namespace DiskCacheManager
} // namespace RK
