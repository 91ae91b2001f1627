#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/function.hpp>
#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/FileUtils.h"

// What the sweeps of the disk cache manager did, and a sweep on demand.
//
//     SweepOptions options;
//     options.dryRun = options.nameFiles = true;
//     if (const SweepReportPtr report = SweepNow(options))
//         for (const DirectorySweepReport& directory : report->directories)
//             for (const SweptFile& file : directory.files)
//                 print(file.path); // what the next sweep would delete
//
// Memory   A report has a few hundred bytes for each managed folder, whatever is in it. Only one that was
//          asked for names holds more: one entry for each file that went.
// Threads  Any function from any thread. A report never changes once it is there.
// Units    Bytes; times are UTC by the clock that files are stamped with.
namespace RK
{
namespace DiskCacheManager
{

/// Why a file is deleted. Each rule works on what those before it have left.
enum class SweepRule
{
    kAge,   ///< SetAutomaticExpiryDuration
    kCount, ///< SetMaxFileCount
    kBytes, ///< ManagedDirectory::SetMaxUsedBytes
    kVolume ///< the volume's limits, and its free space
};
constexpr std::size_t kSweepRuleCount = 4;

/// Where something was refused.
enum class SweepStep
{
    kAskVolume,   ///< for its mount point or its free space
    kOpenFolder,  ///< also where it is another folder now, or another volume is mounted there
    kListFolder,  ///< from the entry on where that happened; what was listed by then counts
    kLookAtEntry, ///< its size and times; it counts as not there
    kDeleteFile,  ///< it stays, and counts as used
    kRemoveFolder ///< one without files of the cache; ENOTEMPTY for one that holds others
};

enum class SweepOutcome
{
    kDone,
    kUnreadable, ///< the folder itself could not be opened; it counts as empty
    kNoAnswer,   ///< the volume did not answer, or fell silent in the middle
    kStopped     ///< the stop of the library came first
};

struct SweepAmount
{
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
};

struct SweepRefusal
{
    SweepStep step = SweepStep::kOpenFolder;
    qelcore::utility::FileUtils::PathSpecifier path;
    int errorNumber =
        0; ///< as errno has it; 0 for a file whose extension the sweep was not allowed to delete
    std::string reason; ///< the same as text
};

/// What was refused, by numbers altogether and by name for the first few.
struct SweepRefusals
{
    std::uint64_t count = 0;
    std::map<int, std::uint64_t> countByError;
    std::vector<SweepRefusal> first; ///< at most 8
};

struct SweptFile
{
    qelcore::utility::FileUtils::PathSpecifier path;
    std::uint64_t bytes = 0;
    boost::posix_time::ptime lastUse; ///< the later of last access and last modification, as listed
    SweepRule rule = SweepRule::kAge;
};

/// One managed folder, with what the volume's limits have taken from it.
struct DirectorySweepReport
{
    qelcore::utility::FileUtils::PathSpecifier path;
    SweepOutcome outcome = SweepOutcome::kDone;
    boost::posix_time::ptime started, listed, ended; ///< not_a_date_time for what was not come to

    std::uint64_t foldersListed = 0;
    SweepAmount found; ///< files whose extension is claimed; no others count anywhere here
    std::array<SweepAmount, kSweepRuleCount> deleted; ///< by SweepRule
    SweepAmount gone; ///< files that somebody else had deleted since the listing
    /// What a limit asked for and the last 15 minutes have spared, files used since the listing included.
    SweepAmount spared;
    std::uint64_t foldersRemoved = 0;
    SweepRefusals refused;

    SweepAmount left;
    boost::optional<std::uint64_t> maxFileCount, maxUsedBytes; ///< the limits that held
    std::uint64_t filesOverLimit = 0, bytesOverLimit = 0;

    std::vector<SweptFile> files; ///< the deleted, if asked for, in the order in which they went
    std::vector<qelcore::utility::FileUtils::PathSpecifier> folders; ///< the removed, if asked for
};

/// One volume, as named by ManagedVolume::Create.
struct VolumeSweepReport
{
    qelcore::utility::FileUtils::PathSpecifier path;
    SweepOutcome outcome = SweepOutcome::kDone; ///< kNoAnswer: free space unknown, nothing deleted
    int errorNumber = 0;                        ///< why it is unknown
    std::uint64_t sizeBytes = 0, freeBytes = 0; ///< free ahead of this phase
    std::uint64_t usedBytes = 0;                ///< by what the folders' own limits have left
    std::uint64_t allowedBytes = 0;             ///< how much of that the volume's limits let stand
    SweepAmount deleted, spared;
    std::uint64_t bytesOverLimit = 0; ///< still above allowedBytes
};

struct SweepReport
{
    enum class Kind
    {
        kRepeating,
        kSingle, ///< of folders without repeating sweeps
        kOnDemand
    };
    Kind kind = Kind::kOnDemand;
    bool dryRun = false;   ///< then all that is told as deleted or removed is still there
    bool complete = false; ///< false if the stop of the library ended it
    boost::posix_time::ptime started, ended;
    boost::posix_time::ptime cutoff;               ///< what was used since then is spared
    std::vector<DirectorySweepReport> directories; ///< by path
    std::vector<VolumeSweepReport> volumes;        ///< by path
};
using SweepReportPtr = boost::shared_ptr<const SweepReport>;

/// The report of the sweep that ended last, dry runs aside. Null if there was none; does not start the
/// manager.
RK_API SweepReportPtr GetLastSweepReport();

struct SweepProgress
{
    std::uint64_t filesListed = 0;
    SweepAmount deleted;
    std::uint64_t foldersListed = 0;
};

struct SweepOptions
{
    /// Decide as always, and delete nothing. What would have gone counts as free for the volumes' limits.
    bool dryRun = false;
    bool nameFiles = false; ///< fill DirectorySweepReport::files and folders
    /// Told to about ten times a second, on the thread that waits in SweepNow. Must not throw.
    boost::function<void(const SweepProgress&)> onProgress;
};

/// Sweeps all managed folders at once, also those without repeating sweeps, and waits until that is done;
/// a sweep that runs already ends first. The volumes' limits delete what their own extensions allow. A
/// real sweep ends with a CleanCompleteMessage like any other.
/// @return null after the stop of the library, and where the system has no thread for it.
RK_API SweepReportPtr SweepNow(const SweepOptions& inOptions = SweepOptions());

} // namespace DiskCacheManager
} // namespace RK
