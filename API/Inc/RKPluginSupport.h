#pragma once

#include <cstdint>

#include "qelcore/Export.h"

struct MVBasicSuite; // MoonVetch/Suites.h

// The application's side of the plug-in host, which runs from the first RK::Initializer to the last. What plug-ins
// see of it, and how they are listed and started, is told in MoonVetch/Host.h.
//
// Threads  The host is for one thread at a time. Only what GetMVBasicSuite() hands out may be called by any: each
//          of its functions holds one lock for as long as it runs, and so does what it runs of plug-ins. These may
//          call it again on the same thread; one that waits for another thread that calls it waits for ever. A
//          suite that was acquired by it is not covered by the lock: what it says of threads counts.
// Errors   Result codes of MoonVetch/Types.h, 0 for success.
namespace RK
{

/// The basic suite for any thread; always the same address. Its functions are there, and may be called, while
/// the library is started.
RK_API const MVBasicSuite* GetMVBasicSuite();

/// Publishes a suite of the application, by the library's own plug-in. It can be acquired at once.
/// @param inSuite  its table; kept, not copied. Null leaves a place to be filled by a later call.
/// @return kMVSuiteExistsError if there is one of this name and version; kMVNotImplementedError without a host.
RK_API std::int32_t RegisterSuite(const char* inName, int inVersion, const void* inSuite);

} // namespace RK
