#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <boost/function.hpp>

#include "Platform/MemoryPressure.h"
#include "qelcore/DescriptorWatch.h"

namespace RK
{

// Wakes somebody early when the system says that memory is short: a help beside the regular triggers, never
// in their place. For the life of the object.
//
// The main thread's loop watches for events; while no main thread is registered they wait. The debug key
// "RK.MemoryPressureEvents" (default on) is read at each event: while it is off, events are counted and wake
// nobody. Where the system has no such events that is traced once, and none come.
class MemoryPressure
{
public:
    /// @param inWake  called on the main thread, at most once in IMemoryPressure::kWindowSeconds.
    explicit MemoryPressure(const boost::function<void()>& inWake);
    /// When this returns inWake is not running and will not run.
    ~MemoryPressure();
    MemoryPressure(const MemoryPressure&) = delete;
    MemoryPressure& operator=(const MemoryPressure&) = delete;

    /// Events that came, whether or not they woke somebody.
    std::uint64_t EventCount() const noexcept { return mEventCount.load(); }

private:
    void Watch();
    void OnReady();

    const boost::function<void()> mWake;
    std::unique_ptr<Platform::IMemoryPressureListener> mListener;
    std::atomic<std::uint64_t> mEventCount{0};
    std::uint64_t mNextWakeNanoseconds = 0;   // of the main thread's callback
    qelcore::threads::DescriptorWatch mWatch; // ends first
};

} // namespace RK
