#pragma once

#include <cstdint>

namespace Platform
{

/// Names the calling thread for debuggers and monitors.
/// @param inName  the kernel keeps its first 15 bytes.
void SetCurrentThreadName(const char* inName) noexcept;

/// The kernel's number of the calling thread, the one that debuggers and /proc show.
std::uint64_t CurrentThreadID() noexcept;

/// How many processors the calling process may use, by its affinity; at least 1. The processor quota of
/// control groups does not count: it limits time, and not how many run at a time.
int UsableProcessorCount();

} // namespace Platform
