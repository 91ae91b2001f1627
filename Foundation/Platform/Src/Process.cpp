#include "Platform/Process.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include <pthread.h>
#include <unistd.h>

#include "LockedDescriptors.h"

namespace Platform
{
namespace
{

constinit std::atomic<unsigned> sForkCount{0};
constinit std::mutex sMutex; // guards the list; a leaf, and held while the process forks

std::vector<int>& Descriptors()
{
    static auto* const sDescriptors = new std::vector<int>; // outlives all statics
    return *sDescriptors;
}

void BeforeFork()
{
    sMutex.lock();
}

void InParent()
{
    sMutex.unlock();
}

void InChild()
{
    ++sForkCount;
    for (const int descriptor : Descriptors())
        close(descriptor);
    Descriptors().clear();
    sMutex.unlock();
}

void WatchForks()
{
    static const int sWatched = []
    {
        Descriptors(); // made now: a child may not be able to
        return pthread_atfork(BeforeFork, InParent, InChild);
    }();
    static_cast<void>(sWatched);
}

} // namespace

std::int64_t CurrentProcessID() noexcept
{
    return getpid();
}

std::string MachineName()
{
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0)
        return {};
    return name;
}

unsigned ForkCount()
{
    WatchForks();
    return sForkCount.load();
}

ForkBarrier::ForkBarrier()
{
    WatchForks();
    sMutex.lock();
}

ForkBarrier::~ForkBarrier()
{
    sMutex.unlock();
}

void AddLockedDescriptor(const ForkBarrier&, int inDescriptor)
{
    Descriptors().push_back(inDescriptor);
}

void RemoveLockedDescriptor(const ForkBarrier&, int inDescriptor) noexcept
{
    auto& all = Descriptors();
    all.erase(std::remove(all.begin(), all.end(), inDescriptor), all.end());
}

} // namespace Platform
