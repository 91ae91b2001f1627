#include "Platform/EventQueue.h"

#include "CurrentInstance.h"
#include "LinuxEventQueue.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<IEventQueue> sCurrent;

IEventQueue& RealEventQueue()
{
    static LinuxEventQueue* const sReal = new LinuxEventQueue; // outlives all statics
    return *sReal;
}

} // namespace

IEventQueue::~IEventQueue() = default;

IEventQueue& EventQueue()
{
    return sCurrent.Get(RealEventQueue);
}

ScopedEventQueue::ScopedEventQueue(IEventQueue& inQueue)
    : mBefore(sCurrent.Exchange(&inQueue))
{
}

ScopedEventQueue::~ScopedEventQueue()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
