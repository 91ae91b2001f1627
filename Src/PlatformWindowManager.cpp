#include "RKPlatformWindowManager.h"

#include <cstdint>
#include <map>

#include <boost/bind/bind.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "LoadOrder.h"
#include "qelcore/MainThread.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/PlatformWindowManager");

namespace RK
{
namespace PlatformWindowManager
{

namespace
{

using qelcore::threads::RecursiveMutex;
using Functions = boost::shared_ptr<const ViewFunctions>;

struct Window
{
    std::uint32_t dependencies = 0;
    Functions functions; // that retained it
};
using WindowMap = std::map<PlatformView, Window>;

constinit RecursiveMutex sCriticalSection; // guards both below
WindowMap& sWindowMap = *new WindowMap();  // never destroyed: views may come and go during exit
Functions& sFunctions = *new Functions(boost::make_shared<ViewFunctions>());

void DestroyPlatformWindow(PlatformView inView, const Functions& inFunctions)
{
    if (inView != nullptr && inFunctions->release)
        inFunctions->release(inView);
}

} // namespace

void SetViewFunctions(const ViewFunctions& inFunctions)
{
    Functions functions = boost::make_shared<ViewFunctions>(inFunctions);
    const RecursiveMutex::ScopedLock lock(sCriticalSection,
                                          "RK::PlatformWindowManager::SetViewFunctions");
    sFunctions.swap(functions);
}

void Register(PlatformView inView)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection, "RK::PlatformWindowManager::Register");
    sWindowMap[inView] = {1, sFunctions};
    if (inView != nullptr && sFunctions->retain)
        sFunctions->retain(inView);
}

bool AddDependency(PlatformView inView)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection,
                                          "RK::PlatformWindowManager::AddDependency");
    const WindowMap::iterator window = sWindowMap.find(inView);
    if (window == sWindowMap.end())
        return false;
    ++window->second.dependencies;
    return true;
}

void RemoveDependency(PlatformView inView)
{
    const RecursiveMutex::ScopedLock lock(sCriticalSection,
                                          "RK::PlatformWindowManager::RemoveDependency");
    const WindowMap::iterator window = sWindowMap.find(inView);
    if (window == sWindowMap.end() || --window->second.dependencies != 0)
        return;
    const Functions functions = window->second.functions;
    sWindowMap.erase(window);
    if (!qelcore::threads::AsyncCallFromMainThread(
            boost::bind(&DestroyPlatformWindow, inView, functions), 0))
        RK_TRACE("RK::PlatformWindowManager", 0,
                 "The main thread takes no work any more: a view is not released.");
}

} // namespace PlatformWindowManager
} // namespace RK
