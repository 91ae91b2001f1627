#include "Platform/WakeSet.h"

#include <cerrno>
#include <ctime>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include "OwnedDescriptor.h"

namespace Platform
{
namespace
{

constexpr std::uint64_t kOwnID = 0; // of the event and the timer
constexpr int kOwnCount = 2;

struct EventPair
{
    unsigned ready;
    std::uint32_t epoll;
};
constexpr EventPair kEventPairs[] = {{kReady_Readable, EPOLLIN},
                                     {kReady_Writable, EPOLLOUT},
                                     {kReady_Priority, EPOLLPRI},
                                     {kReady_Broken, EPOLLERR | EPOLLHUP}};

// One shot, so that who has taken a ready descriptor is alone with it until it is armed again.
epoll_event EventOf(unsigned inReady, std::uint64_t inID)
{
    epoll_event event{};
    event.events = EPOLLONESHOT;
    event.data.u64 = inID;
    for (const EventPair& pair : kEventPairs)
        event.events |= (inReady & pair.ready) != 0 ? pair.epoll : 0;
    return event;
}

unsigned ReadyOf(const epoll_event& inEvent)
{
    unsigned ready = 0;
    for (const EventPair& pair : kEventPairs)
        ready |= (inEvent.events & pair.epoll) != 0 ? pair.ready : 0;
    return ready;
}

void Watch(const OwnedDescriptor& inEpoll, const OwnedDescriptor& inWatched)
{
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.u64 = kOwnID;
    if (epoll_ctl(inEpoll.Get(), EPOLL_CTL_ADD, inWatched.Get(), &event) != 0)
        throw std::system_error(errno, std::generic_category(), "WakeSet");
}

} // namespace

WakeSet::WakeSet()
{
    OwnedDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    epoll.OrThrow("WakeSet");
    OwnedDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    event.OrThrow("WakeSet");
    OwnedDescriptor timer(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
    timer.OrThrow("WakeSet");
    Watch(epoll, event);
    Watch(epoll, timer);
    mEpoll = epoll.Take();
    mEvent = event.Take();
    mTimer = timer.Take();
}

WakeSet::~WakeSet()
{
    close(mTimer);
    close(mEvent);
    close(mEpoll);
}

void WakeSet::Signal() noexcept
{
    eventfd_write(mEvent, 1); // refused only when it is readable anyway
}

void WakeSet::Clear() noexcept
{
    eventfd_t value = 0;
    eventfd_read(mEvent, &value);
}

void WakeSet::SetAlarm(std::uint64_t inDueNanoseconds) noexcept
{
    itimerspec alarm{};
    alarm.it_value.tv_sec = static_cast<time_t>(inDueNanoseconds / 1000000000u);
    alarm.it_value.tv_nsec = static_cast<long>(inDueNanoseconds % 1000000000u);
    timerfd_settime(mTimer, TFD_TIMER_ABSTIME, &alarm, nullptr);
}

void WakeSet::Wait(int inTimeoutMilliseconds) noexcept
{
    pollfd entry{mEpoll, POLLIN, 0};        // epoll_wait would take what is ready
    poll(&entry, 1, inTimeoutMilliseconds); // an interrupted wait is a short one
}

bool WakeSet::TakeReady(std::uint64_t& outID, unsigned& outEvents) noexcept
{
    // Each wait moves what it tells to the end, so behind the set's own two comes what is watched. Taken
    // one by one: what is taken is out of reach for a loop within the handling of another.
    for (int i = 0; i <= kOwnCount; ++i)
    {
        epoll_event event{};
        if (epoll_wait(mEpoll, &event, 1, 0) != 1)
            return false;
        if (event.data.u64 == kOwnID)
            continue;
        outID = event.data.u64;
        outEvents = ReadyOf(event);
        return true;
    }
    return false;
}

WatchedDescriptor::WatchedDescriptor(WakeSet& ioSet, int inDescriptor, unsigned inEvents,
                                     std::uint64_t inID)
    : mEpoll(ioSet.mEpoll)
    , mDescriptor(fcntl(inDescriptor, F_DUPFD_CLOEXEC, 0))
    , mEvents(inEvents)
    , mID(inID)
{
    OwnedDescriptor own(mDescriptor);
    own.OrThrow("WatchedDescriptor");
    epoll_event event = EventOf(mEvents, mID);
    if (epoll_ctl(mEpoll, EPOLL_CTL_ADD, mDescriptor, &event) != 0)
        throw std::system_error(errno, std::generic_category(), "WatchedDescriptor");
    own.Take();
}

WatchedDescriptor::~WatchedDescriptor()
{
    epoll_event unused{};
    epoll_ctl(mEpoll, EPOLL_CTL_DEL, mDescriptor, &unused);
    close(mDescriptor);
}

void WatchedDescriptor::Arm() noexcept
{
    epoll_event event = EventOf(mEvents, mID);
    epoll_ctl(mEpoll, EPOLL_CTL_MOD, mDescriptor, &event);
}

} // namespace Platform
