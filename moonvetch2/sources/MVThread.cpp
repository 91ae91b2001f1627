#include "MVThread.h"

#include "MoonVetch/Host.h"

#ifdef NDEBUG

void mvTellOfCallsBesideAnother(const MVHostProcs*) {}

#else

#include <atomic>
#include <cstdio>
#include <string>

namespace
{

// Relaxed, all but the table: an order between calls of two threads would come from here, and hide from the thread
// sanitizer that the application has none of its own.
constinit std::atomic<const char*> sCall{
    nullptr}; // the outermost one under way, of whatever thread
constinit std::atomic<std::uint64_t> sCallsBesideAnother{0};
constinit std::atomic<const MVHostProcs*> sProcs{nullptr};
constinit thread_local int sDepth = 0;

void tellOfCallBesideAnother(const char* inCall, const char* inOther)
{
    sCallsBesideAnother.fetch_add(1, std::memory_order_relaxed);
    const std::string text = std::string("the plug-in host is for one thread at a time: ") +
                             inCall + " was called while another thread was in " + inOther;
    std::fprintf(stderr, "%s\n", text.c_str());
    const MVHostProcs* procs = sProcs.load(std::memory_order_acquire);
    if (procs != nullptr && procs->assertTrap != nullptr)
        procs->assertTrap(text.c_str(), procs->hostData);
}

} // namespace

MVCallWatch::MVCallWatch(const char* inCall)
    : marked(false)
{
    if (sDepth++ > 0)
        return;
    const char* other = nullptr;
    marked = sCall.compare_exchange_strong(other, inCall, std::memory_order_relaxed);
    if (!marked)
        tellOfCallBesideAnother(inCall, other);
}

MVCallWatch::~MVCallWatch()
{
    --sDepth;
    if (marked)
        sCall.store(nullptr, std::memory_order_relaxed);
}

std::uint64_t mvCallsBesideAnother()
{
    return sCallsBesideAnother.load(std::memory_order_relaxed);
}

void mvTellOfCallsBesideAnother(const MVHostProcs* inProcs)
{
    sProcs.store(inProcs, std::memory_order_release);
}

#endif
