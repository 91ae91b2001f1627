#pragma once

#include <cstdint>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/optional.hpp>
#include <boost/shared_ptr.hpp>

#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"
#include "qelcore/FileUtils.h"
#include "qelcore/UTFString.h"

// Keeps folders of disposable files within limits, by deleting the files that were not used for longest.
//
//     const auto folder = ManagedDirectory::Create(path, {u".rkdc"}, boost::none);
//     folder->SetMaxUsedBytes(std::uint64_t{20} << 30);
//     folder->SetAutomaticExpiryDuration(boost::posix_time::hours(24 * 30));
//     // Keep the handle: the folder is managed for as long as it lives.
//
// Sweeps   Setting a limit asks for sweeps: one every "RKDiskCacheManager.DiskSweepInterval"
//          milliseconds (a debug-database key; 600000, ten minutes, by default), the first after
//          one interval. Nothing is deleted within the call that sets a limit, nor by Create alone.
//          A sweep deletes first what is too old, then what is too much by count, then by bytes; then,
//          of what is left, what the volume's limits ask for.
// Safety   Only files whose extension was claimed are deleted or counted; extensions have their dot and
//          are compared without regard to case. Hidden files, links and what they lead to are never
//          touched, nor is a folder below that is managed by itself, or where another volume is mounted. No file that was read or written
//          in the 15 minutes before its sweep is deleted, whatever a limit says: so limits can be
//          exceeded. The
//          time of a file is the later of last access and last modification; where the system keeps
//          no access times, whoever reads a file touches it (UpdateFileAccessedTime).
// Volumes  A managed folder has a volume of its own, named by the folder's path: its limits concern the
//          files of the folders of that path, and the free space where that path lies.
// Life     The manager starts with the first call of anything here but GetStationID and Shutdown, and
//          stops with the last RK::Initializer. After that limits can be set and read but nothing is
//          swept any more, for the rest of the process.
// Threads  Any function from any thread. Sweeps run one at a time on a thread of their own. The disk is
//          not touched while another caller waits, but for the size of the volume in Create.
// Units    Sizes are bytes, percentages 0 to 100.
// Errors   Limits that cannot be kept are no errors; GetLastSweepReport() (RKDiskCacheSweepReport.h) tells
//          of them. A volume that does not answer is passed over by the sweep, and one that falls silent
//          while it is swept is left behind after "RKDiskCacheManager.VolumeSilenceLimit" milliseconds
//          without any answer (a debug-database key; 20000 by default).
namespace RK
{
namespace DiskCacheManager
{

class Manager;
class ManagedVolume;
class ManagedDirectory;
using ManagedVolumePtr = boost::shared_ptr<ManagedVolume>;
using ManagedDirectoryPtr = boost::shared_ptr<ManagedDirectory>;

// What the limits of a volume are set by. Held until the process ends, once made: limits of a volume are
// never forgotten.
class RK_API ManagedVolume
{
public:
    /// Names a volume by a path on it, as it stands. A path that is known gives the handle of before,
    /// with its limits and its extensions. A new volume keeps
    /// "RKDiskCacheManager.DefaultFreeSpacePercentagePerVolume" percent of it free (a debug-database
    /// key; 10 by default) and has no other limit.
    /// @param inFileExtensionsAllowedToDelete  what sweeps may delete that this volume's setters ask for.
    /// @throws qelcore::filesupport::file_exception  if the size of the volume cannot be found; also where
    ///         the path is known.
    static ManagedVolumePtr
    Create(const qelcore::utility::FileUtils::PathSpecifier& inPath,
           const std::vector<qelcore::UTF16String>& inFileExtensionsAllowedToDelete);

    /// Bytes to keep free on the volume; an empty value sets no such limit.
    void SetFreeSpaceBytes(const boost::optional<std::uint64_t>& inBytes);
    boost::optional<std::uint64_t> GetFreeSpaceBytes() const;
    /// The same in percent of the volume's size, which is read once, in Create. The larger one holds.
    void SetFreeSpacePercentage(const boost::optional<float>& inPercentage);
    boost::optional<float> GetFreeSpacePercentage() const;
    /// The most bytes that managed files may use on the volume. They never keep more than is free
    /// besides, either.
    void SetMaxUsedBytes(const boost::optional<std::uint64_t>& inBytes);
    boost::optional<std::uint64_t> GetMaxUsedBytes() const;

