#include "MemoryPressure.h"

#include <system_error>

#include "Platform/Clock.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/Trace.h"

namespace RK
{
namespace
{

constinit qelcore::debug::CachedDatabaseValue<bool> sMemoryPressureEvents("RK.MemoryPressureEvents",
                                                                          true);

constexpr std::uint64_t kWindowNanoseconds =
    Platform::IMemoryPressure::kWindowSeconds * std::uint64_t{1000000000};

} // namespace

MemoryPressure::MemoryPressure(const boost::function<void()>& inWake)
    : mWake(inWake)
{
    try
    {
        Watch();
    }
    catch (const std::system_error& error)
    {
        RK_TRACE("RK.MediaManager", 0, "No memory pressure events: " << error.what());
    }
}

MemoryPressure::~MemoryPressure() = default;

void MemoryPressure::Watch()
{
    const int error = Platform::MemoryPressure().Listen(mListener);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), "the system has none");
    mWatch = qelcore::threads::WatchDescriptor(mListener->Descriptor(),
                                               qelcore::threads::kDescriptorEvent_Readable,
                                               [this](unsigned) { OnReady(); });
}

void MemoryPressure::OnReady()
{
    if (!mListener->Take())
        return;
    ++mEventCount;
    const std::uint64_t now = Platform::Clock().NowNanoseconds();
    if (!sMemoryPressureEvents || now < mNextWakeNanoseconds)
        return;
    mNextWakeNanoseconds = now + kWindowNanoseconds;
    mWake();
}

} // namespace RK
