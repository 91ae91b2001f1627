#pragma once

#include <cstdint>

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"

namespace RK
{

/// Number of an item within its map.
using MediaID = std::uint64_t;

// An owner of media under the rule of the media manager, which calls it to let go of single items.
//
// The manager holds a reference to the map for each item that is registered, so a map outlives its
// entries there. A map whose own life must not hang on them registers a small helper in its place.
//
// Threads  Flush and IsNonPurgeable are called from any thread, with the manager's lock held. They may
//          take the map's own lock; nothing may call an operation of the manager that locks while
//          holding that lock. AddMedia, TouchMedia and RemoveMedia never lock and are always allowed,
//          also from within Flush. GetUniqueID is called by AddMedia, on its thread.
// Errors   Flush and IsNonPurgeable may not throw: an exception out of Flush ends all later purging.
//          What GetUniqueID raises passes to the caller of AddMedia, and nothing is registered.
class RK_API IMediaMap : public ZOR::ZORUnknown
{
public:
    /// Lets go of an item. The manager has forgotten it already. An unknown ID is ignored: the owner
    /// may have removed the item in the same moment.
    virtual void Flush(MediaID inID) = 0;
    /// The identity of this map, from IMediaManager::AcquireUniqueID(); the same at every call.
    virtual qelcore::utility::Guid GetUniqueID() const = 0;
    /// @return true if purges by size and by age must pass the item over. It is flushed all the same
    ///         when the clock shows that it is stale: after a gap of 8 hours, or when its time of use
    ///         lies before the last wrap of the manager's tick, which takes 171798 s.
    virtual bool IsNonPurgeable(MediaID inID);
    ~IMediaMap() override;
};

using IMediaMapRef = ZOR::InterfaceRef<IMediaMap, IMediaMap>;
RK_API const qelcore::utility::Guid& GuidOf(IMediaMap*);

} // namespace RK
