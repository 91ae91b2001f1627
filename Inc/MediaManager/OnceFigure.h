#pragma once

#include <atomic>
#include <cstdint>

#include "qelcore/RecursiveMutex.h"

namespace RK
{

// A figure of the machine that is asked for once. 0 stands for "not asked yet".
//
// Threads  Any function from any thread. Two first callers agree on one figure.
class OnceFigure
{
public:
    template <class Compute>
    std::uint64_t Get(const Compute& inCompute)
    {
        const std::uint64_t known = mValue.load(std::memory_order_relaxed);
        if (known != 0)
            return known;
        qelcore::threads::RecursiveMutex::ScopedLock lock(mMutex, "RK::OnceFigure::Get");
        if (mValue.load(std::memory_order_relaxed) == 0)
            mValue.store(inCompute(), std::memory_order_relaxed);
        return mValue.load(std::memory_order_relaxed);
    }
    /// For tests: the next Get computes again.
    void Forget() noexcept { mValue = 0; }

private:
    qelcore::threads::RecursiveMutex mMutex; // makes the computing one at a time; a leaf
    std::atomic<std::uint64_t> mValue{0};
};

} // namespace RK
