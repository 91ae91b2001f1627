#include "InfoCommand.h"

#include <cinttypes>
#include <cstdio>
#include <string>

#include <RiverKit/RKMediaManager.h>

#include "ImporterModule.h"
#include "Text.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/MachineFigures.h"

namespace RKHost
{

namespace
{

// Scripts read the lines: a name, a colon, a number and its unit.
void PrintBytes(const char* inName, std::uint64_t inBytes)
{
    std::printf("%-32s%16" PRIu64 " bytes  %s\n", inName, inBytes, MemoryText(inBytes).c_str());
}

void PrintCount(const char* inName, std::uint64_t inCount)
{
    std::printf("%-32s%16" PRIu64 "\n", inName, inCount);
}

void PrintCache()
{
    const RK::IMediaManagerRef manager = RK::GetMediaManager();
    PrintBytes("cache budget:", manager->GetMaximumSize());
    PrintBytes("cache size:", manager->GetCurrentSpace());
    PrintCount("cache entries:", manager->GetNumberOfEntries());
}

void PrintMachine()
{
    using namespace qelcore::utility;
    PrintBytes("physical memory:", TotalPhysicalMemory());
    PrintBytes("virtual memory:", GetTotalVirtualMemory());
    PrintBytes("free physical memory:", GetFreePhysicalMemory());
    PrintBytes("free active memory:", GetFreeActiveMemory());
    PrintBytes("used by this process:", GetCurrentProcessMemoryUsage());
    PrintBytes("compressed of this process:", GetCurrentProcessCompressedMemoryUsage());
    PrintBytes("compressed by the system:", GetAmountOfCompressedMemoryBySystem());
}

void PrintExecutors()
{
    using namespace qelcore::threads;
    PrintCount("threads that compute:",
               static_cast<std::uint64_t>(GetCPUBoundExecutor()->GetParallelism()));
    PrintCount("threads that wait for I/O:",
               static_cast<std::uint64_t>(GetIOBoundExecutor()->GetParallelism()));
}

void PrintImporter()
{
    try
    {
        const ImporterModule importer = ImporterModule::Load();
        std::printf("importer: %s, licence: %s\n", importer.Name(), importer.Licence());
    }
    catch (const HostError& error)
    {
        std::printf("importer: none: %s\n", error.what());
    }
}

} // namespace

ExitCode RunInfo()
{
    std::printf("rkhost %s\n", RKHOST_VERSION);
    PrintCache();
    PrintMachine();
    PrintExecutors();
    PrintImporter();
    return kExit_OK;
}

} // namespace RKHost
