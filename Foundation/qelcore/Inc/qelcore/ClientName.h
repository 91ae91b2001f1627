#pragma once

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace config
{

/// The name of the hosting application: the one set, or else the file name of the running program.
/// Threads: any.
RK_API UTF16String GetClientName();
/// An empty name restores the program's. The folder of the application's settings has this name
/// (ZOR/RegistryKey.h), so set it before anything else is started.
RK_API void SetClientName(const UTF16String& inName);

} // namespace config
} // namespace qelcore
