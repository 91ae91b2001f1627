// What the system lets the process hold.
//
// Threads  Every function may be called from any thread.
// Errors   None is raised.
#pragma once

#include <cstdint>

namespace Platform
{

/// How many descriptors (files, sockets, pipes ...) the process may have open at a time, as it is set
/// now; the largest number if there is no limit.
std::uint64_t MaxDescriptorCount() noexcept;

/// How many it has open. Takes time in proportion. 0 if unknown.
std::uint64_t OpenDescriptorCount() noexcept;

} // namespace Platform
