#pragma once

// Views that are GObjects, such as those of GTK, under RK::PlatformWindowManager. The library itself knows
// nothing of GLib: only a host that includes this does.

#include <glib-object.h>

#include <RiverKit/RKPlatformWindowManager.h>

namespace Example
{

/// What the host sets at its start, before the first view; a view's handle is its GObject. Releases come on
/// the main thread of the library, which is the one that GTK must be used on: drive it from GLib's main
/// loop by qelcore::threads::GetMainThreadDescriptor() and DispatchMainThread().
///
/// A widget is made with a floating reference. Its container sinks that; a view without a container needs
/// g_object_ref_sink() ahead of Register().
inline RK::PlatformWindowManager::ViewFunctions GObjectViewFunctions()
{
    return {[](RK::PlatformView inView) { g_object_ref(inView); },
            [](RK::PlatformView inView) { g_object_unref(inView); }};
}

} // namespace Example
