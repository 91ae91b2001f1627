#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/Export.h"

namespace qelcore
{
namespace threads
{

/// Runs a callable on an executor every so many milliseconds, the first time after one such delay, for
/// as long as the object lives. Its destruction ends the repetition, and waits for nothing: a run that
/// has begun goes on.
class RK_API RepeatDelayFunction
{
public:
    RepeatDelayFunction(const AsyncExecutorPtr& inExecutor,
                        const boost::function<void()>& inCallable, int inMilliseconds);
    ~RepeatDelayFunction();
    RepeatDelayFunction(const RepeatDelayFunction&) = delete;
    RepeatDelayFunction& operator=(const RepeatDelayFunction&) = delete;

private:
    struct State;
    boost::shared_ptr<State> mState;
};

/// Runs a callable on an executor again and again, the given delay apart and the first time after one such
/// delay, until it returns false, raises, or the executor takes no more work. Nobody can end it from
/// outside.
RK_API void
CallConditionalRepeatDelayFunctionAsynchronously(const AsyncExecutorPtr& inExecutor,
                                                 const boost::function<bool()>& inCallable,
                                                 int inMilliseconds);

} // namespace threads
} // namespace qelcore