    /// Whether another 100 KiB would pass the limits, or the free space, of the volume. Asks the
    /// volume; false if it does not answer.
    bool IsCloseToFull() const;

private:
    friend class Manager;
    ManagedVolume() = default;

    boost::shared_ptr<const qelcore::utility::FileUtils::PathSpecifier> mPath;
    std::uint64_t mVolumeSize = 0; // bytes
    std::vector<qelcore::UTF16String> mFileExtensionsAllowedToDelete;
};

// A folder under management, with all folders below that are not managed themselves. When the last
// handle goes, the folder is left as it is and its limits are forgotten.
class RK_API ManagedDirectory
{
public:
    /// Puts a folder under management, or what a link leads to; a link that takes the place of a folder
    /// later is not followed. Without limits but those of its volume, which is that of
    /// ManagedVolume::Create(inPath, ...). While another handle for that path, as it stands, lives, this
    /// gives the same and changes nothing.
    /// @param inFileExtensionsAllowedToDelete  such as ".rkdc". Must not be empty: that is reported,
    ///                                         and then nothing is ever deleted.
    /// @param inPriorityBoost  as SetPriorityBoost.
    /// @throws as ManagedVolume::Create.
    static ManagedDirectoryPtr
    Create(const qelcore::utility::FileUtils::PathSpecifier& inPath,
           const std::vector<qelcore::UTF16String>& inFileExtensionsAllowedToDelete,
           const boost::optional<boost::posix_time::time_duration>& inPriorityBoost);

    // An empty value clears a limit.

    /// The most bytes of files in the tree.
    void SetMaxUsedBytes(const boost::optional<std::uint64_t>& inBytes);
    boost::optional<std::uint64_t> GetMaxUsedBytes() const;
    /// The most files in the tree.
    void SetMaxFileCount(const boost::optional<std::uint64_t>& inCount);
    boost::optional<std::uint64_t> GetMaxFileCount() const;
    /// How much younger the files count when those of one volume compete. Has no say in the limits of
    /// the folder itself.
    void SetPriorityBoost(const boost::optional<boost::posix_time::time_duration>& inBoost);
    boost::optional<boost::posix_time::time_duration> GetPriorityBoost() const;
    /// Files that were not used for this long and 15 minutes go, whatever space there is.
    void
    SetAutomaticExpiryDuration(const boost::optional<boost::posix_time::time_duration>& inDuration);
    boost::optional<boost::posix_time::time_duration> GetAutomaticExpiryDuration() const;
    /// Whether folders below that hold nothing at all are removed. Not so at first.
    void SetDeleteEmptySubDirectories(bool inDelete);
    bool GetDeleteEmptySubDirectories() const;

    /// From the next change of a limit on the folder is swept once after each change, one interval
    /// later, and not every interval. Cannot be undone.
    void DisableRepeatDiskSweep();
    /// Allows more to be deleted in this folder, by its own limits.
    void AddFileExtensionsAllowedToDelete(
        const std::vector<qelcore::UTF16String>& inFileExtensionsAllowedToDelete);

private:
    friend class Manager;
    ManagedDirectory() = default;

    ManagedVolumePtr mVolume;
    boost::shared_ptr<const qelcore::utility::FileUtils::PathSpecifier> mPath;
    std::vector<qelcore::UTF16String> mFileExtensionsAllowedToDelete; // those added to this handle
};

// Told on the main thread, on the station of GetStationID(), at the end of each sweep, whether or not it
// deleted anything. A sweep that the stop of the library ended early tells nothing.
class RK_API CleanCompleteMessage : public ZOR::MessageImpl<CleanCompleteMessage>
{
public:
    explicit CleanCompleteMessage(bool inRepeating)
        : mRepeating(inRepeating)
    {
    }
    ~CleanCompleteMessage() override;
    /// Whether it was one of the repeated sweeps, and not one for folders without these.
    bool IsRepeating() const noexcept { return mRepeating; }

private:
    const bool mRepeating;
};

/// The null string while the manager has not started.
RK_API ZOR::StationID GetStationID();

/// For the stop of the library: ends the sweep that runs, and waits for it. Does nothing if the manager
/// has not started.
RK_API void Shutdown();

} // namespace DiskCacheManager
} // namespace RK
