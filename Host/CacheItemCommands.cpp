#include "CacheItemCommands.h"

#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string_view>
#include <system_error>
#include <thread>

#include <boost/make_shared.hpp>

#include "CacheFolder.h"
#include "CommandLine.h"
#include "FileInput.h"
#include "ItemRead.h"
#include "Stopwatch.h"
#include "Text.h"
#include "WholeFile.h"

namespace RKHost
{

namespace
{

using RK::DataCache;

// What get, put and rm are given.
struct ItemArguments
{
    std::string mFolder;
    std::string mKey;
    std::string mSubKey; ///< may be empty
    std::string mFile;   ///< empty: a standard stream

    DataCache::CacheKey Key() const { return NameOf(mKey); }
    DataCache::CacheSubKey SubKey() const { return NameOf(mSubKey); }
    /// "item 'clip' 'frame'"
    std::string Text() const
    {
        return "item '" + mKey + "'" + (mSubKey.empty() ? "" : " '" + mSubKey + "'");
    }

private:
    // As a file's name, since that is what it becomes: any bytes come back.
    static DataCache::CacheKey NameOf(const std::string& inText)
    {
        return DataCache::CacheKey::CreateDynamic(ToLibraryPath(inText));
    }
};

/// @param inFileOption  null: there is none.
ItemArguments ParseItem(const std::string& inVerb, const char* inFileOption,
                        const std::vector<std::string>& inArguments)
{
    const std::string command = "rkhost " + inVerb;
    ItemArguments item;
    std::vector<OptionRow> rows;
    if (inFileOption != nullptr)
        rows.push_back({inFileOption, true,
                        [&item](const Given& g) { item.mFile = g.Text("the name of a file"); }});
    const auto names = ParseArguments(command, inVerb, rows, inArguments);
    if (names.size() < 2 || names[0].empty() || names[1].empty())
        Refuse(command, inVerb + " wants a folder and a key");
    if (names.size() > 3)
        Refuse(command, inVerb + " takes a folder, a key and a sub key, and '" + names[3] +
                            "' is one too many");
    item.mFolder = names[0];
    item.mKey = names[1];
    item.mSubKey = names.size() > 2 ? names[2] : "";
    return item;
}

std::string CodeText(qelcore::Result inResult)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%08" PRIX32, static_cast<std::uint32_t>(inResult));
    return text;
}

[[noreturn]] void Fail(const ItemArguments& inItem, const std::string& inWhat)
{
    throw HostError(kExit_Failure, inItem.mFolder + ": " + inItem.Text() + " " + inWhat);
}

// A removal is queued, and tells nobody when it is done. The file is looked at and not the store, which
// would take a file that is about to go for one that it did not know of.
bool AwaitRemoval(const ItemArguments& inItem)
{
    constexpr double kMostSeconds = 5;
    const std::string subKey = inItem.mSubKey.empty() ? "" : "." + inItem.mSubKey;
    const auto file = std::filesystem::path(inItem.mFolder) / (inItem.mKey + subKey + ".rkdc");
    std::error_code error;
    for (const Stopwatch stopwatch; std::filesystem::exists(file, error);)
    {
        if (stopwatch.Seconds() > kMostSeconds)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

DataCache::CacheBuffer BufferOf(std::vector<std::uint8_t>&& inBytes)
{
    const auto bytes = boost::make_shared<std::vector<std::uint8_t>>(std::move(inBytes));
    return qelcore::utility::RecycledMemory::AdaptAsRecycledMemory(bytes, bytes->data(),
                                                                   bytes->size());
}

} // namespace

ExitCode RunCacheGet(const std::vector<std::string>& inArguments, EventLoop&)
{
    const ItemArguments item = ParseItem("cache get", "--output", inArguments);
    const CacheFolder folder = CacheFolder::Open(item.mFolder);
    DataCache::CacheBuffer buffer;
    const qelcore::Result result = ReadItemNow(*folder.mStore, item.Key(), item.SubKey(), buffer);
    if (result == RK::kDataCacheResultItemNotFound)
        Fail(item, "is not there");
    if (!buffer)
        Fail(item, "cannot be read (" + CodeText(result) + ")");
    const std::string_view bytes(static_cast<const char*>(buffer->Data()), buffer->Size());
    if (!item.mFile.empty())
        ReplaceWholeFile(item.mFile, bytes);
    else
        std::cout << bytes;
    return kExit_OK;
}

ExitCode RunCachePut(const std::vector<std::string>& inArguments, EventLoop& ioLoop)
{
    constexpr std::size_t kMostBytes = 0x7FFFFFFE;
    const ItemArguments item = ParseItem("cache put", "--input", inArguments);
    std::vector<std::uint8_t> bytes = item.mFile.empty()
                                          ? ReadStandardInput(kMostBytes, ioLoop)
                                          : ReadInput(item.mFile, kMostBytes, ioLoop);
    if (bytes.empty())
        Fail(item, "is not put, since nothing came in: an item holds at least a byte");
    const CacheFolder folder = CacheFolder::OpenOrMake(item.mFolder);
    if (folder.mStore->IsItemAvailable(item.Key(), item.SubKey()))
        Fail(item, "is there already, and is not replaced; \"rkhost cache rm\" removes it");
    folder.mStore->PutItem(item.Key(), item.SubKey(), BufferOf(std::move(bytes)));
    if (!AwaitWrites(folder.mStore) || !folder.mStore->IsItemAvailable(item.Key(), item.SubKey()))
        Fail(item, "could not be put: is there room, may the folder be written to, and do key and "
                   "sub key make a file name?");
    return kExit_OK;
}

ExitCode RunCacheRemove(const std::vector<std::string>& inArguments, EventLoop&)
{
    const ItemArguments item = ParseItem("cache rm", nullptr, inArguments);
    const CacheFolder folder = CacheFolder::Open(item.mFolder);
    if (!folder.mStore->IsItemAvailable(item.Key(), item.SubKey()))
        Fail(item, "is not there");
    folder.mStore->RemoveItem(item.Key(), item.SubKey());
    if (!AwaitRemoval(item))
        Fail(item, "could not be removed");
    return kExit_OK;
}

const char* CacheGetHelp()
{
    return R"(rkhost cache get DIR KEY [SUBKEY] [--output FILE]

Writes an item of a cache folder to standard output.

  --output FILE  writes it to a file instead, whole or not at all

Exit code: 0 done; 1 there is no such item, or it cannot be read; 2 what is asked for makes no sense.
)";
}

const char* CachePutHelp()
{
    return R"(rkhost cache put DIR KEY [SUBKEY] [--input FILE]

Puts what comes from standard input into a cache folder, which is made if need be. Ends when the item is
in the folder. An item that is there is not replaced.

  --input FILE  takes it from a file instead

Key and sub key become the name of the item's file: neither may hold a slash, and a sub key with a dot is
found by its name but listed under another. An item holds 1 to 2147483646 bytes.

Exit code: 0 done; 1 it could not be put; 2 what is asked for makes no sense; 130 interrupted.
)";
}

const char* CacheRemoveHelp()
{
    return R"(rkhost cache rm DIR KEY [SUBKEY]

Removes an item from a cache folder.

Exit code: 0 done; 1 there is no such item, or it cannot be removed; 2 what is asked for makes no sense.
)";
}

} // namespace RKHost
