#pragma once

#include <boost/function.hpp>

#include "qelcore/Export.h"

// Keeps views of the platform alive for as long as something depends on them. A view's owner registers it,
// its users add and remove dependencies, and its last release is made on the main thread, whichever thread
// dropped the last dependency.
//
// Views     What a view is the host decides: the library sees an opaque handle, and retains and releases
//           it by two functions of the host's. Docs/Examples/PlatformView shows them for GObjects and for
//           shared C++ objects.
// Threads   Any function from any thread. A release waits until the host drives the main thread; if that
//           takes no work any more the view is not released at all, and a trace line says so (category
//           "RK::PlatformWindowManager", level 0).
namespace RK
{

/// A view's handle. The null handle is counted like any other, and never retained nor released.
using PlatformView = void*;

namespace PlatformWindowManager
{

// Neither may raise.
struct ViewFunctions
{
    /// Called within Register(), with a lock held: it must not wait for a thread that may be in here.
    boost::function<void(PlatformView)> retain;
    /// Called on the main thread, with no lock held.
    boost::function<void(PlatformView)> release;
};

/// Has views retained and released so from now on; set it ahead of the first Register(). Without functions
/// views are only counted. A view that is registered is released by what was set when it was.
RK_API void SetViewFunctions(const ViewFunctions& inFunctions);

/// Retains a view, and makes its owner the one that depends on it: the count becomes 1, whatever it was. So
/// a second Register() without removals between leaves a retain that nothing releases.
RK_API void Register(PlatformView inView);

/// @return false if the view is not registered, or is no longer since its count came to 0.
RK_API bool AddDependency(PlatformView inView);

/// The counterpart of AddDependency(), and the owner's of Register(). As the count comes to 0 the view is
/// forgotten, and its release is queued. Nothing if it is not registered.
RK_API void RemoveDependency(PlatformView inView);

} // namespace PlatformWindowManager
} // namespace RK
