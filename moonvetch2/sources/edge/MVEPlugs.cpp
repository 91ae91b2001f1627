#include "MVEPlugs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "../MVThread.h"
#include "MVEFiles.h"
#include "Platform/CodeFile.h"
#include "Platform/FileSystem.h"
#include "Platform/WholeFile.h"

namespace
{

// Far more than a plug-in has to say; what is longer was not meant.
constexpr std::size_t kMaxPropertyBytes = 1u << 20;

// The bytes of property lists, each that of one plug-in.
using Lists = std::vector<std::string>;

MVResult refuse(MVResult inCode, const std::string& inText)
{
    mvSetLoadFailure(inText.c_str());
    return inCode;
}

MVResult codeOf(Platform::CodeFault inFault)
{
    switch (inFault)
    {
    case Platform::CodeFault::kNone:
        return kMVNoError;
    case Platform::CodeFault::kMissing:
        return kMVPluginNotFoundError;
    case Platform::CodeFault::kDamaged:
    case Platform::CodeFault::kUnreadable:
        return kMVBadParameterError;
    default:
        return kMVNeedsNativeAdapterError;
    }
}

MVResult readCodeProperties(const std::string& inPath, Lists& ioLists)
{
    std::string bytes;
    std::string file;
    std::string text;
    Platform::CodeFault fault = Platform::FindCodeFile(inPath, file, text);
    if (fault == Platform::CodeFault::kNone)
        fault = Platform::ReadCodeBytes(file, kMVPropertiesSection, kMVPropertiesObject,
                                        kMaxPropertyBytes, bytes, text);
    if (fault != Platform::CodeFault::kNone)
        return refuse(codeOf(fault), text);
    if (bytes.empty())
        return refuse(kMVNeedsNativeAdapterError, file + ": no plug-in: it has no properties");
    ioLists.push_back(bytes);
    return kMVNoError;
}

bool isPropertyFile(const Platform::DirectoryEntry& inEntry)
{
    const std::size_t ending = sizeof kMVPropertiesEnding - 1;
    return inEntry.name.size() > ending && inEntry.name.front() != '.' &&
           inEntry.name.compare(inEntry.name.size() - ending, ending, kMVPropertiesEnding) == 0 &&
           (inEntry.kind == Platform::FileKind::kFile ||
            inEntry.kind == Platform::FileKind::kSymbolicLink);
}

// Sorted, so that the order of the plug-ins is that of their names and not of the disk. A folder that is not there has
// none.
std::vector<std::string> propertyFilesOf(const std::string& inBundle)
{
    std::vector<std::string> files;
    const std::string folder = inBundle + '/' + kMVPropertiesFolder;
    std::unique_ptr<Platform::IDirectoryListing> listing;
    if (Platform::FileSystem().List(folder, Platform::LinkPolicy::kFollow, listing) != 0)
        return files;
    Platform::DirectoryEntry entry;
    for (bool end = false; listing->Next(entry, end) == 0 && !end;)
    {
        if (isPropertyFile(entry))
            files.push_back(folder + '/' + entry.name);
    }
    std::sort(files.begin(), files.end());
    return files;
}

MVResult readPropertyFile(const std::string& inFile, Lists& ioLists)
{
    Platform::FileStatus status;
    std::string bytes;
    // A link may lead to a pipe, which would be waited for.
    const int error =
        Platform::FileSystem().Stat(inFile, Platform::LinkPolicy::kFollow, status) != 0 ||
                status.kind != Platform::FileKind::kFile
            ? ENOENT
            : Platform::ReadWholeFile(Platform::FileSystem(), inFile, kMaxPropertyBytes, bytes);
    if (error != 0)
        return refuse(kMVBadParameterError, inFile + ": properties that cannot be read: " +
                                                std::generic_category().message(error));
    ioLists.push_back(bytes);
    return kMVNoError;
}

MVResult readLists(const std::string& inPath, Lists& outLists)
{
    Platform::FileStatus status;
    const bool isFolder =
        Platform::FileSystem().Stat(inPath, Platform::LinkPolicy::kFollow, status) == 0 &&
        status.kind == Platform::FileKind::kDirectory;
    const std::vector<std::string> files =
        isFolder ? propertyFilesOf(inPath) : std::vector<std::string>();
    if (files.empty())
        return readCodeProperties(inPath, outLists);
    MVResult result = kMVNoError;
    for (std::size_t i = 0; i < files.size() && result == kMVNoError; ++i)
        result = readPropertyFile(files[i], outLists);
    return result;
}

// All are looked at before the first is listed, so that a damaged file leaves nothing behind.
MVResult checkLists(const std::string& inPath, const Lists& inLists)
{
    for (const std::string& list : inLists)
    {
        if (MVCheckPropertyList(list.data(), list.size()) != kMVNoError)
            return refuse(kMVBadParameterError, inPath +
                                                    ": damaged: its properties reach beyond "
                                                    "their " +
                                                    std::to_string(list.size()) + " bytes");
    }
    return kMVNoError;
}

MVResult addLists(MVPluginList* inPlugins, MVURL* inURL, const Lists& inLists,
                  std::int32_t* outAdded)
{
    for (const std::string& list : inLists)
    {
        MVPlugin* plugin = nullptr;
        const MVResult result = MVAddPluginSpecification(
            inPlugins, inURL, reinterpret_cast<const PIPropertyList*>(list.data()),
            kMVMoonVetch2Adapter, nullptr, &plugin);
        if (result != kMVNoError)
            return result;
        ++*outAdded;
    }
    return kMVNoError;
}

MVResult addPluginFile(MVPluginList* inPlugins, const char* inPath, std::int32_t* outAdded)
{
    const bool isURL = std::strstr(inPath, "://") != nullptr;
    MVURL* const url = MVCreateURL(isURL ? inPath : Platform::AbsolutePath(inPath).c_str());
    if (url == nullptr)
        return refuse(kMVPluginNotFoundError, std::string(inPath) + ": no path of a file");
    const std::unique_ptr<MVURL, decltype(&MVReleaseURL)> owner(url, &MVReleaseURL);
    Lists lists;
    MVResult result = readLists(MVGetURLPath(url), lists);
    if (result == kMVNoError)
        result = checkLists(MVGetURLPath(url), lists);
    if (result == kMVNoError)
        result = addLists(inPlugins, url, lists, outAdded);
    return result;
}

} // namespace

extern "C"
{
MVResult MVAddPluginFile(MVPluginList* list, const char* path, int32_t* added)
{
    MV_ONE_THREAD();
    std::int32_t unwanted = 0;
    std::int32_t* const count = added != nullptr ? added : &unwanted;
    *count = 0;
    if (path == nullptr)
        return kMVBadParameterError;
    mvClearLoadFailure();
    try
    {
        return addPluginFile(list, path, count);
    }
    catch (const std::exception&)
    {
        return kMVOutOfMemoryError;
    }
}

} // extern "C"
