#pragma once

#include <string>

namespace qelcore
{
namespace filesupport
{

/// The machine that serves a volume, from what the mount table says that is mounted there: the host of
/// "//host/share", "host:/path", "user@host:path" and "scheme://user@host:port/path". Empty if the
/// source names none.
std::string HostOfVolume(const std::string& inType, const std::string& inSource);

} // namespace filesupport
} // namespace qelcore
