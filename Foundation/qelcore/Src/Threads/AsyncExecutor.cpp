#include "qelcore/AsyncExecutor.h"

#include <atomic>

#include <boost/make_shared.hpp>

#include "Platform/Thread.h"
#include "Pool.h"
#include "View.h"
#include "qelcore/Contract.h"

namespace qelcore
{
namespace threads
{
namespace
{

// Threads that wait cost a stack each and no processor; a disk or a network mount has work for so many.
constexpr int kIOThreads = 64;

constinit std::atomic<IExecutorFactory*> sFactory{nullptr};

class PoolFactory final : public IExecutorFactory
{
public:
    AsyncExecutorPtr CreateCPUBound() override
    {
        return boost::make_shared<Pool>(Platform::UsableProcessorCount(), "RK.cpu");
    }
    AsyncExecutorPtr CreateIOBound() override
    {
        return boost::make_shared<Pool>(kIOThreads, "RK.io");
    }
    // The shared pools are never destroyed: code that runs during exit may still post.
    AsyncExecutorPtr SharedCPUBound() override
    {
        static const AsyncExecutorPtr* const sPool = new AsyncExecutorPtr(CreateCPUBound());
        return *sPool;
    }
    AsyncExecutorPtr SharedIOBound() override
    {
        static const AsyncExecutorPtr* const sPool = new AsyncExecutorPtr(CreateIOBound());
        return *sPool;
    }
};

IExecutorFactory& Factory()
{
    static PoolFactory* const sReal = new PoolFactory;
    IExecutorFactory* const replacement = sFactory.load();
    return replacement != nullptr ? *replacement : *sReal;
}

} // namespace

AsyncExecutor::~AsyncExecutor() = default;

IExecutorFactory::~IExecutorFactory() = default;

AsyncExecutorPtr CreateCPUBoundExecutor()
{
    return Factory().CreateCPUBound();
}

AsyncExecutorPtr CreateIOBoundExecutor()
{
    return Factory().CreateIOBound();
}

AsyncExecutorPtr GetCPUBoundExecutor()
{
    return Factory().SharedCPUBound();
}

AsyncExecutorPtr GetIOBoundExecutor()
{
    return Factory().SharedIOBound();
}

AsyncExecutorPtr CreateSubExecutor(const AsyncExecutorPtr& inExecutor, int inLimit)
{
    RK_REQUIRE_CONTRACT(inExecutor, "inExecutor != NULL",
                        "Foundation/qelcore/Src/Threads/AsyncExecutor");
    const std::shared_ptr<ExecutorCore> parent = CoreOf(inExecutor);
    const auto state = std::make_shared<ViewState>(parent, inLimit);
    parent->AddView(state);
    return boost::make_shared<View>(inExecutor, state);
}

std::uint64_t GetCurrentThreadID()
{
    return Platform::CurrentThreadID();
}

ScopedExecutorFactory::ScopedExecutorFactory(IExecutorFactory& inFactory)
    : mBefore(sFactory.exchange(&inFactory))
{
}

ScopedExecutorFactory::~ScopedExecutorFactory()
{
    sFactory.store(mBefore);
}

} // namespace threads
} // namespace qelcore
