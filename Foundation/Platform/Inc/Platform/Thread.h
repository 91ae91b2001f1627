#pragma once

#include <cstdint>

namespace Platform
{

/// Names the calling thread for debuggers and monitors.
/// @param inName  the kernel keeps its first 15 bytes.
void SetCurrentThreadName(const char* inName) noexcept;

/// The kernel's number of the calling thread, the one that debuggers and /proc show.
std::uint64_t CurrentThreadID() noexcept;

/// How many processors the calling process may use, by its affinity and by the processor quota of its
/// control groups (a quota of one and a half processors counts as two); at least 1.
int UsableProcessorCount();

} // namespace Platform
