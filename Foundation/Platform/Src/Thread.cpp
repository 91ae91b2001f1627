#include "Platform/Thread.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <thread>

#include <pthread.h>
#include <sched.h>
#include <unistd.h>

namespace Platform
{

void SetCurrentThreadName(const char* inName) noexcept
{
    char name[16] = {}; // a longer one would be refused as a whole
    std::strncpy(name, inName, sizeof(name) - 1);
    pthread_setname_np(pthread_self(), name);
}

std::uint64_t CurrentThreadID() noexcept
{
    static thread_local const std::uint64_t sID = static_cast<std::uint64_t>(gettid());
    return sID;
}

int UsableProcessorCount()
{
    constexpr int kMostProcessors = 8192; // CONFIG_NR_CPUS of the largest kernels
    cpu_set_t* const set = CPU_ALLOC(kMostProcessors);
    const std::size_t size = CPU_ALLOC_SIZE(kMostProcessors);
    int count = 0;
    if (set != nullptr && sched_getaffinity(0, size, set) == 0)
        count = CPU_COUNT_S(size, set);
    CPU_FREE(set);
    if (count == 0)
        count = static_cast<int>(std::thread::hardware_concurrency());
    return std::max(count, 1);
}

} // namespace Platform
