#pragma once

#include <cstdint>
#include <string>

namespace Platform
{

/// The system's number of this process, as its own container counts.
std::int64_t CurrentProcessID() noexcept;

/// The name that the machine gives itself; empty if it has none.
std::string MachineName();

/// Changes in each child that fork() makes from the first call on: who keeps the answer can tell later
/// whether it is still in the process that made it. A process id would not do, since that of a child in a
/// namespace of its own may be the same. Does not count children that come about without fork().
unsigned ForkCount();

} // namespace Platform
