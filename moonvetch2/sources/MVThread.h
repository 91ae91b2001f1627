// Nothing of the host is locked: it is for one thread at a time. Debug builds watch that at the entry of each
// exported function, and tell the application's assertTrap and stderr of a call that comes while another thread is
// in one. A function that calls back into the host on its own thread is fine.
//
//     MV_ONE_THREAD();
#pragma once

#ifdef NDEBUG

#define MV_ONE_THREAD() static_cast<void>(0)

#else

#include <cstdint>

#define MV_ONE_THREAD() const MVCallWatch mvCallWatch(__func__)

/// Marks the host as being called, until the end of its scope.
struct MVCallWatch
{
    explicit MVCallWatch(const char* inCall);
    ~MVCallWatch();
    MVCallWatch(const MVCallWatch&) = delete;
    MVCallWatch& operator=(const MVCallWatch&) = delete;

    bool marked; ///< by this one: it is the outermost call, and was alone when it began
};

/// How many calls came while another thread was in the host. Any thread.
std::uint64_t mvCallsBesideAnother();

#endif

struct MVHostProcs;

/// Whose assertTrap is told. Nothing in release builds.
void mvTellOfCallsBesideAnother(const MVHostProcs* inProcs);
