#pragma once

#include <memory>
#include <string>

#include "Platform/MemoryPressure.h"

namespace Platform
{

// Pressure stall information: of the process's own control group of version 2, or of the machine where that
// says nothing or may not be asked. A process that is moved to another group goes on listening to the first.
//
// The kernel forgets an event as soon as anybody polls for it, and an epoll within an epoll polls at each
// level: watched for EPOLLPRI in a host's loop each event woke the loop and was gone when the loop looked
// for it. Watched for EPOLLIN | EPOLLET it stays: a trigger is always readable, so the edge alone counts,
// and epoll keeps an edge until it is taken from the epoll that the trigger is in.
//
// Closing a trigger waits some 20 ms for the kernel. So the last that a listener has left stays open for the
// next one, and starting and stopping the library costs no more than before.
class LinuxMemoryPressure : public IMemoryPressure
{
public:
    /// @param inRoot  stands before each path of the system.
    explicit LinuxMemoryPressure(const std::string& inRoot = std::string());
    ~LinuxMemoryPressure() override;

    int Listen(std::unique_ptr<IMemoryPressureListener>& outListener) override;

private:
    class Listener;
    struct Idle;

    const std::string mRoot;
    const std::shared_ptr<Idle> mIdle; // listeners may outlive this object
};

} // namespace Platform
