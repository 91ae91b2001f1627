#include "CacheFolder.h"

#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

#include "HostError.h"
#include "Stopwatch.h"
#include "Text.h"
#include "qelcore/FileExceptions.h"

namespace RKHost
{

namespace
{

namespace fs = std::filesystem;

[[noreturn]] void ThrowCannotOpen(const std::string& inFolder, const std::string& inWhy)
{
    throw HostError(kExit_Failure, "cannot open the cache folder '" + inFolder + "': " + inWhy);
}

} // namespace

CacheFolder CacheFolder::Open(const std::string& inFolder)
{
    std::error_code error;
    if (!fs::is_directory(inFolder, error))
        ThrowCannotOpen(inFolder, error ? error.message() : "it is no folder");
    return OpenOrMake(inFolder);
}

CacheFolder CacheFolder::OpenOrMake(const std::string& inFolder)
{
    using qelcore::utility::ImmutableString;
    try
    {
        CacheFolder folder;
        fs::create_directories(inFolder);
        const std::string path = fs::canonical(inFolder);
        folder.mStore = RK::CreateDataCacheInFilesystemAndManageDirectory(
            ImmutableString::CreateDynamic(ToLibraryPath(path)), folder.mDirectory, false);
        return folder;
    }
    catch (const fs::filesystem_error& error)
    {
        ThrowCannotOpen(inFolder, error.code().message());
    }
    catch (const qelcore::filesupport::path_exception& error)
    {
        ThrowCannotOpen(inFolder, std::generic_category().message(error.ErrorNumber()));
    }
}

bool AwaitWrites(const RK::DataCachePtr& inStore)
{
    constexpr double kMostSecondsWithoutProgress = 5;
    constexpr std::chrono::milliseconds kPause{1};
    std::uint64_t waiting = RK::GetQueuedWrites(inStore).count;
    for (Stopwatch stopwatch; waiting > 0;)
    {
        std::this_thread::sleep_for(kPause);
        const std::uint64_t now = RK::GetQueuedWrites(inStore).count;
        if (now < waiting)
            stopwatch = Stopwatch();
        else if (stopwatch.Seconds() > kMostSecondsWithoutProgress)
            return false;
        waiting = now;
    }
    return true;
}

} // namespace RKHost
