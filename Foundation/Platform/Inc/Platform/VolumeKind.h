// What kind of volume a line of the mount table tells of.
//
// Threads  Pure functions.
#pragma once

#include "Platform/VolumeTable.h"

namespace Platform
{

/// On another machine: nfs, cifs, smb3, 9p, ceph, fuse.sshfs and their like, and whatever has a server for
/// its source ("//host/share", "host:/path", "scheme://..."). A folder that a virtual machine shares with
/// its host is none.
bool IsNetworkMount(const Mount& inMount);

/// A trigger of the automounter. Nothing may be looked up in it, or it mounts something.
bool IsAutomounter(const Mount& inMount);

/// The kernel's own, such as proc and sysfs: there are no files of anybody's in it.
bool IsPseudoMount(const Mount& inMount);

} // namespace Platform
