#include "Platform/WakeSet.h"

#include <cerrno>
#include <ctime>
#include <system_error>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace Platform
{
namespace
{

// A descriptor until somebody else takes charge of it.
class OwnedDescriptor
{
public:
    explicit OwnedDescriptor(int inDescriptor)
        : mDescriptor(inDescriptor)
    {
        if (mDescriptor < 0)
            throw std::system_error(errno, std::generic_category(), "WakeSet");
    }
    ~OwnedDescriptor()
    {
        if (mDescriptor >= 0)
            close(mDescriptor);
    }
    OwnedDescriptor(const OwnedDescriptor&) = delete;
    OwnedDescriptor& operator=(const OwnedDescriptor&) = delete;

    int Get() const noexcept { return mDescriptor; }
    int Take() noexcept
    {
        const int descriptor = mDescriptor;
        mDescriptor = -1;
        return descriptor;
    }

private:
    int mDescriptor;
};

void Watch(const OwnedDescriptor& inEpoll, const OwnedDescriptor& inWatched)
{
    epoll_event event{};
    event.events = EPOLLIN;
    if (epoll_ctl(inEpoll.Get(), EPOLL_CTL_ADD, inWatched.Get(), &event) != 0)
        throw std::system_error(errno, std::generic_category(), "WakeSet");
}

} // namespace

WakeSet::WakeSet()
{
    OwnedDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    OwnedDescriptor event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    OwnedDescriptor timer(timerfd_create(CLOCK_BOOTTIME, TFD_CLOEXEC | TFD_NONBLOCK));
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
    epoll_event event{};
    epoll_wait(mEpoll, &event, 1, inTimeoutMilliseconds); // an interrupted wait is a short one
}

} // namespace Platform
