#include "MediaManager/MediaEventRing.h"

#include <utility>

namespace RK
{

MediaEventRing::MediaEventRing(std::uint32_t inCapacity)
    : mEvents(inCapacity)
    , mEventCapacity(inCapacity)
{
}

bool MediaEventRing::TakeTicket(std::uint64_t& outTicket) noexcept
{
    std::uint64_t ticket = mEventWriteCount.load(std::memory_order_relaxed);
    do
    {
        // Signed: a ticket read long ago may lie behind the reader by now; the exchange then fails.
        const std::uint64_t read = mEventReadCount.load(std::memory_order_acquire); // invariant (3)
        if (static_cast<std::int64_t>(ticket - read) >= static_cast<std::int64_t>(mEventCapacity))
            return false;
    } while (
        !mEventWriteCount.compare_exchange_weak(ticket, ticket + 1, std::memory_order_relaxed));
    outTicket = ticket;
    return true;
}

bool MediaEventRing::Push(Type inType, MediaID inID, const qelcore::utility::Guid& inMapID,
                          double inTime, Registration&& inRegistration) noexcept
{
    std::uint64_t ticket = 0;
    if (!TakeTicket(ticket))
    {
        mLostCount.fetch_add(1, std::memory_order_relaxed);
        return false;
    }
    Event& event = At(ticket);
    event.type.store(inType, std::memory_order_relaxed);
    event.mediaID.store(inID, std::memory_order_relaxed);
    event.mapHigh.store(inMapID.High(), std::memory_order_relaxed);
    event.mapLow.store(inMapID.Low(), std::memory_order_relaxed);
    event.map.swap(inRegistration.map); // the slot's was null: nothing is released here
    event.time = inTime;
    event.size = inRegistration.size;
    event.priority = inRegistration.priority;
    event.handleCount = inRegistration.handleCount;
    event.ready.store(1, std::memory_order_release); // invariant (3)
    return true;
}

bool MediaEventRing::IsLastTouch(MediaID inID, const qelcore::utility::Guid& inMapID) const noexcept
{
    const Event& last = At(mEventWriteCount.load(std::memory_order_relaxed) - 1);
    return last.type.load(std::memory_order_relaxed) == kTouch &&
           last.mediaID.load(std::memory_order_relaxed) == inID && last.MapID() == inMapID;
}

void MediaEventRing::Clear(Event& outEvent) noexcept
{
    outEvent.ready.store(0, std::memory_order_relaxed);
    outEvent.type.store(kNone, std::memory_order_relaxed);
    outEvent.mediaID.store(0, std::memory_order_relaxed);
    outEvent.mapHigh.store(0, std::memory_order_relaxed);
    outEvent.mapLow.store(0, std::memory_order_relaxed);
    outEvent.time = 0;
    outEvent.size = 0;
    outEvent.priority = 0;
    outEvent.handleCount = 0;
    outEvent.map.reset(); // last: it may be the map's last reference, and run its destructor
}

} // namespace RK
