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
// Threads  Flush and IsNonPurgeable are called from any thread, with the manager's lock held. They may
//          take the map's own lock; nothing may call an operation of the manager that locks while
//          holding that lock. AddMedia, TouchMedia and RemoveMedia never lock and are always allowed.
// Errors   Neither may throw: an exception out of Flush ends all later purging.
class RK_API IMediaMap : public ZOR::ZORUnknown
{
public:
    /// Lets go of an item. The manager has forgotten it already. An unknown ID is ignored: the owner
    /// may have removed the item in the same moment.
    virtual void Flush(MediaID inID) = 0;
    /// The identity of this map, from IMediaManager::AcquireUniqueID().
    virtual qelcore::utility::Guid GetUniqueID() const = 0;
    /// @return true if purges by size and by age must pass the item over.
    virtual bool IsNonPurgeable(MediaID inID);
    ~IMediaMap() override;
};

using IMediaMapRef = ZOR::InterfaceRef<IMediaMap, IMediaMap>;
RK_API const qelcore::utility::Guid& GuidOf(IMediaMap*);

} // namespace RK
