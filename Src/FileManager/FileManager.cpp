#include "FileManager/FileManager.h"

#include <algorithm>

#include <boost/make_shared.hpp>

#include "Platform/ProcessLimits.h"
#include "qelcore/Contract.h"
#include "qelcore/Mutex.h"

namespace RK
{

namespace
{

using Details::RunningFileManager;
using qelcore::threads::Lock;

constexpr char kSourcePath[] = "Src/FileManager/FileManager";
constexpr std::uint32_t kDefaultSoftLimit = 100;
constexpr std::uint32_t kDefaultHardLimit = 110;

// A purge looks at every registered file, and at the limit each second opening makes one: beyond
// this that takes longer than many a reopening (Bench/FileManagerBench.cpp).
constexpr std::uint64_t kLargestSuggestedLimit = 2048;
constexpr std::uint64_t kShareOfDescriptorsToCome = 4;
constexpr std::uint32_t kSoftMargin = kDefaultHardLimit - kDefaultSoftLimit;

using FileManagerImplPtr = boost::shared_ptr<FileManagerImpl>;

// A pointer that exit leaves as it is, since files may be registered then too.
union KeptAtExit
{
    constexpr KeptAtExit() noexcept
        : mPointer()
    {
    }
    ~KeptAtExit() {}
    FileManagerImplPtr mPointer;
};

constinit qelcore::threads::Mutex sFileManagerMutex; // a leaf
constinit KeptAtExit sFileManager RK_GUARDED_BY(sFileManagerMutex);

FileManagerImplPtr ExchangeRunning(FileManagerImplPtr inManager)
{
    Lock lock(sFileManagerMutex);
    sFileManager.mPointer.swap(inManager);
    return inManager;
}

} // namespace

// Whoever is at work shares the manager until he is through, whatever Shutdown does meanwhile.
FileManagerImplPtr Details::RunningFileManager()
{
    Lock lock(sFileManagerMutex);
    return sFileManager.mPointer;
}

IOpenFileOwner::~IOpenFileOwner() = default;

const qelcore::utility::Guid& GuidOf(IOpenFileOwner*)
{
    static constexpr qelcore::utility::Guid sGuid(0x7D0E92A6, 0x3B58, 0x4C1F, 0x86, 0xA3, 0xF1,
                                                  0x4D, 0x70, 0x2C, 0xE5, 0x9B);
    return sGuid;
}

void FileManager::Startup()
{
    RK_REQUIRE_CONTRACT(!RunningFileManager(), "sFileManager == NULL", kSourcePath);
    const auto manager =
        boost::make_shared<FileManagerImpl>(qelcore::threads::CreateIOBoundExecutor());
    manager->SetOpenFileLimits(kDefaultSoftLimit, kDefaultHardLimit);
    ExchangeRunning(manager);
}

void FileManager::Shutdown()
{
    const FileManagerImplPtr manager = ExchangeRunning(nullptr);
    RK_REQUIRE_CONTRACT(manager, "sFileManager != NULL", kSourcePath);
    manager->StopLazyPurges();
}

void FileManager::SetDefaultOpenFileLimits()
{
    SetOpenFileLimits(kDefaultSoftLimit, kDefaultHardLimit);
}

void FileManager::SetOpenFileLimits(std::uint32_t inSoft, std::uint32_t inHard)
{
    if (const FileManagerImplPtr manager = RunningFileManager())
        manager->SetOpenFileLimits(inSoft, std::max(inSoft, inHard));
}

void FileManager::GetOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard)
{
    outSoft = 0;
    outHard = 0;
    if (const FileManagerImplPtr manager = RunningFileManager())
        manager->GetOpenFileLimits(outSoft, outHard);
}

void FileManager::GetSuggestedOpenFileLimits(std::uint32_t& outSoft, std::uint32_t& outHard)
{
    const FileManagerImplPtr manager = RunningFileManager();
    const std::uint64_t open = Platform::OpenDescriptorCount();
    const std::uint64_t registered = manager ? manager->GetOpenCount() : 0;
    const Details::OpenFileLimits limits = Details::SuggestOpenFileLimits(
        Platform::MaxDescriptorCount(), open - std::min(open, registered));
    outSoft = limits.soft;
    outHard = limits.hard;
}

bool FileManager::FlushOpenFilesToTemporaryLimit(std::uint32_t inLimit)
{
    const FileManagerImplPtr manager = RunningFileManager();
    return manager && manager->PurgeToLimit(inLimit);
}

void FileManager::RegisterOpenFile(const IOpenFileOwnerRef& inFileOwner,
                                   const qelcore::UTF16String& inPath, std::uint32_t inFileID,
                                   std::uint32_t inCount)
{
    RK_REQUIRE_CONTRACT(inFileOwner, "inFileOwner", kSourcePath);
    if (const FileManagerImplPtr manager = RunningFileManager())
        manager->RegisterOpenFile(inFileOwner, inPath, inFileID, inCount);
}

void FileManager::UnregisterOpenFile(const IOpenFileOwnerRef& inFileOwner, std::uint32_t inFileID)
{
    if (const FileManagerImplPtr manager = RunningFileManager())
        manager->UnregisterOpenFile(inFileOwner, inFileID);
}

qelcore::Result FileManager::TryToCloseFileWithoutBlocking(const qelcore::UTF16String& inPath)
{
    const FileManagerImplPtr manager = RunningFileManager();
    return manager ? manager->TryToCloseFileWithoutBlocking(inPath)
                   : qelcore::kResult_GeneralFailure;
}

void FileManager::LazyPurge()
{
    if (const FileManagerImplPtr manager = RunningFileManager())
        manager->EnforceLimits(true);
}

Details::OpenFileLimits Details::SuggestOpenFileLimits(std::uint64_t inProcessLimit,
                                                       std::uint64_t inOthers) noexcept
{
    const std::uint64_t left = inProcessLimit - std::min(inProcessLimit, inOthers);
    const std::uint64_t own = left - left / kShareOfDescriptorsToCome;
    const auto hard =
        static_cast<std::uint32_t>(std::clamp(own, std::uint64_t{1}, kLargestSuggestedLimit));
    return {hard - std::min(kSoftMargin, hard / 2), hard};
}

} // namespace RK
