#include "DataCacheJobs.h"

#include <cstring>
#include <new>

#include "DataCacheFailures.h"
#include "DataCacheItemName.h"
#include "ZOR/File.h"
#include "qelcore/Contract.h"
#include "qelcore/FileUtils.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::Failed;
using qelcore::Result;
using qelcore::UTF16String;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;
namespace FileUtils = qelcore::utility::FileUtils;

namespace
{

constexpr char kCategory[] = "DataCacheInFilesystem";
constexpr char kSourcePath[] = "Src/DataCacheInFilesystem";

using StorePtr = boost::shared_ptr<const DataCacheInFilesystem>;

template <class Request>
bool AssemblePath(const StorePtr& inStore, const Request& inRequest, UTF16String& outPath)
{
    return AssembleItemPath(inStore->Folder().mPath, inRequest.mKey, inRequest.mSubKey, outPath);
}

// Reading.

struct Completion
{
    boost::shared_ptr<DataCacheRead> mRead;
    void operator()() const
    {
        mRead->mCompletion(mRead->mResult, mRead->mKey, mRead->mSubKey, mRead->mBuffer);
    }
};

/// A block for the whole units that a file takes. @return null if there is no memory.
RecycledMemoryPtr AllocateReadBuffer(std::size_t inBytes)
try
{
    return RecycledMemory::Create(inBytes);
}
catch (const std::bad_alloc&)
{
    qelcore::debug::BreakAfterAssertDialog("readBuffer->Size() >= bufferAlignedSize", kSourcePath,
                                           __PRETTY_FUNCTION__, __LINE__);
    return nullptr;
}

/// The first inSize bytes: a copy where they are less than half of the block, which would be kept for
/// their sake.
RecycledMemoryPtr Trimmed(const RecycledMemoryPtr& inBlock, std::size_t inSize)
{
    if (inSize >= inBlock->Size() - inSize)
        return RecycledMemory::AdaptAsRecycledMemory(inBlock, inBlock->Data(), inSize);
    const RecycledMemoryPtr copy = RecycledMemory::Create(inSize);
    std::memcpy(copy->Data(), inBlock->Data(), inSize);
    return copy;
}

/// Whether a file of that size can be an item; traced if not.
bool IsReadable(const UTF16String& inPath, Result inMeasured, std::uint64_t inSize)
{
    if (!Failed(inMeasured) && inSize != 0 && inSize < kTooLargeForDataCache)
        return true;
    RK_TRACE(kCategory, 5,
             "Can't open " << inPath << " (size: " << inSize
                           << " result:" << qelcore::debug::Hex(inMeasured) << ")");
    return false;
}

/// Reads an open item, and queues its completion whether or not that succeeded.
/// @return whether the read came to an end that is told.
bool ReadOpenItem(const StorePtr& inStore, const boost::shared_ptr<DataCacheRead>& inRead,
                  ZOR::File& ioFile, std::size_t inSize, std::uint32_t inUnit)
{
    const std::size_t bufferAlignedSize = (inSize + inUnit - 1) / inUnit * inUnit;
    const RecycledMemoryPtr readBuffer = AllocateReadBuffer(bufferAlignedSize);
    if (!readBuffer)
        return false;
    inStore->Folder().Add(inRead->mKey, inRead->mSubKey);
    std::size_t bytesRead = 0;
    inRead->mResult = ioFile.ReadAtLeast(readBuffer->Data(), inSize, bufferAlignedSize, bytesRead);
    ioFile.Close();
    inRead->mBuffer = Trimmed(readBuffer, inSize);
    const Completion completion{inRead};
    if (!inStore->PostCompletion(completion))
        completion();
    return true;
}

/// Reads an item. An open file knows its size, and stays what it is whoever takes its name: so it is
/// opened first, and asked for by name only where that fails.
/// @param outResult  what the read ended with, if it is to be told.
/// @return false if nobody is told: the file is empty, or too large, or there is no memory for it.
bool ReadItem(const StorePtr& inStore, const boost::shared_ptr<DataCacheRead>& inRead,
              Result& outResult)
{
    const UTF16String& path = inRead->mPath;
    ZOR::File file;
    const Result opened = file.Create(
        path, ZOR::kFileAccess_Read, ZOR::kFileShareMode_Read, ZOR::kFileCreate_OpenExisting,
        ZOR::kFileAttributes_Sequential | ZOR::kFileAttributes_NoWait, false);
    std::uint64_t size = 0;
    const Result measured = Failed(opened) ? ZOR::File::SizeOnDisk(path, size) : file.GetSize(size);
    if (!IsReadable(path, measured, size))
    {
        outResult = measured;
        return Failed(measured);
    }
    std::uint32_t unit = 0;
    outResult = inStore->GetTransferUnit(path, unit);
    if (!Failed(outResult))
        outResult = opened;
    if (Failed(outResult))
        return true;
    if (!ReadOpenItem(inStore, inRead, file, static_cast<std::size_t>(size), unit))
        return false;
    outResult = inRead->mResult;
    return true;
}

} // namespace

void AsyncRead(const boost::shared_ptr<DataCacheRead>& inRead)
{
    Result result = kResultFailed;
    if (const StorePtr store = inRead->mStore.lock())
    {
        if (inRead->mPath.empty())
            AssemblePath(store, *inRead, inRead->mPath);
        if (!ReadItem(store, inRead, result) || !Failed(result))
            return;
        store->RemoveItemFromKeyToSubKeysMap(inRead->mKey, inRead->mSubKey);
    }
    inRead->mCompletion(result, inRead->mKey, inRead->mSubKey, DataCache::CacheBuffer());
}

void AsyncWrite(const boost::shared_ptr<DataCacheWrite>& inWrite)
{
    if (const StorePtr store = inWrite->mStore.lock())
        store->Writer().Write(*inWrite);
}

void AsyncTouch(const boost::shared_ptr<DataCacheWrite>& inTouch)
{
    const StorePtr store = inTouch->mStore.lock();
    UTF16String path;
    if (!store || !AssemblePath(store, *inTouch, path))
        return;
    store->Writer().Finish();
    CatchingFileFailures(
        [&]
        {
            if (!FileUtils::FileExists(path))
                return store->RemoveItemFromKeyToSubKeysMap(inTouch->mKey, inTouch->mSubKey);
            FileUtils::UpdateFileAccessedTime(path);
            store->Folder().Add(inTouch->mKey, inTouch->mSubKey);
        });
}

void AsyncRemove(const boost::shared_ptr<DataCacheWrite>& inRemoval)
{
    const StorePtr store = inRemoval->mStore.lock();
    UTF16String path;
    if (!store || !AssemblePath(store, *inRemoval, path))
        return;
    store->Writer().Finish();
    store->RemoveItemFromKeyToSubKeysMap(inRemoval->mKey, inRemoval->mSubKey);
    if (FileUtils::FileExists(path))
        FileUtils::RemoveFile(path);
}

} // namespace RK
