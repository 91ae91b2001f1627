#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "MediaManager/MediaItem.h"

namespace RK
{

// The ring through which owners tell the media manager what they do, without a lock.
//
// Threads     Push, IsLastTouch, LostCount: any thread; never wait, never allocate.
//             Drain: one thread at a time, which is the caller's duty.
// Invariants  (1) Tickets and read counts grow without bound, 64 bits wide, and are masked only to find
//                 a slot. So full and empty differ, and a producer that sleeps between reading a count
//                 and taking its ticket cannot meet the same count again.
//             (2) mEventReadCount <= mEventWriteCount <= mEventReadCount + mEventCapacity. A producer
//                 takes ticket t only after it has seen t < mEventReadCount + mEventCapacity: a full
//                 ring refuses. It never overwrites and never waits.
//             (3) The slot of ticket t belongs to the producer that took t until it stores `ready` = 1
//                 with release; then to the reader, who loads it with acquire, until it has stored
//                 mEventReadCount > t with release; then to whoever takes ticket t + mEventCapacity,
//                 after loading that count with acquire. Nothing else orders a slot's plain fields.
//             (4) A slot that belongs to nobody or to a producer still has `ready` = 0. The reader stops
//                 at the first such slot, so events are applied in the order of their tickets.
//             (5) Touches stay in their slots until a batch is through, so mEventReadCount moves only at
//                 the end of a batch, past everything that was applied and cleared.
//             (6) Nothing between taking a ticket and storing `ready` can throw or call out.
// What IsLastTouch peeks at without owning the slot (type, mediaID, map identity) is relaxed atomics: it
// may see a mixture of two events, and a touch dropped or kept for that is harmless.
class MediaEventRing
{
public:
    enum Type : std::uint32_t
    {
        kTouch = 0,
        kAdd = 1,
        kRemove = 2,
        kNone = 3,
    };

    /// One slot, a cache line wide, so that two producers do not share one.
    struct alignas(64) Event
    {
        std::atomic<std::uint32_t> ready{0};
        std::atomic<std::uint32_t> type{kNone};
        std::atomic<MediaID> mediaID{0};
        std::atomic<std::int64_t> mapHigh{0};
        std::atomic<std::int64_t> mapLow{0};
        IMediaMapRef map; // of an add only
        double time = 0;  // seconds since the manager's start, at the call
        Size size = 0;    // this and what follows: of an add only
        Priority priority = 0;
        HandleCount handleCount = 0;

        qelcore::utility::Guid MapID() const noexcept
        {
            return {mapHigh.load(std::memory_order_relaxed),
                    mapLow.load(std::memory_order_relaxed)};
        }
        MediaItemID ID() const noexcept
        {
            return {nullptr, mediaID.load(std::memory_order_relaxed), MapID()};
        }
    };

    /// What an add says beyond the other events.
    struct Registration
    {
        IMediaMapRef map;
        Size size = 0;
        Priority priority = 0;
        HandleCount handleCount = 0;
    };

    /// @param inCapacity  a power of two.
    explicit MediaEventRing(std::uint32_t inCapacity);

    /// Writes an event. @return false if the ring is full: the event is lost, and counted.
    bool Push(Type inType, MediaID inID, const qelcore::utility::Guid& inMapID, double inTime,
              Registration&& inRegistration) noexcept;

    /// @return true if the slot written last holds a touch of this item. A guess: see above.
    bool IsLastTouch(MediaID inID, const qelcore::utility::Guid& inMapID) const noexcept;

    /// Applies and clears the events written so far: adds and removes in order, then touches, newest first.
    /// inChange and inTouch are called with an Event&, and must not throw or call Drain.
    template <class Change, class Touch>
    void Drain(const Change& inChange, const Touch& inTouch);

    std::uint64_t LostCount() const noexcept { return mLostCount.load(std::memory_order_relaxed); }
    std::uint32_t Capacity() const noexcept { return mEventCapacity; }

private:
    bool TakeTicket(std::uint64_t& outTicket) noexcept;
    Event& At(std::uint64_t inTicket) noexcept { return mEvents[inTicket & (mEventCapacity - 1)]; }
    const Event& At(std::uint64_t inTicket) const noexcept
    {
        return mEvents[inTicket & (mEventCapacity - 1)];
    }
    static void Clear(Event& outEvent) noexcept;

    std::vector<Event> mEvents; // fixed at construction
    const std::uint32_t mEventCapacity;
    std::atomic<std::uint64_t> mLostCount{0};
    std::uint64_t mEventReadIndex = 0; // the reader's own: next ticket to look at
    alignas(64) std::atomic<std::uint64_t> mEventWriteCount{0}; // relaxed: publishes nothing
    alignas(64) std::atomic<std::uint64_t> mEventReadCount{0};  // see (3) and (5)
};

template <class Change, class Touch>
void MediaEventRing::Drain(const Change& inChange, const Touch& inTouch)
{
    const std::uint64_t start = mEventReadIndex;
    const std::uint64_t end = mEventWriteCount.load(std::memory_order_relaxed);
    for (; mEventReadIndex != end; ++mEventReadIndex)
    {
        Event& event = At(mEventReadIndex);
        if (event.ready.load(std::memory_order_acquire) == 0)
            break;
        if (event.type.load(std::memory_order_relaxed) == kTouch)
            continue;
        inChange(event);
        Clear(event);
    }
    for (std::uint64_t ticket = mEventReadIndex; ticket-- != start;)
    {
        Event& event = At(ticket);
        if (event.type.load(std::memory_order_relaxed) != kTouch)
            continue;
        inTouch(event);
        Clear(event);
    }
    mEventReadCount.store(mEventReadIndex, std::memory_order_release);
}

} // namespace RK
