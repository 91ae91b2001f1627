#pragma once

#include "HostError.h"

namespace RKHost
{

/// Prints the figures of the cache, the machine and the process, and which importer there is.
ExitCode RunInfo();

} // namespace RKHost
