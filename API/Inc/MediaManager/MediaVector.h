#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "MediaManager/IMediaMap.h"
#include "RKMediaManager.h"
#include "ZOR/CountedObject.h"

namespace RK
{

// A fixed array of slots under the budget of the media manager, without a lock. A slot is known by its
// index, which is also its MediaID.
//
//     struct Thumbnail { std::atomic<const Image*> mImage{nullptr}; };
//     ZOR::InterfaceRef<RK::MediaVector<Thumbnail>, RK::IMediaMap> vector(
//         new RK::MediaVector<Thumbnail>(kFrames));
//     if (!vector->Read(frame, [&](Thumbnail& inSlot) { Draw(inSlot.mImage); }))
//         vector->Write(frame, 3, [&](Thumbnail& outSlot) { return Fill(outSlot); });  // bytes
//
// Element   default constructible. It must bear being read while it is written: a reader that comes
//           while a writer is at work uses the element, and so does one that was there before the slot
//           was cleared. So its fields are atomics, or it is one atomic pointer to something that does
//           not change and is freed late. Two writers are never in one slot at a time.
//           A purge does not destroy an element: it stays in its slot until it is written anew.
// Lifetime  Counted. The manager holds a reference for each slot that it knows.
// Threads   Every function from any thread. None waits.
// Limits    65535 readers, 255 writers and 127 flushers in one slot at a time.
//
// Invariants of a slot's state word
//   (1) Bits 0 to 15 count the readers, 16 to 23 the writers, 24 to 30 the flushers at work, each of
//       whom adds on coming and subtracts on leaving, in any case. Bit 31 says that an element is
//       present.
//   (2) Bit 31 is set only by a writer who found no other writer, no flusher and no element when it
//       came. Whoever came after it found it, so it is the only one who fills.
//   (3) Bit 31 is cleared only by a flusher, in one step, so that of several one finds it set: that one
//       tells the manager, or was told by it. It tells before it leaves, and a writer begins only when
//       it has left; so the removal of an element always reaches the manager before its successor.
//   (4) What the writer has written is seen by whoever finds bit 31 set: it is set with release, and
//       each coming is an acquire. Nothing orders a reader who came while a writer was at work.
//   (5) A slot is registered before it is present. A purge in between finds nothing to flush, and the
//       element is then present without the manager knowing of it, until it is cleared.
template <class Element>
class MediaVector : public ZOR::CountedObject<IMediaMap>
{
public:
    /// @param inCount    slots, all of them empty.
    /// @param inManager  the manager to register with, which must be running; for tests to replace.
    explicit MediaVector(std::size_t inCount, const IMediaManagerRef& inManager = GetMediaManager())
        : mSlots(inCount)
        , mManager(inManager)
        , mUniqueID(mManager->AcquireUniqueID())
    {
    }

    std::size_t Count() const noexcept { return mSlots.size(); }

    /// Uses an element, and counts that as a use. The slot is not purged meanwhile.
    /// @param inUse  called with the Element&, unless the slot is empty. See above for what it may find.
    /// @return false if the slot is empty, or there is no such slot.
    template <class Use>
    bool Read(MediaID inIndex, Use&& inUse)
    {
        if (inIndex >= mSlots.size())
            return false;
        Slot& slot = mSlots[inIndex];
        const Presence presence(slot, kReader);
        if (presence.Before() < kWriter)
            return false;
        inUse(slot.mElement);
        mManager->TouchMedia(inIndex, mUniqueID);
        return true;
    }

