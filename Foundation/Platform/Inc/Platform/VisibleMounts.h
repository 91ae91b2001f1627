// Which lines of the mount table a path can lead to: one mount may lie on another, and over all that is
// mounted below it.
//
// Threads  A pure function.
#pragma once

#include <vector>

#include "Platform/VolumeTable.h"

namespace Platform
{

/// Those mounts whose mount point leads to them, in the order given. @param inMounts  the whole table.
std::vector<Mount> VisibleMounts(const std::vector<Mount>& inMounts);

} // namespace Platform
