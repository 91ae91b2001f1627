#pragma once

#include <boost/function.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFStream.h"

namespace qelcore
{
namespace debug
{

using DebugMonitorCallback = boost::function<void(UTF16StringStream&)>;

/// Registers a named source of report text; a name registered again takes the place of the first.
RK_API void RegisterDebugMonitorCallback(const char* inName, const DebugMonitorCallback& inCallback);
/// After it has returned the callback is not running and will not run again.
RK_API void UnregisterDebugMonitorCallback(const char* inName);
/// Asks one source. @return false if there is none of that name.
RK_API bool GenerateDebugMonitorReport(const char* inName, UTF16StringStream& outReport);

} // namespace debug
} // namespace qelcore
