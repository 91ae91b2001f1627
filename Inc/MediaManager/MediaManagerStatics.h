#pragma once

#include <cstdint>

#include "MediaManager/MediaManager.h"
#include "qelcore/ThreadAnnotations.h"

// Values of the subsystem that several of its units share. MediaManager.cpp holds them.
namespace RK
{

/// Whether the memory balancer rules the budget, and the budget that it granted.
extern bool sPCSMemoryManagementEngaged RK_GUARDED_BY(sMaxSizeCriticalSection);
extern std::uint64_t sPCSMaximumMemory RK_GUARDED_BY(sMaxSizeCriticalSection);

namespace Details
{
void RegisterPurgeCommand(const qelcore::UTF16String& inName,
                          const qelcore::UTF16String& inDescription);
} // namespace Details

} // namespace RK
