#include "CacheCommand.h"

#include <iostream>

#include "CacheFillCommand.h"
#include "CacheItemCommands.h"
#include "CacheManageCommand.h"
#include "CacheManageOptions.h"
#include "CommandLine.h"

namespace RKHost
{

namespace
{

constexpr CacheVerb kVerbs[] = {
    {"get", "get DIR KEY [SUBKEY] [--output FILE]  writes an item to standard output",
     &CacheGetHelp, &RunCacheGet},
    {"put", "put DIR KEY [SUBKEY] [--input FILE]   puts an item from standard input", &CachePutHelp,
     &RunCachePut},
    {"ls", "ls DIR [KEY]                          lists the items", &CacheListHelp, &RunCacheList},
    {"rm", "rm DIR KEY [SUBKEY]                   removes an item", &CacheRemoveHelp,
     &RunCacheRemove},
    {"fill", "fill DIR [OPTION...]                  puts synthetic items, and tells how fast",
     &CacheFillHelp, &RunCacheFill},
    {"manage", "manage DIR --extensions .a,.b [OPTION...]  keeps a folder within limits",
     &CacheManageHelp, &RunCacheManage},
};

void PrintHelp()
{
    std::cout << "rkhost cache VERB ...: works with cache folders\n\n";
    for (const CacheVerb& verb : kVerbs)
        std::cout << "  " << verb.mSummary << "\n";
    std::cout << "\n\"rkhost cache VERB --help\" tells more of each.\n";
}

const CacheVerb& VerbOf(const std::string& inName)
{
    for (const CacheVerb& verb : kVerbs)
        if (inName == verb.mName)
            return verb;
    Refuse("rkhost cache", "cache has no verb '" + inName + "'");
}

} // namespace

ExitCode RunCache(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    if (inArguments.empty())
        Refuse("rkhost cache", "what is to be done with a cache folder?");
    if (AsksForHelp({inArguments[0]}))
    {
        PrintHelp();
        return kExit_OK;
    }
    const CacheVerb& verb = VerbOf(inArguments[0]);
    const std::vector<std::string> arguments(inArguments.begin() + 1, inArguments.end());
    if (!AsksForHelp(arguments))
        return verb.mRun(arguments, ioLoop);
    std::cout << verb.mHelp();
    return kExit_OK;
}

} // namespace RKHost