    /// Fills an empty slot.
    /// @param inPriority  0 (kept longest) to 100.
    /// @param inFill      called with the Element&, if this thread is the one to write; returns the
    ///                    bytes that the element counts as. 0 violates the manager's contract, and
    ///                    what that raises leaves the slot empty, as does what inFill throws.
    /// @return false if the slot is not empty or others are at it, or there is no such slot.
    template <class Fill>
    bool Write(MediaID inIndex, Priority inPriority, Fill&& inFill)
    {
        if (inIndex >= mSlots.size())
            return false;
        Slot& slot = mSlots[inIndex];
        const Presence presence(slot, kWriter);
        if ((presence.Before() & ~kReaders) != 0)
            return false;
        const Size size = inFill(slot.mElement);
        mManager->AddMedia(inIndex, size, inPriority, 0, IMediaMapRef(this));
        slot.mState.fetch_or(kPresent, std::memory_order_release);
        return true;
    }

    /// Empties a slot and its purge lock, also while others read it.
    /// @return false if it was empty, or there is no such slot.
    bool Clear(MediaID inIndex)
    {
        if (inIndex >= mSlots.size())
            return false;
        Slot& slot = mSlots[inIndex];
        const Presence presence(slot, kFlusher);
        if (!TakePresent(slot))
            return false;
        mManager->RemoveMedia(inIndex, mUniqueID);
        slot.mPurgeLock.store(0);
        return true;
    }

    /// Counts up what keeps an element from being purged by size or by age. Emptying the slot sets the
    /// count back to 0, so make it count only for an element that is known to be there.
    void MakeNonPurgeable(MediaID inIndex)
    {
        if (inIndex < mSlots.size())
            ++mSlots[inIndex].mPurgeLock;
    }
    /// Counts down. Once too often makes the next MakeNonPurgeable of the same element void.
    void MakePurgeable(MediaID inIndex)
    {
        if (inIndex < mSlots.size())
            --mSlots[inIndex].mPurgeLock;
    }

    /// A slot with readers is not flushed: its element stays, though the manager has forgotten it.
    void Flush(MediaID inIndex) override
    {
        if (inIndex >= mSlots.size())
            return;
        Slot& slot = mSlots[inIndex];
        const Presence presence(slot, kFlusher);
        if ((presence.Before() & kReaders) == 0 && TakePresent(slot) && slot.mPurgeLock.load() > 0)
            slot.mPurgeLock.store(0);
    }

    qelcore::utility::Guid GetUniqueID() const override { return mUniqueID; }

    bool IsNonPurgeable(MediaID inIndex) override
    {
        return inIndex < mSlots.size() && mSlots[inIndex].mPurgeLock.load() > 0;
    }

protected:
    ~MediaVector() override = default;

    using State = std::uint32_t;
    static constexpr State kReader = 0x1;
    static constexpr State kReaders = 0xFFFF;
    static constexpr State kWriter = 0x10000;
    static constexpr State kFlusher = 0x1000000;
    static constexpr State kPresent = 0x80000000u;

    struct Slot
    {
        Element mElement{};
        std::atomic<State> mState{0};            // see the invariants
        std::atomic<std::int32_t> mPurgeLock{0}; // above 0: not purgeable
    };

    // Being at work in a slot, from construction to destruction.
    class Presence
    {
    public:
        Presence(Slot& ioSlot, State inWhat) noexcept
            : mSlot(ioSlot)
            , mWhat(inWhat)
            , mBefore(ioSlot.mState.fetch_add(inWhat, std::memory_order_acq_rel))
        {
        }
        ~Presence() { mSlot.mState.fetch_sub(mWhat, std::memory_order_acq_rel); }
        Presence(const Presence&) = delete;
        Presence& operator=(const Presence&) = delete;
        /// The state word that was found on coming.
        State Before() const noexcept { return mBefore; }

    private:
        Slot& mSlot;
        const State mWhat;
        const State mBefore;
    };

    /// @return true for the one caller that found the element present.
    static bool TakePresent(Slot& ioSlot) noexcept
    {
        return (ioSlot.mState.fetch_and(~kPresent, std::memory_order_acq_rel) & kPresent) != 0;
    }

    std::vector<Slot> mSlots; // its size never changes

private:
    const IMediaManagerRef mManager;
    const qelcore::utility::Guid mUniqueID;
};

} // namespace RK
