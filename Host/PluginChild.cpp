#include "PluginChild.h"

#include <cctype>
#include <cstdint>
#include <cstring>

#include <RiverKit/MoonVetch/Host.h>
#include <RiverKit/RKInitializer.h>

#include "PluginStartLog.h"
#include "PluginTrial.h"
#include "Text.h"

namespace RKHost
{

namespace
{

/// The loader's words, without the path that they begin with: whoever reads them has it beside them.
std::string LoadText(const std::string& inPath)
{
    const std::string text = MVGetLoadFailureText();
    return text.compare(0, inPath.size() + 2, inPath + ": ") == 0 ? text.substr(inPath.size() + 2)
                                                                  : text;
}

std::string LoadFailure(const std::string& inPath, MVResult inCode)
{
    const std::string text = LoadText(inPath);
    return PluginCodeText(inCode) + (text.empty() ? "" : ": " + text);
}

/// @return a line of the report.
std::string LoadAll(const std::string& inPath)
{
    std::vector<MVPlugin*> plugins;
    MVPluginListIterator* iterator = nullptr;
    if (const MVResult result = MVNewPluginListIterator(nullptr, &iterator))
        return "failed\t" + PluginCodeText(result);
    // All first: a plug-in that is loaded may list others.
    MVPlugin* plugin = nullptr;
    while (MVNextPlugin(iterator, &plugin) == kMVNoError && plugin != nullptr)
    {
        MVPluginEntry entry = nullptr;
        if (MVGetHostPluginEntry(plugin, &entry) == kMVNoError && entry == nullptr)
            plugins.push_back(plugin);
    }
    MVDeletePluginListIterator(iterator);
    for (MVPlugin* const each : plugins)
    {
        MVAccess* access = nullptr;
        if (const MVResult result = MVAcquirePlugin(each, &access))
            return "failed\t" + Printable("cannot be loaded, " + LoadFailure(inPath, result));
        MVReleasePlugin(access);
    }
    return "plug-ins\t" + std::to_string(plugins.size());
}

std::string Load(const std::string& inPath)
{
    std::int32_t added = 0;
    const MVResult result = MVAddPluginFile(nullptr, inPath.c_str(), &added);
    if (result == kMVNeedsNativeAdapterError || (result == kMVNoError && added == 0))
        return "none\t" + Printable(LoadText(inPath));
    if (result != kMVNoError)
        return "failed\t" + Printable("cannot be read, " + LoadFailure(inPath, result));
    return LoadAll(inPath);
}

} // namespace

std::string PluginCodeText(int inCode)
{
    std::string text = "'";
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        const auto byte = static_cast<unsigned char>(static_cast<unsigned>(inCode) >> shift);
        if (!std::isprint(byte))
            return std::to_string(inCode);
        text += static_cast<char>(byte);
    }
    return text + "'";
}

ExitCode RunPluginLoad(const std::string& inPath)
{
    const PluginReport report;
    {
        const RK::Initializer library;
        report.SayReady();
        report.Say(Load(inPath));
    }
    report.SayEnd();
    return kExit_OK;
}

ExitCode RunPluginStart(const std::vector<std::string>& inPaths)
{
    const PluginReport report;
    {
        const RK::Initializer library;
        report.SayReady();
        PluginStartLog log(report);
        for (const std::string& path : inPaths)
            log.AddFile(path);
        log.Start();
        log.Tell();
    }
    report.SayEnd();
    return kExit_OK;
}

} // namespace RKHost
