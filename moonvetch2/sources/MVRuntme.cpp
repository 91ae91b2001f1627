// What the host works with, for those who ask.

#include <cstring>

#include "MVError.h"
#include "MVHost.h"
#include "MVThread.h"
#include "edge/MVEFiles.h"

static_assert(sizeof(MVFileSpecification) == 380);

namespace
{

template <class Value>
MVResult getGlobal(Value* inGlobal, Value** out)
{
    if (out == nullptr)
        return kMVBadParameterError;
    *out = inGlobal;
    return kMVNoError;
}

} // namespace

MVResult MVGetRuntimeStringPool(MVStringPool** out)
{
    MV_ONE_THREAD();
    return getGlobal(gMVStrings, out);
}

MVResult MVGetRuntimeSuiteList(MVSuiteList** out)
{
    MV_ONE_THREAD();
    return getGlobal(gMVSuites, out);
}

MVResult MVGetRuntimeFileList(void** out)
{
    MV_ONE_THREAD();
    if (out != nullptr)
        *out = nullptr;
    return mvRaise(kMVNotImplementedError);
}

MVResult MVGetRuntimePluginList(MVPluginList** out)
{
    MV_ONE_THREAD();
    return getGlobal(gMVPlugins, out);
}

MVResult MVGetRuntimeAdapterList(MVAdapterList** out)
{
    MV_ONE_THREAD();
    return getGlobal(gMVAdapters, out);
}

MVResult MVGetRuntimeHostProcs(MVHostProcs** out)
{
    MV_ONE_THREAD();
    return getGlobal(gMVHostProcs, out);
}

MVResult MVGetRuntimePluginsFolder(MVFileSpecification* out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    *out = gPluginFolder;
    return kMVNoError;
}

void MVSetRuntimePluginsFolder(const MVFileSpecification* folder)
{
    MV_ONE_THREAD();
    if (folder == nullptr)
        return;
    gPluginFolder = *folder;
    gPluginFolderSet = true;
}

MVResult MVGetRuntimeHostFileSpec(MVFileSpecification* out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVBadParameterError;
    std::memset(out, 0, sizeof *out);
    MVURL* program = gMVHostBundle == nullptr ? mvEdgeCopyMainBundleURL() : nullptr;
    MVURL* bundle = gMVHostBundle != nullptr ? gMVHostBundle : program;
    const MVResult result =
        bundle != nullptr ? mvEdgeFillFileSpecification(bundle, out) : kMVNoHostFileSpecError;
    MVReleaseURL(program);
    return result == kMVNoError ? kMVNoError : mvRaise(kMVNoHostFileSpecError);
}
