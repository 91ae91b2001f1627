// What one answer of each memory figure costs, beside a bare pread of the file that it comes from, kept
// open: the least that any reader of that file pays.
//
// One item is one answer. Each answer is of the moment of asking; the totals alone may be a second old, and
// read nothing in between.
#include <cstdint>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include "qelcore/MachineFigures.h"

namespace
{

using namespace qelcore::utility;

void BarePread(benchmark::State& ioState, const char* inPath)
{
    const int file = open(inPath, O_RDONLY | O_CLOEXEC);
    if (file < 0)
    {
        ioState.SkipWithError("no such file here");
        return;
    }
    char bytes[8192];
    for (auto _ : ioState)
        benchmark::DoNotOptimize(pread(file, bytes, sizeof bytes, 0));
    close(file);
    ioState.SetItemsProcessed(ioState.iterations());
}

void Figure(benchmark::State& ioState, std::uint64_t (*inFigure)())
{
    for (auto _ : ioState)
        benchmark::DoNotOptimize(inFigure());
    ioState.SetItemsProcessed(ioState.iterations());
}

BENCHMARK_CAPTURE(BarePread, MemoryInfo, "/proc/meminfo");
BENCHMARK_CAPTURE(Figure, TotalPhysical, &TotalPhysicalMemory);
BENCHMARK_CAPTURE(Figure, FreePhysical, &GetFreePhysicalMemory);
BENCHMARK_CAPTURE(Figure, FreeActive, &GetFreeActiveMemory);
BENCHMARK_CAPTURE(Figure, SystemCompressed, &GetAmountOfCompressedMemoryBySystem);
BENCHMARK_CAPTURE(BarePread, ProcessSizes, "/proc/self/statm");
BENCHMARK_CAPTURE(Figure, Process, &GetCurrentProcessMemoryUsage);
BENCHMARK_CAPTURE(BarePread, ProcessStatus, "/proc/self/status");
BENCHMARK_CAPTURE(Figure, ProcessCompressed, &GetCurrentProcessCompressedMemoryUsage);
BENCHMARK_CAPTURE(BarePread, GroupUsage, "/sys/fs/cgroup/memory/memory.usage_in_bytes");
BENCHMARK_CAPTURE(BarePread, GroupStatistics, "/sys/fs/cgroup/memory/memory.stat");
// What a thorough reader would pay, and why it is left alone: the sum over all address ranges.
BENCHMARK_CAPTURE(BarePread, ProcessAddressRanges, "/proc/self/smaps_rollup");

} // namespace
