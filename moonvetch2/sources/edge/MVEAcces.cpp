#include "MVEAcces.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <string>

#include <cxxabi.h>

#include "../MVBlocks.h"
#include "../MVError.h"
#include "../MVPlugs.h"
#include "../MVProps.h"
#include "MVEFiles.h"
#include "MVELoad.h"
#include "Platform/Clock.h"
#include "Platform/CodeLoader.h"

constinit MVFileAccess* firstFileAccess = nullptr;
constinit std::int32_t fileAccessCount = 0;

namespace
{

constexpr const char* kDefaultEntries[] = {"PluginMain", "main"};

void moveToHead(MVFileAccess** inLink)
{
    MVFileAccess* file = *inLink;
    *inLink = file->next;
    file->next = firstFileAccess;
    firstFileAccess = file;
}

MVResult newFileAccess(MVURL* inURL, MVFileAccess** outFile)
{
    const MVResult result = mvIntAllocateRecord("an MVFileAccess", outFile);
    if (result != kMVNoError)
        return result;
    MVRetainURL(inURL);
    (*outFile)->url = inURL;
    (*outFile)->next = firstFileAccess;
    firstFileAccess = *outFile;
    ++fileAccessCount;
    return kMVNoError;
}

MVResult fileAccessOf(MVURL* inURL, MVFileAccess** outFile)
{
    MVFileAccess** link = &firstFileAccess;
    while (*link != nullptr && !mvEdgeIsSameURL((*link)->url, inURL))
        link = &(*link)->next;
    if (*link == nullptr)
        return newFileAccess(inURL, outFile);
    moveToHead(link);
    *outFile = firstFileAccess;
    return kMVNoError;
}

// A Pascal string that says it is longer than its property ends with it.
std::string entryNameOf(const MVPlugin* inPlugin)
{
    std::size_t bytes = 0;
    const unsigned char* data =
        mvPropertyData(mvDeclaredProperty(inPlugin, kMVProperty_CodeEntry), &bytes);
    if (bytes == 0)
        return {};
    const std::size_t length = std::min<std::size_t>(data[0], bytes - 1);
    return {reinterpret_cast<const char*>(data + 1), length};
}

void* loadCode(const MVFileAccess* inFile, std::string& outError)
{
    const char* path = MVGetURLPath(inFile->url);
    if (path == nullptr)
    {
        outError = "the plug-in has no file";
        return nullptr;
    }
    return Platform::CodeLoader().Load(path, outError);
}

void* findEntry(const MVPlugin* inPlugin, void* inCode, std::string& outError)
{
    const std::string named = entryNameOf(inPlugin);
    void* entry = nullptr;
    if (!named.empty())
        entry = Platform::CodeLoader().FindEntry(inCode, named, outError);
    for (const char* name : kDefaultEntries)
        if (entry == nullptr)
            entry = Platform::CodeLoader().FindEntry(inCode, name, outError);
    return entry;
}

// Nobody finds this record any more; it goes with the next flush once its other plug-ins have gone.
void forgetFile(MVFileAccess* ioFile)
{
    MVReleaseURL(ioFile->url);
    ioFile->url = nullptr;
}

MVPluginEntry loadEntry(const MVPlugin* inPlugin, MVFileAccess* ioFile, std::string& outError)
{
    void* code = loadCode(ioFile, outError);
    if (code == nullptr)
        return nullptr;
    void* entry = findEntry(inPlugin, code, outError);
    if (entry == nullptr)
        forgetFile(ioFile);
    return reinterpret_cast<MVPluginEntry>(entry);
}

MVResult loadNative(const MVPlugin* inPlugin, MVFileAccess* ioFile, MVPluginEntry* outEntry)
{
    if (!mvDeclares(inPlugin, kMVProperty_CodeEntry))
        return kMVNeedsNativeAdapterError;
    try
    {
        std::string error;
        *outEntry = loadEntry(inPlugin, ioFile, error);
        if (*outEntry != nullptr)
            mvClearLoadFailure();
        else
            mvSetLoadFailure(error.c_str());
    }
    catch (const std::exception& failure)
    {
        mvSetLoadFailure(failure.what());
    }
    return *outEntry != nullptr ? kMVNoError : mvRaise(kMVCantAcquirePluginError);
}

std::uint32_t ticksNow()
{
    return static_cast<std::uint32_t>(Platform::Clock().NowNanoseconds() * 60 / 1000000000);
}

// The entry is C. An exception that comes out of it all the same is an answer, and not a good one. The end of a
// thread is no exception, though it looks like one: it must go on.
MVResult callEntry(MVPluginEntry inEntry, const char* inCaller, const char* inSelector,
                   void* ioMessage)
{
    try
    {
        return inEntry(inCaller, inSelector, ioMessage);
    }
    catch (const abi::__forced_unwind&)
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        return kMVOutOfMemoryError;
    }
    catch (...)
    {
        return kMVPluginThrewError;
    }
}

} // namespace

// An access that has found no entry is none of its file's.
MVResult mvEdgeCreateAccess(MVPlugin* inPlugin, MVAccess* ioAccess)
{
    if (inPlugin->hostEntry != nullptr)
    {
        ioAccess->entry = inPlugin->hostEntry;
        return kMVNoError;
    }
    MVResult result = fileAccessOf(inPlugin->fileSpec, &ioAccess->fileAccess);
    if (result != kMVNoError)
        return result;
    ++ioAccess->fileAccess->count;
    result = loadNative(inPlugin, ioAccess->fileAccess, &ioAccess->entry);
    if (result != kMVNoError)
        mvEdgeDestroyAccess(ioAccess);
    return result;
}

// The code stays in the process.
MVResult mvEdgeDestroyAccess(MVAccess* ioAccess)
{
    ioAccess->entry = nullptr;
    if (ioAccess->fileAccess != nullptr)
        --ioAccess->fileAccess->count;
    ioAccess->fileAccess = nullptr;
    return kMVNoError;
}

MVResult mvDestroyFileAccess(MVFileAccess* inFileAccess)
{
    if (inFileAccess->count > 0)
        return kMVNoError;
    MVFileAccess** link = &firstFileAccess;
    while (*link != nullptr && *link != inFileAccess)
        link = &(*link)->next;
    if (*link == nullptr)
        return kMVNoError;
    *link = inFileAccess->next;
    --fileAccessCount;
    MVReleaseURL(inFileAccess->url);
    return mvIntFreeBlock(inFileAccess);
}

MVResult mvEdgeFlushAccess(std::int32_t* ioFlushed)
{
    MVResult result = kMVNoError;
    for (MVFileAccess* file = firstFileAccess; file != nullptr && result == kMVNoError;)
    {
        MVFileAccess* next = file->next;
        if (file->count <= 0)
        {
            result = mvDestroyFileAccess(file);
            ++*ioFlushed;
        }
        file = next;
    }
    return result;
}

MVResult mvEdgeCallPlugin(MVAccess* ioAccess, const char* inCaller, const char* inSelector,
                          void* ioMessage, MVResult* outResult)
{
    if (ioAccess->entry == nullptr)
        return mvRaise(kMVCantAcquirePluginError);
    *outResult = callEntry(ioAccess->entry, inCaller, inSelector, ioMessage);
    ioAccess->lastAccessTicks = ticksNow();
    return kMVNoError;
}
