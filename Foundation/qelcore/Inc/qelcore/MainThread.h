#pragma once

#include <boost/function.hpp>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/Export.h"

// The main thread, which the host drives. Nothing posted to it runs unless the host runs it, by one of
// the Run functions or by polling the descriptor in a loop of its own and dispatching.
namespace qelcore
{
namespace threads
{

/// Makes the calling thread the main one. @return false if another thread is registered already.
RK_API bool RegisterMainThread();
RK_API bool IsMainThread();

/// The main thread's executor; never null, registered or not. Its parallelism is 1.
RK_API AsyncExecutorPtr GetRegisteredMainThread();
RK_API bool AsyncCallFromMainThread(const boost::function<void()>& inCallable, int inDelayMilliseconds);

/// A descriptor that becomes readable when there is something to dispatch. Borrowed: do not close it.
RK_API int GetMainThreadDescriptor();
/// Runs what is due, on the main thread only. Never blocks. @return the number of jobs run.
RK_API int DispatchMainThread();

/// Runs due work until there is none. @return the number of jobs run.
RK_API int RunMainThreadUntilIdle();
/// Runs work as it becomes due, for that long.
RK_API int RunMainThreadFor(int inMilliseconds);
/// Runs work as it becomes due until StopMainThread is called, from any thread.
RK_API int RunMainThreadUntilStopped();
RK_API void StopMainThread();

} // namespace threads
} // namespace qelcore
