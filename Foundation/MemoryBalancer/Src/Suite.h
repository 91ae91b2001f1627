#pragma once

#include <memory>
#include <string>

#include "BalanceImage.h"
#include "MemoryBalancer/MemoryBalancer.h"
#include "Platform/SharedSegment.h"

// Where the processes of a suite meet. The segment's lock 0 is the table's: who reads or writes the image
// holds it. Lock n + 1 is held by whoever has slot n, for as long as it has it: that is how a process that
// was killed is told from one that is silent.
namespace memorybalancer
{

constexpr unsigned kTableLock = 0;
constexpr int kTableLockTimeoutMilliseconds = 250;

constexpr unsigned SlotLock(unsigned inSlot)
{
    return inSlot + 1;
}

/// The name of the segment. It tells the layout's version, so that processes that do not understand each
/// other do not meet.
std::string SegmentNameOf(const qelcore::UTF16String& inSuite);

Platform::SegmentResult OpenSuite(const qelcore::UTF16String& inSuite, bool inCreate,
                                  std::unique_ptr<Platform::SharedSegment>& outSegment);

/// What the segment holds at this moment; the caller holds the table's lock. What is too short to be
/// read is damaged.
ImageCondition ReadImage(const Platform::SharedSegment& inSegment, BalanceImage& outImage);

} // namespace memorybalancer
