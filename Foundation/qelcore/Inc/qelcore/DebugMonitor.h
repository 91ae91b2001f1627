#pragma once

#include <string>
#include <vector>

#include <boost/function.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFStream.h"

// Named sources of report text, which a diagnostic monitor of the host asks.
//
// Names    Compared exactly.
// Threads  Every function from any thread. A callback runs on the thread that asks for the report,
//          with no lock of this registry held, and several threads may run it at a time.
// Waiting  A callback that takes away or replaces its own source does not wait for itself or for
//          others that run it. Two callbacks that take away each other's source would wait for
//          ever: don't.
namespace qelcore
{
namespace debug
{

using DebugMonitorCallback = boost::function<void(UTF16StringStream&)>;

/// Registers a source. A name registered again takes the place of the first, whose callback has
/// ended and will not run again when this returns.
RK_API void RegisterDebugMonitorCallback(const char* inName,
                                         const DebugMonitorCallback& inCallback);

/// After it has returned the callback is not running and will not run again. Nothing happens if
/// there is no source of that name.
RK_API void UnregisterDebugMonitorCallback(const char* inName);

/// Asks one source. What the callback raises passes to the caller, with outReport as far as it got.
/// @return false if there is none of that name, and then outReport is untouched.
RK_API bool GenerateDebugMonitorReport(const char* inName, UTF16StringStream& outReport);

/// The names of all sources, sorted.
RK_API std::vector<std::string> ListDebugMonitorSources();

} // namespace debug
} // namespace qelcore
