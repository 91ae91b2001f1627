#pragma once

#include <cstddef>
#include <cstdint>

#include <boost/shared_ptr.hpp>

#include "MediaManager/IMediaMap.h"
#include "MemoryBalancer/MemoryBalancer.h"
#include "ZOR/InterfaceRef.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"

namespace RK
{

using Size = std::uint64_t; ///< bytes
using Priority = std::uint32_t; ///< 0 (kept longest) to 100
using HandleCount = std::uint32_t; ///< operating-system handles that an item keeps open

enum PurgeUrgency
{
    kPurgeUrgency_Background = 0,
    kPurgeUrgency_Immediate = 1,
};

// The process-wide bookkeeper of decoded media. (The owner of the media manager completes this text.)
class RK_API IMediaManager : public ZOR::ZORUnknown
{
public:
    virtual qelcore::utility::Guid AcquireUniqueID() = 0;
    virtual void AddMedia(MediaID inID, Size inSize, Priority inPriority, HandleCount inHandleCount,
                          const IMediaMapRef& inSourceMapRef) = 0;
    virtual void TouchMedia(MediaID inID, qelcore::utility::Guid inMapID) = 0;
    virtual void RemoveMedia(MediaID inID, qelcore::utility::Guid inMapID) = 0;
    virtual std::uint32_t GetNumberOfEntries() const = 0;
    virtual std::uint64_t GetCurrentSpace() const = 0;
    virtual void FlushTo(std::uint32_t inPercentage) = 0;
    virtual void FlushAsyncEvents() = 0;
    virtual void SetReserveSize(int inPluginID, long long inBytes) = 0;
    virtual void AdjustReservedMemorySize(int inPluginID, long long inDeltaBytes) = 0;
    virtual void SetReserveSize(const qelcore::utility::Guid& inID, long long inBytes) = 0;
    virtual void SetApplicationMemoryRequirements(memorybalancer::MemoryPriority inPriority) = 0;
    virtual boost::shared_ptr<memorybalancer::MemoryBalancer> GetMemoryBalancer() = 0;
    virtual std::uint64_t GetMaximumSize() const = 0;
    virtual void SetMaximumSize(std::size_t inBytes) = 0;
    virtual void EnterHighThroughputMode() = 0;
    virtual void ExitHighThroughputMode() = 0;
    ~IMediaManager() override;
};

using IMediaManagerRef = ZOR::InterfaceRef<IMediaManager, IMediaManager>;
RK_API const qelcore::utility::Guid& GuidOf(IMediaManager*);

/// @return the manager; a null reference if it is not there.
RK_API IMediaManagerRef GetMediaManager();

/// Stores a function that takes reservations over from the manager. Not locked: set it at start-up.
RK_API void SetReserveSizeFunction(void (*inFunction)(const qelcore::utility::Guid&, long long));

namespace MM
{
/// Bytes registered; 0 while the manager is not running.
RK_API std::uint64_t GetSize();
/// Always true, by design.
RK_API bool HasSufficientMemory();
/// Purges up to inSize bytes. @return the bytes purged; 0 while the manager is not running.
RK_API std::uint64_t Purge(std::size_t inSize, PurgeUrgency inUrgency);
} // namespace MM

} // namespace RK
