#include "SuiteSeat.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "Suite.h"
#include "qelcore/Trace.h"

namespace memorybalancer
{
namespace
{

constexpr int kMostBusyTurns = 3; // each of a quarter of a second, and about one second apart
constexpr int kMostTries = 4;     // of one turn to get into a segment that others replace meanwhile

class TableUnlocker
{
public:
    explicit TableUnlocker(Platform::SharedSegment& inSegment)
        : mSegment(inSegment)
    {
    }
    ~TableUnlocker() { mSegment.Unlock(kTableLock); }
    TableUnlocker(const TableUnlocker&) = delete;
    TableUnlocker& operator=(const TableUnlocker&) = delete;

private:
    Platform::SharedSegment& mSegment;
};

} // namespace

using Platform::SegmentResult;
using Platform::SharedSegment;

SuiteSeat::SuiteSeat(const qelcore::UTF16String& inSuite, const qelcore::UTF16String& inClientName)
    : mSuite(inSuite)
    , mName(ToSlotName(inClientName))
{
}

SuiteSeat::~SuiteSeat()
{
    if (!mSegment)
        return;
    try
    {
        if (HasSlot() && mSegment->Lock(kTableLock, kTableLockTimeoutMilliseconds))
            Leave();
    }
    catch (const std::exception& failure)
    {
        RK_TRACE("MemoryBalancer", 0, "The suite was not told of an end: " << failure.what());
    }
    LeaveSegment(); // whoever was not told finds the slot's lock free
}

void SuiteSeat::Leave()
{
    BalanceImage image;
    if (ReadImage(*mSegment, image) != ImageCondition::kSound)
        return;
    image.slots[mSlot] = Slot();
    FreeSlotsOfTheGone(image);
    const bool last = std::none_of(image.slots.begin(), image.slots.end(),
                                   [](const Slot& inSlot) { return inSlot.taken != 0; });
    if (last && mSegment->IsCurrent())
        SharedSegment::Remove(SegmentNameOf(mSuite));
    Rebalance(image);
    Seal(image);
    mSegment->Write(&image);
}

std::optional<std::uint64_t> SuiteSeat::TakeTurn(const SeatFigures& inFigures)
{
    BalanceImage image;
    Entry entry = Entry::kAgain;
    for (int i = 0; i < kMostTries && entry == Entry::kAgain; ++i)
        entry = Enter(image);
    if (entry == Entry::kAlone)
        return TakeTurnAlone(inFigures);
    if (entry != Entry::kEntered)
        return std::nullopt;
    mToldAlone = false;
    return TakeTurnInside(inFigures, image);
}

SuiteSeat::Entry SuiteSeat::Enter(BalanceImage& outImage)
{
    if (!mSegment)
    {
        const Entry opened = OpenSegment();
        if (opened != Entry::kEntered)
            return opened;
    }
    if (!mSegment->Lock(kTableLock, kTableLockTimeoutMilliseconds))
        return NoteBusyTable();
    mBusyTurns = 0;
    if (!mSegment->IsCurrent())
    {
        LeaveSegment();
        return Entry::kAgain;
    }
    const ImageCondition condition = ReadImage(*mSegment, outImage);
    if (condition == ImageCondition::kDamaged)
    {
        Replace("it is damaged");
        return Entry::kAgain;
    }
    return Entry::kEntered;
}

SuiteSeat::Entry SuiteSeat::OpenSegment()
{
    std::unique_ptr<SharedSegment> segment;
    const SegmentResult result = OpenSuite(mSuite, true, segment);
    if (result == SegmentResult::kOpened)
    {
        mSegment = std::move(segment);
        return Entry::kEntered;
    }
    if (result == SegmentResult::kForeign && SharedSegment::Remove(SegmentNameOf(mSuite)))
    {
        RK_TRACE("MemoryBalancer", 0, "The suite's shared memory was not ours, and is replaced.");
        return Entry::kAgain;
    }
    return Entry::kAlone;
}

// The kernel frees the locks of the dead, so a table that stays locked is held by a process that does not
// run. Without its lock its name can still be taken away. Should another process do that at the same
// moment, a fresh segment may lose its name: its members find out, and meet in the next one.
SuiteSeat::Entry SuiteSeat::NoteBusyTable()
{
    if (++mBusyTurns < kMostBusyTurns)
        return Entry::kBusy;
    mBusyTurns = 0;
    if (mSegment->IsCurrent())
        Replace("its table stays locked");
    else
        LeaveSegment();
    return Entry::kAgain;
}

void SuiteSeat::Replace(const char* inReason)
{
    RK_TRACE("MemoryBalancer", 0, "The suite's shared memory is replaced: " << inReason << ".");
    SharedSegment::Remove(SegmentNameOf(mSuite));
    LeaveSegment();
}

void SuiteSeat::LeaveSegment()
{
    // Somebody may hold the pointer for the bell's sake, and the locks are not to wait for that.
    if (HasSlot())
        mSegment->Unlock(SlotLock(mSlot));
    mSegment->Unlock(kTableLock);
    mSegment->Ring(); // so that the others look
    mSegment.reset();
    mSlot = kSlotCount;
}

bool SuiteSeat::FindSlot()
{
    for (std::uint32_t i = 0; i < kSlotCount && !HasSlot(); ++i)
    {
        if (mSegment->Lock(SlotLock(i), 0))
            mSlot = i;
    }
    return HasSlot();
}

/// @return false if all are taken.
bool SuiteSeat::TakeSlot(BalanceImage& ioImage)
{
    if (!HasSlot())
    {
        if (!FindSlot())
        {
            if (!std::exchange(mToldFull, true))
                RK_TRACE("MemoryBalancer", 0,
                         "All seats of the suite are taken: nothing is granted until one is free.");
            return false;
        }
        ioImage.slots[mSlot] = Slot(); // of somebody who has gone, with its grant
    }
    mToldFull = false;
    return true;
}

std::optional<std::uint64_t> SuiteSeat::TakeTurnInside(const SeatFigures& inFigures,
                                                       BalanceImage& ioImage)
{
    const TableUnlocker unlocker(*mSegment);
    if (!TakeSlot(ioImage))
        return std::nullopt;
    Fill(ioImage, ioImage.slots[mSlot], inFigures);
    FreeSlotsOfTheGone(ioImage);
    const bool changed = Rebalance(ioImage);
    Seal(ioImage);
    mSegment->Write(&ioImage);
    if (changed)
        mSegment->Ring();
    return ioImage.slots[mSlot].grant;
}

std::uint64_t SuiteSeat::TakeTurnAlone(const SeatFigures& inFigures)
{
    if (!std::exchange(mToldAlone, true))
        RK_TRACE("MemoryBalancer", 0,
                 "No memory can be shared with the suite: this process is granted what it would "
                 "get as the only member.");
    Fill(mAlone, mAlone.slots[0], inFigures);
    Rebalance(mAlone);
    return mAlone.slots[0].grant;
}

void SuiteSeat::Fill(BalanceImage& ioImage, Slot& outSlot, const SeatFigures& inFigures) const
{
    outSlot.taken = 1;
    outSlot.priority = inFigures.state.priority;
    outSlot.processID = inFigures.processID;
    outSlot.minimum = inFigures.state.minimum;
    outSlot.maximum = inFigures.state.maximum;
    outSlot.used = inFigures.state.used;
    outSlot.total = inFigures.total;
    outSlot.free = inFigures.free;
    outSlot.turn = ++ioImage.turns;
    outSlot.name = mName;
}

void SuiteSeat::FreeSlotsOfTheGone(BalanceImage& ioImage) const
{
    for (std::uint32_t i = 0; i < kSlotCount; ++i)
    {
        Slot& slot = ioImage.slots[i];
        if (i != mSlot && slot.taken != 0 && !mSegment->IsLockedByOthers(SlotLock(i)))
            slot = Slot();
    }
}

} // namespace memorybalancer
