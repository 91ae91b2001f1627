#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "qelcore/AsyncExecutor.h"

namespace qelcore
{
namespace threads
{

using Ticket = std::uint64_t; // counts the jobs of one executor from 1; 0 is none

struct Job
{
    AsyncExecutor::Callable mCallable;
    Ticket mTicket = 0;
};

// Jobs in the order of posting: a ring that grows and never shrinks, so that a busy executor
// allocates nothing.
class JobQueue
{
public:
    bool Empty() const noexcept { return mFirst == mEnd; }
    std::size_t Size() const noexcept { return static_cast<std::size_t>(mEnd - mFirst); }
    const Job& Front() const { return mSlots[mFirst & mMask]; }

    void Push(AsyncExecutor::Callable&& ioCallable, Ticket inTicket)
    {
        if (Size() == mSlots.size())
            Grow();
        Job& slot = mSlots[mEnd & mMask];
        slot.mCallable.swap(ioCallable);
        slot.mTicket = inTicket;
        ++mEnd;
    }

    void PopInto(Job& outJob)
    {
        Job& slot = mSlots[mFirst & mMask];
        outJob.mCallable.swap(slot.mCallable);
        outJob.mTicket = slot.mTicket;
        ++mFirst;
    }

    /// Takes out the job of that ticket, wherever it stands. @return false if it is not here.
    bool Remove(Ticket inTicket, AsyncExecutor::Callable& outCallable)
    {
        for (std::uint64_t i = mFirst; i != mEnd; ++i)
        {
            if (mSlots[i & mMask].mTicket != inTicket)
                continue;
            outCallable.swap(mSlots[i & mMask].mCallable);
            for (; i + 1 != mEnd; ++i)
            {
                Job& slot = mSlots[i & mMask];
                Job& next = mSlots[(i + 1) & mMask];
                slot.mCallable.swap(next.mCallable);
                slot.mTicket = next.mTicket;
            }
            --mEnd;
            return true;
        }
        return false;
    }

private:
    void Grow()
    {
        std::vector<Job> slots(mSlots.empty() ? 16 : mSlots.size() * 2);
        const std::size_t count = Size();
        for (std::size_t i = 0; i < count; ++i)
        {
            Job& from = mSlots[(mFirst + i) & mMask];
            slots[i].mCallable.swap(from.mCallable);
            slots[i].mTicket = from.mTicket;
        }
        mSlots.swap(slots);
        mMask = mSlots.size() - 1;
        mFirst = 0;
        mEnd = count;
    }

    std::vector<Job> mSlots; // a power of two of them
    std::uint64_t mMask = 0;
    std::uint64_t mFirst = 0;
    std::uint64_t mEnd = 0;
};

/// Nanoseconds on the edge's clock, and then the order of posting.
using DueKey = std::pair<std::uint64_t, std::uint64_t>;
using DelayedJobs = std::map<DueKey, AsyncExecutor::Callable>;

constexpr std::uint64_t kNever = ~std::uint64_t{0};

/// @return the time after a delay of that many milliseconds; 0 or less is now.
std::uint64_t DueAfter(int inDelayMilliseconds);

/// Runs a job and lets go of what it holds. What it raises ends in the trace.
void RunAndRelease(Job& ioJob);

// Says that the calling thread is within a job of an executor, for the frame's life.
class ExecutorFrame
{
public:
    explicit ExecutorFrame(const void* inExecutor) noexcept;
    ~ExecutorFrame();
    ExecutorFrame(const ExecutorFrame&) = delete;
    ExecutorFrame& operator=(const ExecutorFrame&) = delete;

    /// @return whether the calling thread is within a job of that executor.
    static bool IsInside(const void* inExecutor) noexcept;

private:
    const void* mExecutor;
    const ExecutorFrame* mOuter;
};

} // namespace threads
} // namespace qelcore
