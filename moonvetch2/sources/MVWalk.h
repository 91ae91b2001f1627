// Walks along lists whose members are called on the way, and call back: they add records, move them to the head,
// send others to their end. A walk meets each record that was there when it began once, in the order of the list,
// and never looks at one that has gone. It ends whatever they do.
//
//     const std::uint64_t walk = mvBeginWalk();
//     while (MVAccess* access = mvNextInWalk(firstAccess, walk))
#pragma once

#include <cstdint>

/// How many were begun. A record that is linked takes this for its lastWalk: walks under way pass it by.
inline constinit std::uint64_t gMVWalks = 0;

inline std::uint64_t mvBeginWalk()
{
    return ++gMVWalks;
}

/// From the head each time, since nothing else is sure to be there still. What a walk within this one has met
/// meanwhile counts as met. @return null at the end.
template <class Record>
Record* mvNextInWalk(Record* inHead, std::uint64_t inWalk)
{
    Record* record = inHead;
    while (record != nullptr && record->lastWalk >= inWalk)
        record = record->next;
    if (record != nullptr)
        record->lastWalk = inWalk;
    return record;
}
