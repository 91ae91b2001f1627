#include "LinuxVolumeChanges.h"

#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>

namespace Platform
{

std::unique_ptr<LinuxVolumeChanges> LinuxVolumeChanges::Create(const std::string& inPath)
{
    OwnedDescriptor table(open(inPath.c_str(), O_RDONLY | O_CLOEXEC));
    OwnedDescriptor set(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event = {};
    event.events = EPOLLIN | EPOLLET;
    if (!table.IsOpen() || !set.IsOpen() ||
        epoll_ctl(set.Get(), EPOLL_CTL_ADD, table.Get(), &event) != 0)
        return nullptr;
    return std::unique_ptr<LinuxVolumeChanges>(
        new LinuxVolumeChanges(std::move(table), std::move(set)));
}

LinuxVolumeChanges::LinuxVolumeChanges(OwnedDescriptor inTable, OwnedDescriptor inSet) noexcept
    : mTable(std::move(inTable))
    , mSet(std::move(inSet))
{
}

void LinuxVolumeChanges::Clear()
{
    epoll_event event;
    epoll_wait(mSet.Get(), &event, 1, 0);
}

} // namespace Platform
