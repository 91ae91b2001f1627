#pragma once

#include <cstdint>

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

// The limit on open files. A process may hold only so many, and reopening is slow, so readers keep
// theirs open until there are too many: then the manager asks the owners of the least deserving
// ones to close them. A reader, in full but for its reading:
//
//     class Reader : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
//     {
//     public:
//         void Read(...)
//         {
//             std::uint32_t opened = 0; // each opening has a number of its own
//             {
//                 Lock lock(mMutex);
//                 if (OpenIfClosed())
//                     opened = ++mOpening;
//                 mLastUse = NextUse(); // an atomic
//                 ReadFromFile(...);
//             }
//             if (opened != 0) // without the lock, since other owners may be asked to close
//                 RK::FileManager::RegisterOpenFile(RK::IOpenFileOwnerRef(this), mPath, opened, 1);
//         }
//         qelcore::Result CloseOpenFile(std::uint32_t inFileID) override
//         {
//             {
//                 Lock lock(mMutex);
//                 if (inFileID == mOpening)
//                     CloseFile();
//             }
//             RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFileID);
//             return qelcore::kResult_OK;
//         }
//         std::uint64_t GetOpenFilePriority(std::uint32_t) override { return mLastUse; }
//         ~Reader() override
//         {
//             RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), mOpening);
//         }
//         ...
//     };
namespace RK
{

// Something that keeps files open. It tells them apart by numbers of its own.
//
// Ownership  An owner that offers weak references (ZOR::WeakCountedObject) is not kept alive by
//            being registered; one that does not is, until it has unregistered its last file.
//            Either answers QueryMap for this interface.
// Threads    CloseOpenFile is called on any thread, with no lock of the manager held.
//            GetOpenFilePriority is called with the manager's lock held: it takes no lock that the
//            owner holds across a call into the manager.
// Errors     Neither may throw. An exception out of CloseOpenFile ends all later purging; one out
//            of GetOpenFilePriority passes to whoever called the manager.
class RK_API IOpenFileOwner : public ZOR::ZORUnknown
{
public:
    /// Asks the owner to close a file. An owner that agrees unregisters the file, within this call
    /// or soon after, and opens it again when it needs it. The call may come for a file that was
    /// unregistered in the same moment.
    /// @return negative if the file cannot be closed now: it stays registered, and the next is
    ///         asked.
    virtual qelcore::Result CloseOpenFile(std::uint32_t inFileID) = 0;
    /// @return how much the file deserves to stay open: the one with the smallest value is asked
    ///         first. The scale is common to all owners of the process; the time of the last use
    ///         serves well.
    virtual std::uint64_t GetOpenFilePriority(std::uint32_t inFileID) = 0;
    ~IOpenFileOwner() override;
};

using IOpenFileOwnerRef = ZOR::InterfaceRef<IOpenFileOwner, IOpenFileOwner>;
RK_API const qelcore::utility::Guid& GuidOf(IOpenFileOwner*);

// Counts the files that owners have registered, and has some closed when there are too many. Above
// the hard limit the call that brought the count there waits while the count is brought below the
// soft one; between the two that happens in the background. Files are only ever closed by their
// owners.
//
// Lifetime  It runs while an RK::Initializer lives. Otherwise every function but GetSuggested...
//           does nothing and answers 0 or false, except as told below.
// Threads   Any function from any thread, within an owner's CloseOpenFile and destructor too;
//           Startup and Shutdown one at a time. Purges do not run side by side: who finds one under
//           way goes on at once, and what is left to do is done in the background; so while many
//           threads open files the count may pass the hard limit for a moment, and a reader that
//           gets no descriptor then yields and tries again. No owner is released, and nothing of it
//           called but GetOpenFilePriority, with the manager's lock held.
// Cost      A call that stays below the hard limit closes nothing, and costs a look-up in an
//           ordered map under one lock.
// Errors    A violated contract is reported and raises qelcore::config::Error. std::bad_alloc
//           leaves the books as they were.
class RK_API FileManager
{
public:
    struct FileKey;
    struct FileRecord;

    FileManager() = delete;

    /// For the start of the library. Contract: the manager is not running.
    static void Startup();
    /// For its stop: waits until a purge in the background has ended. Registered files stay open.
    /// Contract: the manager is running.
    static void Shutdown();

    /// Sets the limits 100 and 110, which are those of the start.
    static void SetDefaultOpenFileLimits();
    /// @param inHard  raised to inSoft if it is below.
    static void SetOpenFileLimits(std::uint32_t inSoft, std::uint32_t inHard);
    /// Both are 0 while the manager is not running.
    static void GetOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard);
    /// Limits that suit the process, to be passed to SetOpenFileLimits(): what the system lets it
    /// open (RLIMIT_NOFILE as it is now) less the descriptors that are open now and not registered
    /// here, and less a quarter of the rest for those still to come; at most 2048. The soft limit
    /// is 10 lower, or half of the hard one where that is below 20. Takes time in proportion to the
    /// descriptors that are open.
    /// @param outSoft, outHard  1 <= outSoft <= outHard, however little there is. Also while the
    ///                          manager is not running.
    static void GetSuggestedOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard);

    /// Has files closed until fewer than inLimit are open: 0 asks every owner. The limits stay.
    /// @return true if one was closed, or owners that died meanwhile have left fewer than inLimit;
    ///         false if there was nothing to do, or another purge is under way.
    static bool FlushOpenFilesToTemporaryLimit(std::uint32_t inLimit);

    /// Notes an open file. The same owner and number again replaces path and count. May have other
    /// files closed before it returns, but not this one.
    /// @param inFileOwner  must not be null, also while the manager is not running.
    /// @param inPath       for TryToCloseFileWithoutBlocking().
    /// @param inFileID     the owner's number for the file.
    /// @param inCount      how many open files of the system this one stands for.
    static void RegisterOpenFile(const IOpenFileOwnerRef& inFileOwner,
                                 const qelcore::UTF16String& inPath, std::uint32_t inFileID,
                                 std::uint32_t inCount);
    /// Notes that a file was closed. An unknown one, and a null owner, are ignored.
    static void UnregisterOpenFile(const IOpenFileOwnerRef& inFileOwner, std::uint32_t inFileID);

    /// Asks every owner of a file of that path to close it, so that it can be moved or removed, up
    /// to the first that refuses. Paths are compared as ZOR::PathUtils::ToNormalizedPath() gives
    /// them, the letters A to Z without their case.
    /// @return the refusal, or else what the last owner answered; 0 if no such file is registered;
    ///         kResult_GeneralFailure while the manager is not running.
    static qelcore::Result TryToCloseFileWithoutBlocking(const qelcore::UTF16String& inPath);

    /// What runs in the background: brings the count below the soft limit if it is above.
    static void LazyPurge();
};

} // namespace RK
