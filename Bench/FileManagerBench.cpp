// What a reader pays for telling the file manager that it has opened or closed a file.
//
// Manager     the library's: an ordered map of owners and numbers, weak references, two limits.
// OneMap      a hash map of pointers and numbers behind one mutex, and one limit: no owner is asked
//             for anything, and none may die.
// OpenClose   what the system takes for the opening and closing itself, to see the rest against.
//
// SteadyPurge is the other end: at the soft limit each second file that is opened has one purge
// look at all that are registered. One item is one file opened and another closed for it; the
// argument is the limit.
//
// Otherwise one item is one file opened and closed again, while 90 others are registered: below the
// limits. Items per second are wall-clock, all threads together.
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include "RKFileManager.h"
#include "RKInitializer.h"
#include "ZOR/WeakReference.h"

namespace
{

constexpr std::uint32_t kOthers = 90;

class BenchOwner : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
{
public:
    qelcore::Result CloseOpenFile(std::uint32_t) override { return -1; }
    std::uint64_t GetOpenFilePriority(std::uint32_t inFileID) override { return inFileID; }
};

qelcore::UTF16String Path()
{
    return u"/media/project/clips/take 0012 camera a.mov";
}

class Manager
{
public:
    Manager()
        : mOwner(new BenchOwner)
    {
        for (std::uint32_t file = 0; file < kOthers; ++file)
            Open(file);
    }
    void Open(std::uint32_t inFileID)
    {
        RK::FileManager::RegisterOpenFile(mOwner, mPath, inFileID, 1);
    }
    void Close(std::uint32_t inFileID) { RK::FileManager::UnregisterOpenFile(mOwner, inFileID); }

private:
    RK::Initializer mInitializer;
    RK::IOpenFileOwnerRef mOwner;
    const qelcore::UTF16String mPath = Path();
};

class OneMap
{
public:
    OneMap()
    {
        for (std::uint32_t file = 0; file < kOthers; ++file)
            Open(file);
    }
    void Open(std::uint32_t inFileID)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFiles[inFileID] = mPath;
        benchmark::DoNotOptimize(mFiles.size() > 110);
    }
    void Close(std::uint32_t inFileID)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFiles.erase(inFileID);
    }

private:
    std::mutex mMutex;
    std::unordered_map<std::uint32_t, qelcore::UTF16String> mFiles;
    const qelcore::UTF16String mPath = Path();
};

template <class Subject>
void OpenAndClose(benchmark::State& ioState)
{
    static std::unique_ptr<Subject> sSubject;
    if (ioState.thread_index() == 0)
        sSubject = std::make_unique<Subject>();
    const auto file = kOthers + static_cast<std::uint32_t>(ioState.thread_index());
    for (auto _ : ioState)
    {
        sSubject->Open(file);
        sSubject->Close(file);
    }
    ioState.SetItemsProcessed(ioState.iterations());
    if (ioState.thread_index() == 0)
        sSubject.reset();
}

class YieldingOwner : public ZOR::WeakCountedObject<RK::IOpenFileOwner>
{
public:
    qelcore::Result CloseOpenFile(std::uint32_t inFileID) override
    {
        RK::FileManager::UnregisterOpenFile(RK::IOpenFileOwnerRef(this), inFileID);
        return qelcore::kResult_OK;
    }
    std::uint64_t GetOpenFilePriority(std::uint32_t inFileID) override { return inFileID; }
};

void SteadyPurge(benchmark::State& ioState)
{
    const RK::Initializer library;
    const RK::IOpenFileOwnerRef owner(new YieldingOwner);
    const qelcore::UTF16String path = Path();
    const auto limit = static_cast<std::uint32_t>(ioState.range(0));
    RK::FileManager::SetOpenFileLimits(2 * limit, 2 * limit); // purges come from the loop alone
    std::uint32_t file = 0;
    while (file < limit)
        RK::FileManager::RegisterOpenFile(owner, path, ++file, 1);
    for (auto _ : ioState)
    {
        RK::FileManager::RegisterOpenFile(owner, path, ++file, 1);
        if (file % 2 == 0)
            RK::FileManager::FlushOpenFilesToTemporaryLimit(limit);
    }
    ioState.SetItemsProcessed(ioState.iterations());
}

void OpenCloseOfTheSystem(benchmark::State& ioState)
{
    for (auto _ : ioState)
        close(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    ioState.SetItemsProcessed(ioState.iterations());
}

BENCHMARK(OpenAndClose<Manager>)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(OpenAndClose<OneMap>)->ThreadRange(1, 2)->UseRealTime();
BENCHMARK(SteadyPurge)->Arg(100)->Arg(1000)->Arg(8000);
BENCHMARK(OpenCloseOfTheSystem)->ThreadRange(1, 2)->UseRealTime();

} // namespace
