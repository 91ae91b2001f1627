#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <boost/shared_ptr.hpp>

#include "MediaManager/IMediaMap.h"
#include "MemoryBalancer/MemoryBalancer.h"
#include "ZOR/InterfaceRef.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelcore/UTFString.h"

namespace RK
{

using Size = std::uint64_t;        ///< bytes
using Priority = std::uint32_t;    ///< 0 (kept longest) to 100; above counts as 100
using HandleCount = std::uint32_t; ///< operating-system handles that an item keeps open

/// How hard a purge tries.
enum PurgeUrgency
{
    /// Stops at half of the budget, and below that takes only items that hold handles, while more than
    /// 300 handles are held.
    kPurgeUrgency_Background = 0,
    kPurgeUrgency_Immediate = 1,
};

// The process-wide bookkeeper of decoded media held in memory.
//
// It owns no media. Owners (IMediaMap) register each item, report its use, and let it go when told to.
// The items that were used longest ago go first; an item above 100000 bytes counts as up to 120 s older
// than it is, the more the higher its priority number. Small items of priority 0 are kept apart and
// go last.
//
// Events    AddMedia, TouchMedia and RemoveMedia write an event into a ring of 65536 slots: they take
//           no lock, allocate nothing, and take effect later, in a purge or in FlushAsyncEvents(). Of
//           one batch all adds and removes take effect first, in order, then the touches. A full ring
//           refuses further events, counts them (in the debug report "RK.MediaManager") and asks for
//           a purge: an add that is refused is not registered, so the item is not purged either.
// Budget    A quarter of the machine's memory in applications of type 1, an eighth in all others, less
//           what is reserved. Once the process has joined its memory suite (SetApplicationMemoryRequirements)
//           and is granted something, seven eighths of the grant instead, for good. A purge runs in the
//           background after each 10 MiB added, after 32768 touches, after 100 removes, and every 4 hours.
// Loop      Each background purge samples the memory of the process and the machine, and six policies say
//           from that how much the cache should give up (MM::GetPolicyReport, and the debug report). Debug
//           keys: "RK.MemoryControlLoopActive" set to "false" turns all of it off; below
//           "RK.MemoryControlLoop.Config." there are "ProjectionDistance", the number of purges that are
//           looked ahead, 10 unless set, and one key a policy, such as "EnableCacheLimitPolicy".
// Threads   Every operation from any thread. Those that are not marked "no lock" may take the manager's
//           lock, and call maps with it held; a map that calls one from within its Flush gets what
//           the operation says there.
// Stop      After the last RK::Initializer has gone the manager takes no more adds and touches; owners
//           that still hold a reference may go on calling, without effect. A later start takes up again.
// Errors    A violated contract is reported and raises qelcore::config::Error. Nothing else raises but
//           memory that cannot be had.
class RK_API IMediaManager : public ZOR::ZORUnknown
{
public:
    /// A new identity for a map. No lock.
    virtual qelcore::utility::Guid AcquireUniqueID() = 0;

    /// Registers an item; no lock. An item that is registered already stays as it was first registered.
    /// @param inID            with the map's GetUniqueID() the identity of the item.
    /// @param inSize          above 0.
    /// @param inSourceMapRef  must not be null; shared for as long as the item is registered.
    virtual void AddMedia(MediaID inID, Size inSize, Priority inPriority, HandleCount inHandleCount,
                          const IMediaMapRef& inSourceMapRef) = 0;

    /// Reports a use; no lock. A touch that repeats the event written last costs nothing and does nothing.
    virtual void TouchMedia(MediaID inID, qelcore::utility::Guid inMapID) = 0;

    /// Takes an item off the books; no lock. Its map is not called: it has given the item up already.
    virtual void RemoveMedia(MediaID inID, qelcore::utility::Guid inMapID) = 0;

    /// Items on the books, small ones of priority 0 left out; at some moment during the call. No lock.
    virtual std::uint32_t GetNumberOfEntries() const = 0;
    /// Bytes of all items on the books, at some moment during the call. No lock.
    virtual std::uint64_t GetCurrentSpace() const = 0;

