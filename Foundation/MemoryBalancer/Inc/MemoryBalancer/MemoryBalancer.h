#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace memorybalancer
{

/// How much a process matters when memory is distributed: higher gets more.
using MemoryPriority = std::int32_t;

// Distributes the machine's memory among the processes of one suite of applications. Declared here so
// that the media manager's interface can name it; no process makes one yet.
class MemoryBalancer;

} // namespace memorybalancer
