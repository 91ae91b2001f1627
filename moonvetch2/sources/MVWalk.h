// Walks along lists whose members are called on the way, and call back: they add records, move them to the head,
// send others to their end, walk along the same list themselves. A walk meets each record that was there when it
// began once, in the order of the list, and never looks at one that has gone. It ends whatever they do.
//
//     const MVWalk walk(firstAccess);
//     while (MVAccess* access = walk.Next(firstAccess))
#pragma once

#include <cstdint>

/// One bit for each of the walks that are within each other: whether it has met the record.
using MVWalkMarks = std::uint8_t;
/// Of a record that is linked: walks under way pass it by.
constexpr MVWalkMarks kMVWalkMarks_New = 0xFF;
/// What goes deeper meets nothing. Members that walk each time they are met would never come to an end otherwise.
constexpr unsigned kMVMostWalks = 8;

inline constinit unsigned gMVWalks = 0; ///< under way

struct MVWalk
{
    template <class Record>
    explicit MVWalk(Record* inHead)
        : mark(gMVWalks < kMVMostWalks ? static_cast<MVWalkMarks>(1u << gMVWalks) : MVWalkMarks{0})
    {
        ++gMVWalks;
        for (Record* record = inHead; record != nullptr; record = record->next)
            record->walks &= static_cast<MVWalkMarks>(~mark);
    }
    ~MVWalk() { --gMVWalks; }
    MVWalk(const MVWalk&) = delete;
    MVWalk& operator=(const MVWalk&) = delete;

    /// From the head each time, since nothing else is sure to be there still. Null at the end.
    template <class Record>
    Record* Next(Record* inHead) const
    {
        if (mark == 0)
            return nullptr;
        Record* record = inHead;
        while (record != nullptr && (record->walks & mark) != 0)
            record = record->next;
        if (record != nullptr)
            record->walks |= mark;
        return record;
    }

    /// The same where the list has a stamp, which each change of it moves on: a walk along a list that stands still goes
    /// on where it was, so that its cost is that of the list and not of its square.
    template <class Record>
    Record* Next(Record* inHead, std::uint32_t inStamp)
    {
        const bool stoodStill = met != nullptr && inStamp == stamp;
        Record* record = Next(stoodStill ? static_cast<Record*>(met)->next : inHead);
        met = record;
        stamp = inStamp;
        return record;
    }

    MVWalkMarks mark;        ///< 0 for one that is too deep
    void* met = nullptr;     ///< the last one; only looked at while the stamp is the same
    std::uint32_t stamp = 0; ///< when that was
};
