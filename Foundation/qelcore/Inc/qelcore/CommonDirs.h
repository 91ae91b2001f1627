// Folders that applications share.
//
// Threads  Every function may be called from any thread, while nobody changes the environment.
#pragma once

#include "qelcore/Dir.h"
#include "qelcore/Export.h"

namespace qelcore
{
namespace filesupport
{
namespace commondirs
{

/// The folder of the user whose content is kept the same with the cloud. It need not exist.
///
/// It is what the debug key "SkyAtelier.SyncFolder" says, an absolute path. Where that is not set:
/// "Sky Atelier Sync" in $XDG_DATA_HOME, or in ~/.local/share if that is no absolute path.
/// @param inDefault  false gives the folder only where the key says one.
/// @return a Dir of the empty path if there is none.
RK_API Dir SkyAtelierSyncDir(bool inDefault);

} // namespace commondirs
} // namespace filesupport
} // namespace qelcore
