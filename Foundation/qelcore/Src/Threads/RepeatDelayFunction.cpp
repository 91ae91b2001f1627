#include "qelcore/RepeatDelayFunction.h"

#include <algorithm>
#include <atomic>

#include <boost/enable_shared_from_this.hpp>
#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

namespace qelcore
{
namespace threads
{

struct RepeatDelayFunction::State : boost::enable_shared_from_this<State>
{
    State(const AsyncExecutorPtr& inExecutor, const boost::function<void()>& inCallable,
          int inMilliseconds)
        : mExecutor(inExecutor)
        , mCallable(inCallable)
        , mMilliseconds(std::max(inMilliseconds, 1))
    {
    }

    // The executor holds the state weakly, so that a wait of hours keeps nothing alive.
    void PostNext()
    {
        mExecutor->Post([weak = weak_from_this()] { RunAndPostNext(weak); }, mMilliseconds);
    }

    static void RunAndPostNext(const boost::weak_ptr<State>& inWeak)
    {
        const boost::shared_ptr<State> self = inWeak.lock();
        if (!self || self->mEnded)
            return;
        const NextPost next{*self}; // after the run, however it ends
        self->mCallable();
    }

    struct NextPost
    {
        State& mState;
        ~NextPost()
        {
            if (!mState.mEnded)
                mState.PostNext();
        }
    };

    const AsyncExecutorPtr mExecutor;
    const boost::function<void()> mCallable;
    const int mMilliseconds;
    std::atomic<bool> mEnded{false};
};

RepeatDelayFunction::RepeatDelayFunction(const AsyncExecutorPtr& inExecutor,
                                         const boost::function<void()>& inCallable,
                                         int inMilliseconds)
    : mState(boost::make_shared<State>(inExecutor, inCallable, inMilliseconds))
{
    mState->PostNext();
}

RepeatDelayFunction::~RepeatDelayFunction()
{
    mState->mEnded = true;
}

void CallConditionalRepeatDelayFunctionAsynchronously(const AsyncExecutorPtr& inExecutor,
                                                      const boost::function<bool()>& inCallable,
                                                      int inMilliseconds)
{
    // The executor is held weakly: a repetition in its own queue must not keep it alive.
    const int delay = std::max(inMilliseconds, 1);
    inExecutor->Post(
        [weak = boost::weak_ptr<AsyncExecutor>(inExecutor), inCallable, delay]
        {
            const AsyncExecutorPtr executor = inCallable() ? weak.lock() : nullptr;
            if (executor)
                CallConditionalRepeatDelayFunctionAsynchronously(executor, inCallable, delay);
        },
        delay);
}

} // namespace threads
} // namespace qelcore
