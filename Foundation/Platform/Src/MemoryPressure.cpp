#include "Platform/MemoryPressure.h"

#include "CurrentInstance.h"
#include "LinuxMemoryPressure.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IMemoryPressure> sCurrent;

IMemoryPressure& RealMemoryPressure()
{
    static LinuxMemoryPressure* const sReal = new LinuxMemoryPressure; // outlives all statics
    return *sReal;
}

} // namespace

IMemoryPressureListener::~IMemoryPressureListener() = default;

IMemoryPressure::~IMemoryPressure() = default;

IMemoryPressure& MemoryPressure()
{
    return sCurrent.Get(RealMemoryPressure);
}

ScopedMemoryPressure::ScopedMemoryPressure(IMemoryPressure& inSource)
    : mBefore(sCurrent.Exchange(&inSource))
{
}

ScopedMemoryPressure::~ScopedMemoryPressure()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
