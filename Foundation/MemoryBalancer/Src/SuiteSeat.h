#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "BalanceImage.h"
#include "Membership.h"
#include "Platform/SharedSegment.h"
#include "qelcore/UTFString.h"

namespace memorybalancer
{

/// What a process knows of itself and of the container that it is in. Sizes are bytes.
struct SeatFigures
{
    ApplicationState state;
    std::uint64_t total = 0;
    std::uint64_t free = 0;
    std::int64_t processID = 0;
};

// A process's seat in the segment of its suite, or alone where there is none to be had.
//
// What it finds there it does not trust: an object of another owner and a damaged image are replaced by a
// new object under the same name, and whoever had the old one open finds that out at its next turn. So it
// is when the table stays locked for several turns: its holder was stopped, and joins anew when it goes on.
// Threads  One at a time.
class SuiteSeat
{
public:
    SuiteSeat(const qelcore::UTF16String& inSuite, const qelcore::UTF16String& inClientName);
    /// Leaves. The last one to leave takes the segment away.
    ~SuiteSeat();
    SuiteSeat(const SuiteSeat&) = delete;
    SuiteSeat& operator=(const SuiteSeat&) = delete;

    /// Takes a seat if it has none, tells inFigures, gives back the shares of those who have gone, and
    /// takes the grants anew.
    /// @return what this process is granted; nothing if it has no seat because all are taken, or if the
    ///         table was locked for too long, which leaves the last grant in force.
    std::optional<std::uint64_t> TakeTurn(const SeatFigures& inFigures);

    /// The segment that it is in, whose bell rings when a turn is due; null while it is alone. The bell may
    /// be used for as long as the pointer is held.
    const std::shared_ptr<Platform::SharedSegment>& Segment() const { return mSegment; }

private:
    enum class Entry
    {
        kEntered, ///< the table is locked, the image read and sound
        kBusy,
        kAlone,
        kAgain,
    };

    Entry Enter(BalanceImage& outImage);
    Entry OpenSegment();
    Entry NoteBusyTable();
    void Replace(const char* inReason);
    void Leave();
    void LeaveSegment();
    bool FindSlot();
    bool HasSlot() const { return mSlot < kSlotCount; }
    bool TakeSlot(BalanceImage& ioImage);
    std::optional<std::uint64_t> TakeTurnInside(const SeatFigures& inFigures,
                                                BalanceImage& ioImage);
    std::uint64_t TakeTurnAlone(const SeatFigures& inFigures);
    void Fill(BalanceImage& ioImage, Slot& outSlot, const SeatFigures& inFigures) const;
    void FreeSlotsOfTheGone(BalanceImage& ioImage) const;

    const qelcore::UTF16String mSuite;
    const std::array<char16_t, kNameUnits> mName;
    std::shared_ptr<Platform::SharedSegment> mSegment;
    std::uint32_t mSlot = kSlotCount; // of mSegment; kSlotCount is none
    int mBusyTurns = 0;
    BalanceImage mAlone; // what the process distributes to itself while it has no segment
    bool mToldAlone = false;
    bool mToldFull = false;
};

} // namespace memorybalancer
