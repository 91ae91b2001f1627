// Where a volume of a server comes from, by what the mount table says that is mounted there. The volume
// itself is not looked at, so it need not answer.
//
// Threads  Pure functions.
#pragma once

#include <string>

#include "Platform/VolumeTable.h"

namespace Platform
{

/// The machine that serves a volume: the host of "//host/share", "host:/path", "user@host:path" and
/// "scheme://user@host:port/path". Empty if the source names none.
std::string HostOfVolume(const std::string& inType, const std::string& inSource);

/// The address of a volume as "scheme://host/path", without user, port and query: "nfs", "smb", "afp" and
/// "sftp" by the type, or the scheme of a source that is an address itself. A path of sftp that begins
/// in the user's home begins with "/~/". What an address cannot hold is percent-encoded.
/// @return empty for a volume of this machine, and for a type that no scheme is known of.
std::string URLOfVolume(const Mount& inMount);

} // namespace Platform
