#include "Job.h"

#include <exception>

#include "Platform/Clock.h"
#include "qelcore/Trace.h"

namespace qelcore
{
namespace threads
{
namespace
{

constinit thread_local const ExecutorFrame* tInnermost = nullptr;

} // namespace

std::uint64_t DueAfter(int inDelayMilliseconds)
{
    const std::uint64_t now = Platform::Clock().NowNanoseconds();
    return inDelayMilliseconds <= 0
               ? now
               : now + static_cast<std::uint64_t>(inDelayMilliseconds) * 1000000u;
}

void RunAndRelease(Job& ioJob)
{
    try
    {
        ioJob.mCallable();
    }
    catch (const std::exception& error)
    {
        RK_TRACE("AsyncExecutor", 0, "A job ended with an exception: " << error.what());
        static_cast<void>(error);
    }
    catch (...)
    {
        RK_TRACE("AsyncExecutor", 0, "A job ended with an exception of an unknown type");
    }
    ioJob.mCallable.clear();
}

ExecutorFrame::ExecutorFrame(const void* inExecutor) noexcept
    : mExecutor(inExecutor)
    , mOuter(tInnermost)
{
    tInnermost = this;
}

ExecutorFrame::~ExecutorFrame()
{
    tInnermost = mOuter;
}

bool ExecutorFrame::IsInside(const void* inExecutor) noexcept
{
    for (const ExecutorFrame* frame = tInnermost; frame != nullptr; frame = frame->mOuter)
    {
        if (frame->mExecutor == inExecutor)
            return true;
    }
    return false;
}

} // namespace threads
} // namespace qelcore
