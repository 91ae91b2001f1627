#pragma once

// What drives the models of both decode queues: random steps by one thread, which turns both executors by
// hand, so that a run is repeated exactly by its seed.

#include <cstdlib>
#include <iostream>
#include <random>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include "DecodeQueueFixture.h"

namespace Testing
{

/// @tparam Request  of the model.
template <class Request>
class ModelDriver
{
public:
    virtual ~ModelDriver() = default;

    void Run(int inSteps)
    {
        for (int i = 0; i < inSteps && !::testing::Test::HasFailure(); ++i)
        {
            Step();
            Compare();
        }
        Drain();
        Compare();
        ExpectNothingIsLeft();
    }

protected:
    ModelDriver(unsigned inSeed, ManualExecutor& inShared,
                const boost::shared_ptr<ManualExecutor>& inOwn)
        : mShared(inShared)
        , mOwn(inOwn)
        , mRandom(inSeed)
    {
    }

    virtual void Step() = 0;
    /// The queue with the model.
    virtual void Compare() = 0;
    /// Ends a request's I/O.
    virtual void Complete(Request& ioRequest, int inStatus) = 0;
    virtual void ExpectNothingIsLeft() = 0;

    unsigned Below(unsigned inLimit) { return mRandom() % inLimit; }

    /// What other threads may do while the queue calls.
    void Nested()
    {
        if (mDepth == kDeepest)
            return;
        ++mDepth;
        for (unsigned steps = Below(3); steps > 0; --steps)
            Step();
        --mDepth;
    }
    void CompleteAny(int inStatus)
    {
        if (mReading.empty())
            return;
        const std::size_t index = Below(static_cast<unsigned>(mReading.size()));
        Request& request = *mReading[index];
        mReading.erase(mReading.begin() + static_cast<std::ptrdiff_t>(index));
        Complete(request, inStatus);
    }

    ManualExecutor& mShared;
    const boost::shared_ptr<ManualExecutor> mOwn;
    std::vector<Request*> mReading; ///< whose I/O is under way

private:
    static constexpr int kDeepest = 3;

    void Drain()
    {
        mDepth = kDeepest; // no further steps
        do
        {
            CompleteAny(0);
            while (mShared.RunOne() || mOwn->RunOne())
            {
            }
        } while (!mReading.empty());
    }

    std::mt19937 mRandom;
    int mDepth = 0;
};

/// Runs a model with 40 seeds, and one more if RK_MODEL_SEED in the environment tells it.
template <class ModelRun>
void RunModelWithEachSeed(int inSteps)
{
    std::vector<unsigned> seeds;
    for (unsigned seed = 1; seed <= 40; ++seed)
        seeds.push_back(seed);
    if (const char* const more = std::getenv("RK_MODEL_SEED"))
        seeds.push_back(static_cast<unsigned>(std::strtoul(more, nullptr, 10)));
    for (const unsigned seed : seeds)
    {
        SCOPED_TRACE("seed " + std::to_string(seed));
        ManualExecutorFactory factory;
        qelcore::threads::ScopedExecutorFactory scope(factory);
        ModelRun run(seed, *factory.cpu, boost::make_shared<ManualExecutor>(4));
        run.Run(inSteps);
        std::cout << "seed " << seed << ": " << run.Describe() << '\n';
        if (::testing::Test::HasFailure())
            return;
    }
}

} // namespace Testing
