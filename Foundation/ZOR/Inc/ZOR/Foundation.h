#pragma once

#include "ZOR/FileBuffer.h"
#include "qelcore/Export.h"

namespace ZOR
{

// Start and stop of the foundation as a whole. Most of it needs no start: what depends on one is told
// here.
//
// Threads  Any function from any thread.
namespace Foundation
{

/// Brings the foundation up. Calls are counted; each needs its Terminate().
RK_API void Initialize();
/// The last one drops the file buffer factory. Contract: it answers an Initialize().
RK_API void Terminate();

/// Sets where file objects get their buffers from, and shares the factory; null makes them read
/// unbuffered. The factory that was set before is let go of on the calling thread, no lock held.
RK_API void
SetFileBufferFactory(const InterfaceRef<IFileBufferFactory, IFileBufferFactory>& inFactory);
/// @return the factory; null if none is set.
RK_API InterfaceRef<IFileBufferFactory, IFileBufferFactory> GetFileBufferFactory();

} // namespace Foundation
} // namespace ZOR
