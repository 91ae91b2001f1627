// What a buffered read costs, beside a plain one of the same bytes that the system has in its page cache.
//
// A file of 64 MiB, older than what is kept at once (so the first workload waits 11 s), all of it in the
// page cache. Each iteration does a batch of both, in turn, so that what else the machine does meets
// both alike. "ours" and "peer" are nanoseconds a request, means over all threads; "ratio" is peer by
// ours: above 1 RiverKit is faster. Threads share the file, each through objects of its own.
//
// Random: a request at a random multiple of its size (seed 1); every block is in memory. Next: requests
// from front to back, all in memory. Pass: the whole file in requests of 1 MiB, all in memory; Fill: the
// same with nothing in memory beforehand, which includes taking and filling the blocks. Evicted: as
// Random, but the system has dropped its pages meanwhile, as it does when memory is short or much else
// is read; the blocks are still there. The peer of all is pread(2), which needs no position.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include "RKInitializer.h"
#include "RKMediaManager.h"
#include "ZOR/File.h"
#include "qelcore/TextConversion.h"

namespace
{

constexpr std::size_t kFileBytes = std::size_t{64} << 20;
constexpr int kBatch = 64;

// The library, and a file that has settled.
class Setting
{
public:
    static Setting& Get()
    {
        static Setting sSetting;
        return sSetting;
    }
    ~Setting() { unlink(mPath.c_str()); }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;
    const std::string& Path() const { return mPath; }

private:
    Setting()
    {
        const int file = mkstemp(mPath.data());
        const std::vector<char> bytes(std::size_t{1} << 20, 'b');
        bool written = file >= 0;
        for (std::size_t done = 0; written && done < kFileBytes; done += bytes.size())
            written = write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
        if (!written || fsync(file) != 0 ||
            close(file) != 0) // what is not on disk cannot be evicted
            throw std::runtime_error("the file cannot be written");
        std::this_thread::sleep_for(std::chrono::seconds(11));
    }
    std::string mPath = "/tmp/rk-bench-XXXXXX";
    RK::Initializer mLibrary;
};

// Both ways to one file, and their times.
class Readers
{
public:
    explicit Readers(std::size_t inRequestBytes)
        : mBytes(inRequestBytes)
        , mDescriptor(open(Setting::Get().Path().c_str(), O_RDONLY | O_CLOEXEC))
    {
        const auto path = qelcore::utility::FileNameToUTF16(Setting::Get().Path());
        if (mDescriptor < 0 ||
            mFile.Create(path, ZOR::kFileAccess_Read, ZOR::kFileShareMode_Read,
                         ZOR::kFileCreate_OpenExisting, ZOR::kFileAttributes_Normal, true) < 0)
            throw std::runtime_error("the file cannot be opened");
    }
    ~Readers() { close(mDescriptor); }
    Readers(const Readers&) = delete;
    Readers& operator=(const Readers&) = delete;

    void Run(const std::vector<std::uint64_t>& inOffsets)
    {
        mOurs += Time([&](std::uint64_t inOffset) { ReadOurs(inOffset); }, inOffsets);
        mPeer += Time([&](std::uint64_t inOffset) { ReadPeer(inOffset); }, inOffsets);
        mRequests += static_cast<double>(inOffsets.size());
    }
    /// Lets the system drop its pages of the file.
    void Evict() { posix_fadvise(mDescriptor, 0, 0, POSIX_FADV_DONTNEED); }
    /// Brings all of the file into memory.
    void Fill()
    {
        for (std::uint64_t offset = 0; offset < kFileBytes; offset += mBytes.size())
            ReadOurs(offset);
    }
    void Report(benchmark::State& ioState) const
    {
        using benchmark::Counter;
        const double threads = ioState.threads();
        ioState.counters["ours"] = Counter(mOurs / mRequests, Counter::kAvgThreads);
        ioState.counters["peer"] = Counter(mPeer / mRequests, Counter::kAvgThreads);
        ioState.counters["ratio"] = Counter(mPeer / mOurs / threads);
    }

private:
    template <class Read>
    static double Time(const Read& inRead, const std::vector<std::uint64_t>& inOffsets)
    {
        const auto start = std::chrono::steady_clock::now();
        for (const std::uint64_t offset : inOffsets)
            inRead(offset);
        return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start)
            .count();
    }
    void ReadOurs(std::uint64_t inOffset)
    {
        std::size_t got = 0;
        if (mFile.ReadAt(inOffset, mBytes.data(), mBytes.size(), got) < 0 || got != mBytes.size())
            throw std::runtime_error("a read failed");
    }
    void ReadPeer(std::uint64_t inOffset)
    {
        if (pread(mDescriptor, mBytes.data(), mBytes.size(), static_cast<off_t>(inOffset)) !=
            static_cast<ssize_t>(mBytes.size()))
            throw std::runtime_error("a read failed");
    }

