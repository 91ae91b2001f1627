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

    MVWalkMarks mark; ///< 0 for one that is too deep
};
