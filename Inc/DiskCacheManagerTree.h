#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "DiskCacheManagerFileUtils.h"
#include "Platform/FileSystem.h"
#include "Platform/Folder.h"
#include "RKDiskCacheSweepReport.h"
#include "qelcore/AtomicInt.h"

namespace RK
{
namespace DiskCacheManager
{

// Microseconds since 1970 in UTC; a special time is where IsBefore() puts it. What files by the million have.
using Ticks = std::int64_t;
Ticks TicksOf(const boost::posix_time::ptime& inTime);
boost::posix_time::ptime TimeOf(Ticks inTicks);

// How far a sweep has come, for whoever watches it.
struct SweepCounters
{
    std::atomic<std::uint64_t> foldersListed{0};
    std::atomic<std::uint64_t> filesListed{0};
    std::atomic<std::uint64_t> filesDeleted{0};
    std::atomic<std::uint64_t> bytesDeleted{0};
};

// What whoever works on a folder and whoever waits for that share.
struct SweepWatch
{
    explicit SweepWatch(
        std::shared_ptr<const qelcore::threads::AtomicInt> inAbortFlag,
        std::shared_ptr<SweepCounters> inCounters = std::make_shared<SweepCounters>())
        : abortFlag(std::move(inAbortFlag))
        , counters(std::move(inCounters))
    {
    }
    bool ShouldStop() const { return *abortFlag != 0 || leftBehind; }

    const std::shared_ptr<const qelcore::threads::AtomicInt> abortFlag;
    const std::shared_ptr<SweepCounters> counters;
    std::atomic<bool> leftBehind{false}; // nobody waits any more, and nothing more may go
    std::atomic<std::uint64_t> steps{0}; // grows with each answer of the file system
};

// Whether the extension of a name, in the system's bytes, is in a list: as MatchExtension().
class ExtensionMatcher
{
public:
    explicit ExtensionMatcher(const Extensions& inExtensions);
    bool Matches(const std::string& inName) const;

private:
    const Extensions mExtensions;
    std::vector<std::string> mLowered;
    bool mAllASCII = true; // then a name that ends in ASCII needs no conversion
};

// A file of a sweep. There may be millions: 32 bytes, and the name with its NUL in the tree's memory.
struct TreeFile
{
    Ticks lastUse = 0; // whole seconds
    std::uint64_t size = 0;
    const char* name = nullptr;
    std::uint32_t folder = 0; // its number in the tree
    std::uint32_t tree = 0;   // for whoever has several

    /// The newest first.
    friend bool operator<(const TreeFile& a, const TreeFile& b) { return b.lastUse < a.lastUse; }
};

// A folder and all below it, as they were when they were listed: the way to its files.
//
// Safety   Only the top is ever reached by a whole path. A folder below is opened from the top, by names
//          that are no links and no mount points, and used only if it is the very folder that was listed. So
//          whoever renames things meanwhile, or puts links there, leads no deletion elsewhere. Each file is
//          looked at once more before it goes.
// Cost     One folder is open between calls, the top, and that between Open() and Close(); two within one,
//          however many there are.
// Threads  One at a time.
// Errors   Numbers of <cerrno>: ENOTDIR for a link, EXDEV for a mount point, ESTALE where another folder
//          has taken the place of the one that was listed.
class ManagedTree
{
public:
    static constexpr std::uint32_t kTop = 0;
    using Refuse = std::function<void(SweepStep inStep, const std::string& inPath, int inError)>;
    struct Listing
    {
        const ExtensionMatcher& matcher;
        const PathSet& excluded; // without slashes at their ends
        SweepWatch& watch;
        Refuse refuse; // what could not be read; not what somebody removed meanwhile
    };
    enum class Removal
    {
        kDone,
        kGone,  // somebody else was faster
        kYoung, // it was used since it was listed
        kRefused
    };

    /// @param inPolicy  whether the path may end in a link.
    explicit ManagedTree(const Path& inPath,
                         Platform::LinkPolicy inPolicy = Platform::LinkPolicy::kFollow);

    /// Opens the top. The second time it must be the same folder still.
    int Open();
    void Close();

    /// Lists the top alone. @return why it could not be opened or listed at all.
    int ListTop(const Listing& inListing, std::vector<TreeFile>& ioFiles);
    /// Lists all, but what is hidden, excluded, a link, or on another volume.
    int List(const Listing& inListing, std::vector<TreeFile>& ioFiles);

    /// The folders below whose subtrees have no file of the list, each by its topmost one.
    std::vector<std::uint32_t> EmptyFolders() const;
    /// Whether all folders directly below the top are among these, and none is excluded.
    bool HasOnlyEmptyFolders() const;
    std::uint64_t ListedFolders() const { return mListedFolders; }
    std::uint32_t FolderCount() const { return static_cast<std::uint32_t>(mFolders.size()); }
    const std::string& FolderName(std::uint32_t inFolder) const { return mFolders[inFolder].name; }
    std::uint32_t ParentOf(std::uint32_t inFolder) const { return mFolders[inFolder].parent; }
    std::string PathOf(std::uint32_t inFolder) const;
    std::string PathOf(const TreeFile& inFile) const;
    /// 0 if that cannot be found.
    Ticks LastUseOf(std::uint32_t inFolder);

    /// @param inCutoff  what was used then or later stays.
    /// @param inReally  false only looks whether it would go.
    /// @param outError  why it was refused.
    Removal RemoveFile(const TreeFile& inFile, Ticks inCutoff, bool inReally, int& outError);
    /// Removes a folder below if there are only folders in it.
    int RemoveFolder(std::uint32_t inFolder, bool inReally);

private:
    struct Folder
    {
        std::string name;
        std::uint32_t parent = kTop; // comes ahead of it
        bool isEmpty = false;        // all of its subtree
        bool isKnown = false;        // has been opened
        Platform::FolderIdentity identity;
    };
    // Names one after another in blocks that stay where they are.
    class Names
    {
    public:
        const char* Add(const std::string& inName);

    private:
        static constexpr std::size_t kBlockBytes = 65536;
        std::vector<std::unique_ptr<char[]>> mBlocks;
        std::size_t mUsed = kBlockBytes; // of the last one
    };

    int OpenBelow(std::uint32_t inFolder, std::shared_ptr<Platform::IFolder>& outFolder);
    std::string RelativePathOf(std::uint32_t inFolder) const;
    int ListFolder(std::uint32_t inFolder, const Listing& inListing,
                   std::vector<TreeFile>& ioFiles);
    int ListOpen(std::uint32_t inFolder, Platform::IFolder& inOpen, const Listing& inListing,
                 std::vector<TreeFile>& ioFiles);
    void TakeFile(std::uint32_t inFolder, Platform::IFolder& inOpen, const std::string& inName,
                  const Listing& inListing, std::vector<TreeFile>& ioFiles);
    void TakeFolder(std::uint32_t inFolder, const std::string& inName, const Listing& inListing);
    void SpreadFullness();

    const std::string mPath; // without a slash at its end
    const Platform::LinkPolicy mPolicy;
    std::shared_ptr<Platform::IFolder> mTop;
    std::vector<Folder> mFolders;
    Names mNames;
    std::uint64_t mListedFolders = 0;
    bool mHasExcluded = false; // directly in the top
};

} // namespace DiskCacheManager
} // namespace RK
