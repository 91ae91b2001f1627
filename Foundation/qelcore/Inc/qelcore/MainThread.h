#pragma once

#include <boost/function.hpp>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/Export.h"

// The main thread, which the host drives. Nothing posted to it runs unless the host runs it, by one of
// the Run functions or by polling the descriptor in a loop of its own and dispatching. Descriptors can be
// watched on it too: see DescriptorWatch.h. What is said of jobs below holds for the callbacks of those
// that are ready, but for Flush and Stop.
//
// Flush    of the main thread's executor: on the main thread it runs what is due. On another thread it
//          waits for it, but only while somebody drives the main thread: while a Run function runs, or
//          if DispatchMainThread() was called since the thread registered. Otherwise, and when the
//          thread unregisters or ends meanwhile, it returns with the work undone. From within a job of
//          the executor it returns at once.
// Stop     of it holds until a thread registers again.
// Errors   What needs the descriptor throws std::system_error if the process has none left. Jobs that
//          raise end in the trace, as everywhere.
// Threads  The Run functions and DispatchMainThread() do nothing and return 0 on any thread but the
//          registered one. Everything else may be called from any thread.
namespace qelcore
{
namespace threads
{

/// Makes the calling thread the main one, until it unregisters or ends.
/// @return false if another thread is registered, and then nothing changes.
RK_API bool RegisterMainThread();
/// Does nothing on another thread than the registered one. Jobs stay, for whoever registers next.
RK_API void UnregisterMainThread();
RK_API bool IsMainThread();

/// The main thread's executor; never null, registered or not, and always the same. Its parallelism is 1.
RK_API AsyncExecutorPtr GetRegisteredMainThread();
/// Posts to it. @return whether the job was accepted.
RK_API bool AsyncCallFromMainThread(const boost::function<void()>& inCallable,
                                    int inDelayMilliseconds);

/// A descriptor that is readable while there is something to dispatch, for poll, epoll and any loop
/// that can watch one. Borrowed: do not close or read it. It stays the same for the whole process.
RK_API int GetMainThreadDescriptor();
/// Runs what was due at the call, jobs first. Never waits for more. @return the number of jobs run.
RK_API int DispatchMainThread();

/// Runs due work until there is none. @return the number of jobs run.
RK_API int RunMainThreadUntilIdle();
/// Runs work as it becomes due, for that long in real time, whatever the clock of the platform edge.
RK_API int RunMainThreadFor(int inMilliseconds);
/// Runs work as it becomes due until StopMainThread is called. A stop before the call counts too.
RK_API int RunMainThreadUntilStopped();
/// Ends the innermost RunMainThreadUntilStopped(), or the next one if none runs.
RK_API void StopMainThread();

} // namespace threads
} // namespace qelcore