    std::vector<char> mBytes;
    const int mDescriptor;
    ZOR::File mFile;
    double mOurs = 0;
    double mPeer = 0;
    double mRequests = 0;
};

std::vector<std::uint64_t> FrontToBack(std::size_t inRequestBytes)
{
    std::vector<std::uint64_t> offsets(kFileBytes / inRequestBytes);
    for (std::size_t i = 0; i < offsets.size(); ++i)
        offsets[i] = i * inRequestBytes;
    return offsets;
}

void Random(benchmark::State& ioState)
{
    const auto bytes = static_cast<std::size_t>(ioState.range(0));
    Readers readers(bytes);
    readers.Fill();
    std::mt19937_64 random(1 + static_cast<unsigned>(ioState.thread_index()));
    std::vector<std::uint64_t> offsets(kBatch);
    for (auto _ : ioState)
    {
        for (std::uint64_t& offset : offsets)
            offset = random() % (kFileBytes / bytes) * bytes;
        readers.Run(offsets);
    }
    readers.Report(ioState);
}

void Evicted(benchmark::State& ioState)
{
    const auto bytes = static_cast<std::size_t>(ioState.range(0));
    Readers readers(bytes);
    readers.Fill();
    std::mt19937_64 random(1);
    for (auto _ : ioState)
    {
        readers.Evict();
        readers.Run({random() % (kFileBytes / bytes) * bytes});
    }
    readers.Report(ioState);
}

void Next(benchmark::State& ioState)
{
    const auto bytes = static_cast<std::size_t>(ioState.range(0));
    Readers readers(bytes);
    readers.Fill();
    const std::vector<std::uint64_t> all = FrontToBack(bytes);
    std::size_t next = 0;
    for (auto _ : ioState)
    {
        readers.Run({all.begin() + static_cast<std::ptrdiff_t>(next),
                     all.begin() + static_cast<std::ptrdiff_t>(next + kBatch)});
        next = (next + kBatch) % all.size();
    }
    readers.Report(ioState);
}

void Pass(benchmark::State& ioState)
{
    Readers readers(std::size_t{1} << 20);
    readers.Fill();
    const std::vector<std::uint64_t> all = FrontToBack(std::size_t{1} << 20);
    for (auto _ : ioState)
        readers.Run(all);
    readers.Report(ioState);
}

void Fill(benchmark::State& ioState)
{
    Readers readers(std::size_t{1} << 20);
    const std::vector<std::uint64_t> all = FrontToBack(std::size_t{1} << 20);
    for (auto _ : ioState)
    {
        ioState.PauseTiming();
        RK::MM::Purge(~std::size_t{0}, RK::kPurgeUrgency_Immediate);
        ioState.ResumeTiming();
        readers.Run(all);
    }
    readers.Report(ioState);
}

BENCHMARK(Random)->Arg(4096)->Arg(65536)->Arg(1 << 20)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(Evicted)->Arg(4096)->Arg(65536)->Arg(1 << 20)->UseRealTime();
BENCHMARK(Next)->Arg(4096)->Arg(65536)->Arg(1 << 20)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(Pass)->UseRealTime();
BENCHMARK(Fill)->UseRealTime();

} // namespace