    /// Brings the cache to a percentage of the budget, or lower if the process or the machine is short
    /// of memory; in that case not below the smallest size that the cache is allowed. Within a map's Flush: nothing.
    /// @param inPercentage  at most 100.
    virtual void FlushTo(std::uint32_t inPercentage) = 0;
    /// Applies the events written so far. Within a map's Flush: nothing.
    virtual void FlushAsyncEvents() = 0;

    /// Takes inBytes out of the budget under a plug-in's number, in place of what it had reserved; 0 or
    /// less ends its reservation. At least 256 MiB of the budget stay.
    virtual void SetReserveSize(int inPluginID, long long inBytes) = 0;
    /// Changes a plug-in's reservation by inDeltaBytes. A reservation that falls to 0 or below ends, and
    /// the sum of all falls by the whole of inDeltaBytes all the same: give back what was taken.
    virtual void AdjustReservedMemorySize(int inPluginID, long long inDeltaBytes) = 0;
    /// The same under an identity; that of a plug-in's number is made from the number.
    virtual void SetReserveSize(const qelcore::utility::Guid& inID, long long inBytes) = 0;

    /// Tells how much the application matters now. A lower priority than before, outside high-throughput
    /// mode, soon shrinks the cache to about its smallest allowed size. The first call joins the process to
    /// its memory suite (MemoryBalancer/MemoryBalancer.h), unless the application is of type 1.
    virtual void SetApplicationMemoryRequirements(memorybalancer::MemoryPriority inPriority) = 0;
    /// @return the balancer among processes, shared; null where none was made: in applications that were of
    ///         type 1 when the manager was made.
    virtual boost::shared_ptr<memorybalancer::MemoryBalancer> GetMemoryBalancer() = 0;

    /// The budget less what is reserved.
    virtual std::uint64_t GetMaximumSize() const = 0;
    /// The most that the balancer is told that this process wants, with its next update; 0 is all there is.
    /// It does not change GetMaximumSize().
    virtual void SetMaximumSize(std::size_t inBytes) = 0;

    /// From now on purges drop whatever was not used for some seconds (5 to 15, by the budget), except
    /// items of priority 0 and what must not be purged.
    virtual void EnterHighThroughputMode() = 0;
    virtual void ExitHighThroughputMode() = 0;
    ~IMediaManager() override;
};

using IMediaManagerRef = ZOR::InterfaceRef<IMediaManager, IMediaManager>;
RK_API const qelcore::utility::Guid& GuidOf(IMediaManager*);

/// @return the manager. While no RK::Initializer lives, one that lives as long as its references do.
RK_API IMediaManagerRef GetMediaManager();

/// Stores a function that takes reservations over from the manager: it is told the new size of each that
/// changes (0 when it ends), and the budget stays whole. Null takes that back. Set it at start-up.
RK_API void SetReserveSizeFunction(void (*inFunction)(const qelcore::utility::Guid&, long long));

namespace MM
{
/// Bytes registered; 0 while the manager is not running.
RK_API std::uint64_t GetSize();
/// Always true, by design.
RK_API bool HasSufficientMemory();
/// Purges up to inSize bytes from the cache, and up to as many from the recycler's pool.
/// @return the bytes purged from the cache; 0 while the manager is not running.
RK_API std::uint64_t Purge(std::size_t inSize, PurgeUrgency inUrgency);

/// What one policy of the memory control loop asks for. Sizes are bytes.
struct PolicyRecord
{
    qelcore::UTF16String name; ///< as in the debug report: at most 16 characters
    bool enabled;              ///< whether it counts now, by its setting and the manager's mode
    /// What it would like purged now, by the last sample and the whole budget, also if it does not count.
    std::uint64_t askedBytes;
    std::uint64_t mostAskedBytes; ///< the most it has asked for while it counted
    std::uint64_t decisiveCount; ///< how often it asked for most of all that counted, and not for 0
};

/// What the policies ask for, and have asked for since the loop came on: at the first background purge,
/// or the first after it was off. They are asked by each FlushTo, background purges included, that finds
/// more in the cache than its smallest allowed size. Takes the manager's lock.
/// @return a record for each policy, in the order in which they are asked; none while the loop is off or
///         the manager is not running.
RK_API std::vector<PolicyRecord> GetPolicyReport();
} // namespace MM

} // namespace RK
