#pragma once

#include <stdexcept>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

namespace Testing
{

/// Whether a descriptor has something to read.
inline bool IsReadable(int inDescriptor, int inTimeoutMilliseconds = 0)
{
    pollfd entry{inDescriptor, POLLIN, 0};
    return poll(&entry, 1, inTimeoutMilliseconds) == 1;
}

/// A descriptor that is readable from Signal() until Take().
class EventDescriptor
{
public:
    EventDescriptor()
        : mDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
    {
        if (mDescriptor < 0)
            throw std::runtime_error("no descriptor");
    }
    ~EventDescriptor() { close(mDescriptor); }
    EventDescriptor(const EventDescriptor&) = delete;
    EventDescriptor& operator=(const EventDescriptor&) = delete;

    int Get() const { return mDescriptor; }
    void Signal() const { eventfd_write(mDescriptor, 1); }
    /// @return how often it was signalled since the last time.
    int Take() const
    {
        eventfd_t count = 0;
        return eventfd_read(mDescriptor, &count) == 0 ? static_cast<int>(count) : 0;
    }

private:
    const int mDescriptor;
};

} // namespace Testing
