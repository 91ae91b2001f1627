// What callers are told of loaded plug-ins.
#include <cstring>

#include "MVAccess.h"
#include "MVHost.h"
#include "MVPlugs.h"
#include "MVRecord.h"
#include "MVThread.h"
#include "edge/MVEFiles.h"

namespace
{

constinit MVURL* sMainBundle = nullptr; // taken once, and held for the life of the process

MVURL* hostBundle()
{
    if (gMVHostBundle != nullptr)
        return gMVHostBundle;
    if (sMainBundle == nullptr)
        sMainBundle = mvEdgeCopyMainBundleURL();
    return sMainBundle;
}

// What the caller's handle points to takes the bundle behind its first word.
void writeHandle(const MVAccess* inAccess, void** ioHandle)
{
    if (inAccess->fileAccess != nullptr)
        *ioHandle = nullptr;
    else if (inAccess->plugin->hostData != nullptr)
        *ioHandle = inAccess->plugin->hostData;
    else if (*ioHandle != nullptr)
    {
        MVURL* const bundle = hostBundle();
        std::memcpy(static_cast<unsigned char*>(*ioHandle) + 8, &bundle, sizeof bundle);
    }
}

} // namespace

MVResult MVGetAccessPlugin(MVAccess* access, MVPlugin** out)
{
    MV_ONE_THREAD();
    return mvGetField(access, &MVAccess::plugin, out);
}

MVResult MVGetAccessEntry(MVAccess* access, MVPluginEntry* out)
{
    MV_ONE_THREAD();
    return mvGetField(access, &MVAccess::entry, out);
}

MVResult MVGetAccessCount(MVAccess* access, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(access, &MVAccess::count, out);
}

MVResult MVGetAccessInfo(MVAccess* access, MVAccessInfo* out)
{
    MV_ONE_THREAD();
    if (access == nullptr || access->plugin == nullptr || out == nullptr)
        return kMVBadParameterError;
    writeHandle(access, &out->handle);
    out->resourceAccess = access->plugin->resourceAccess;
    out->lastAccessTicks = access->lastAccessTicks;
    return kMVNoError;
}

MVResult MVGetPluginResourceAccess(MVPlugin* plugin, void** out)
{
    MV_ONE_THREAD();
    return mvGetField(plugin, &MVPlugin::resourceAccess, out);
}

MVResult MVSetPluginResourceAccess(MVPlugin* plugin, void* resourceAccess)
{
    MV_ONE_THREAD();
    return mvSetField(plugin, &MVPlugin::resourceAccess, resourceAccess);
}

MVResult MVGetCurrentPlugin(MVPlugin** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = gMVCurrentPlugin;
    return kMVNoError;
}

MVResult MVSetCurrentPlugin(MVPlugin* plugin)
{
    MV_ONE_THREAD();
    gMVCurrentPlugin = plugin;
    return kMVNoError;
}
