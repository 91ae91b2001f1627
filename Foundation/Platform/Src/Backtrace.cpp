#include "Platform/Backtrace.h"

#include <bit>
#include <mutex>

#include <backtrace.h>
#include <dlfcn.h>

namespace Platform
{
namespace
{

struct Capture
{
    std::uintptr_t* mAddresses;
    std::size_t mMost;
    std::size_t mCount = 0;
};

void IgnoreError(void*, const char*, int) {}

// Cannot be freed, and is meant to be made once.
backtrace_state* State() noexcept
{
    constexpr int kThreaded = 1;
    static backtrace_state* const sState =
        backtrace_create_state(nullptr, kThreaded, &IgnoreError, nullptr);
    return sState;
}

int AddFrame(void* ioCapture, std::uintptr_t inAddress)
{
    auto& capture = *static_cast<Capture*>(ioCapture);
    constexpr std::uintptr_t kEndOfStack = static_cast<std::uintptr_t>(-1);
    if (capture.mCount == capture.mMost || inAddress == kEndOfStack)
        return 1;
    capture.mAddresses[capture.mCount++] = inAddress;
    return 0;
}

void TakeSymbol(void* outName, std::uintptr_t, const char* inName, std::uintptr_t, std::uintptr_t)
{
    if (inName)
        *static_cast<std::string*>(outName) = inName;
}

// The innermost function comes first, and is enough.
int TakeDebugName(void* outName, std::uintptr_t, const char*, int, const char* inName)
{
    if (inName)
        *static_cast<std::string*>(outName) = inName;
    return 1;
}

// One at a time: threads that came first together would each read all symbols, and keep them.
std::string FindSymbol(std::uintptr_t inAddress)
{
    static constinit std::mutex sMutex;
    const std::lock_guard<std::mutex> lock(sMutex);
    std::string name;
    backtrace_syminfo(State(), inAddress, &TakeSymbol, &IgnoreError, &name);
    if (name.empty())
        backtrace_pcinfo(State(), inAddress, &TakeDebugName, &IgnoreError, &name);
    return name;
}

} // namespace

[[gnu::noinline]] std::size_t CaptureStack(std::uintptr_t* outAddresses, std::size_t inMost,
                                           std::size_t inSkip) noexcept
{
    Capture capture{outAddresses, inMost};
    backtrace_simple(State(), static_cast<int>(inSkip), &AddFrame, &IgnoreError, &capture);
    return capture.mCount;
}

bool FindFunctionName(std::uintptr_t inAddress, std::string& outName)
{
    std::string name = FindSymbol(inAddress);
    Dl_info module = {};
    // The loader knows of modules that came later. Asked without our lock: its own may be held by a
    // thread that loads a module, whose set-up comes here.
    if (name.empty() && dladdr(std::bit_cast<const void*>(inAddress), &module) != 0 &&
        module.dli_sname)
        name = module.dli_sname;
    if (name.empty())
        return false;
    outName.swap(name);
    return true;
}

} // namespace Platform
