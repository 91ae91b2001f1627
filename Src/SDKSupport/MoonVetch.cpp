// Where the library and the plug-in host meet.
#include "SDKSupport/MoonVetch.h"

#include <cstddef>
#include <cstring>

#include "LoadOrder.h"
#include "MoonVetch/Host.h"
#include "RKPluginSupport.h"
#include "qelcore/RecursiveMutex.h"

RK_RECORD_SET_UP("Src/SDKSupport/MoonVetch");

namespace RK
{

namespace
{

using qelcore::threads::RecursiveMutex;

constinit RecursiveMutex sCriticalSection;
constinit MVHostProcs sHostProcs = {}; // the host fills it with its defaults
constinit MVPlugin* sPluginRef = nullptr;
constinit bool sIsUp = false; // where the host did not come up there is nothing to end
// The host's own, and the one that locks around it. Both stay after the end, as whoever calls them then must know.
constinit const MVBasicSuite* sBasic RK_GUARDED_BY(sCriticalSection) = nullptr;
constinit MVBasicSuite sMTBasic = {};

MVResult MTBasicAcquireSuite(const char* inName, std::int32_t inVersion, const void** outSuite)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicAcquireSuite");
    return sBasic->AcquireSuite(inName, inVersion, outSuite);
}

MVResult MTBasicReleaseSuite(const char* inName, std::int32_t inVersion)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicReleaseSuite");
    return sBasic->ReleaseSuite(inName, inVersion);
}

std::int32_t MTBasicIsEqual(const char* inLeft, const char* inRight)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicIsEqual");
    return sBasic->IsEqual(inLeft, inRight);
}

MVResult MTBasicAllocateBlock(std::size_t inSize, void** outBlock)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicAllocateBlock");
    return sBasic->AllocateBlock(inSize, outBlock);
}

MVResult MTBasicFreeBlock(void* inBlock)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicFreeBlock");
    return sBasic->FreeBlock(inBlock);
}

MVResult MTBasicReallocateBlock(void* inBlock, std::size_t inSize, void** outBlock)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicReallocateBlock");
    return sBasic->ReallocateBlock(inBlock, inSize, outBlock);
}

MVResult MTBasicUndefined()
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "MTBasicUndefined");
    return sBasic->Undefined();
}

/// The library's plug-in. It is a host plug-in, and those start ahead of all others: the table is filled by the
/// time that any of them runs.
MVResult HostPluginEntryPoint(const char* inCaller, const char* inSelector, void* inMessage)
{
    if (std::strcmp(inCaller, kMVInterfaceCaller) != 0 ||
        std::strcmp(inSelector, kMVInterfaceStartupSelector) != 0)
        return kMVNoError;
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "HostPluginEntryPoint");
    sBasic = static_cast<const MVMessageData*>(inMessage)->basic;
    sMTBasic = {&MTBasicAcquireSuite,  &MTBasicReleaseSuite, &MTBasicIsEqual,
                &MTBasicAllocateBlock, &MTBasicFreeBlock,    &MTBasicReallocateBlock,
                &MTBasicUndefined};
    return kMVNoError;
}

} // namespace

void SDKSupport::Initialize()
{
    if (MVInit(&sHostProcs, 0, 0) != kMVNoError)
        return;
    sIsUp = true;
    MVAddHostPlugin(nullptr, &HostPluginEntryPoint, nullptr, kMVMoonVetch2Adapter, nullptr,
                    &sPluginRef, nullptr);
    MVStartupPlugins();
}

void SDKSupport::Terminate()
{
    if (!sIsUp)
        return;
    sIsUp = false;
    MVShutdownPlugins();
    MVTerm();
}

qelcore::threads::RecursiveMutex& SDKSupport::BasicSuiteLock()
{
    return sCriticalSection;
}

const MVBasicSuite* GetMVBasicSuite()
{
    return &sMTBasic;
}

std::int32_t RegisterSuite(const char* inName, int inVersion, const void* inSuite)
{
    if (!sIsUp)
        return kMVNotImplementedError;
    MVSuite* scratch = nullptr;
    return MVAddSuite(nullptr, sPluginRef, inName, inVersion, 1, inSuite, &scratch);
}

} // namespace RK
