#include "DataCacheWriter.h"

#include <algorithm>
#include <utility>

#include "DataCacheFailures.h"
#include "DataCacheItemName.h"
#include "DataCacheJobs.h"
#include "ZOR/File.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/Contract.h"
#include "qelcore/FileUtils.h"
#include "qelcore/Localizer.h"
#include "qelcore/NumberText.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::Failed;
using qelcore::Result;
using qelcore::UTF16String;
namespace FileUtils = qelcore::utility::FileUtils;

namespace
{

constexpr char kCategory[] = "DataCacheInFilesystem";

// So many files on their way at a time keep a disk busy; more only keep files open.
constexpr std::size_t kMostBegun = 16;
// What a disk takes a good part of a second for: nobody should wait longer for the first to get its name.
constexpr std::size_t kMostBegunBytes = std::size_t{64} << 20;

// Without it, an item that was put in the last half minute before a crash of the machine may be there and
// empty.
constinit qelcore::debug::CachedDatabaseValue<bool>
    sSyncBeforeMove("RK.DataCacheInFilesystem.SyncBeforeMove", true);

void ReportNoRoom()
{
    if (!sFreeSpaceAssertionSilenced)
        qelcore::debug::BreakAfterAssertDialog("freeSpace>inBuffer->Size()",
                                               "Src/DataCacheInFilesystem", __PRETTY_FUNCTION__,
                                               __LINE__);
}

} // namespace

void TraceFileFailure(const qelcore::filesupport::file_exception& inFailure)
{
    UTF16String text = qelcore::config::Localizer::Get().GetText(inFailure.what());
    qelcore::utility::ReplaceInString(text, u"@0", inFailure.FullPath());
    RK_TRACE(kCategory, 5, text);
}

// One item on its way: it counts as queued, and its temporary file goes at its end unless it got its name.
class DataCacheWriter::Item
{
public:
    Item(DataCacheFolder& inFolder, DataCacheWrite& ioWrite)
        : mFolder(inFolder)
        , mKey(ioWrite.mKey)
        , mSubKey(ioWrite.mSubKey)
        , mBuffer(std::move(ioWrite.mBuffer))
        , mSize(mBuffer->Size())
    {
    }
    ~Item()
    {
        mFile.Close();
        if (!mTempPath.empty())
            ZOR::File::Delete(mTempPath);
        LetBufferGo();
        --mFolder.mWritesInQueue;
    }
    Item(const Item&) = delete;
    Item& operator=(const Item&) = delete;

    std::size_t Size() const { return mSize; }
    const UTF16String& Path() const { return mPath; }
    /// @return false for a name that is refused.
    bool AssemblePath() { return AssembleItemPath(mFolder.mPath, mKey, mSubKey, mPath); }

    /// The folder is looked at only where the file cannot be made: it may have been deleted.
    bool CreateTemp()
    {
        Result result = mFile.CreateTemp(mPath, mTempPath);
        if (result == ZOR::kFileResult_NotFound || result == ZOR::kFileResult_NotDirectory)
        {
            FileUtils::EnsureDirectoryExists(mFolder.mPath);
            result = mFile.CreateTemp(mPath, mTempPath);
        }
        return !Failed(result);
    }

    /// Asks the volume through the open file, which takes no thread of its own, as by a path it does.
    bool HasRoom() const
    {
        std::uint64_t freeSpace = 0;
        if (Failed(mFile.GetVolumeFreeSpace(freeSpace)))
            freeSpace = FileUtils::GetVolumeFreeSpace(mFolder.mPath);
        return freeSpace > mSize;
    }

    bool WriteBytes()
    {
        std::size_t written = 0;
        const Result result = mFile.Write(mBuffer->Data(), mSize, written);
        LetBufferGo();
        return !Failed(result);
    }
    /// A failure shows again when the bytes are waited for.
    void BeginSync() { mFile.BeginSyncBytes(); }
    bool Sync() { return !Failed(mFile.SyncBytes()); }

    /// Closes the file and gives it its name, unless another has it: then that is the item.
    void Move()
    {
        if (Failed(mFile.Close()))
            return;
        const Result result = ZOR::File::Move(mTempPath, mPath);
        if (!Failed(result))
            mTempPath.clear();
        if (!Failed(result) || result == ZOR::kFileResult_AlreadyExists)
            mFolder.Add(mKey, mSubKey);
        else
            RK_TRACE(kCategory, 5,
                     "Unexpected error while moving cache file: " << qelcore::debug::Hex(result));
    }

private:
    void LetBufferGo()
    {
        if (!mBuffer)
            return;
        mFolder.mBytesInQueue -= mSize;
        mBuffer.reset();
    }

    DataCacheFolder& mFolder;
    const DataCache::CacheKey mKey;
    const DataCache::CacheSubKey mSubKey;
    DataCache::CacheBuffer mBuffer;
    const std::size_t mSize;
    UTF16String mPath;
    UTF16String mTempPath;
    ZOR::File mFile;
};

DataCacheWriter::DataCacheWriter(DataCacheFolder& inFolder)
    : mFolder(inFolder)
{
}

DataCacheWriter::~DataCacheWriter() = default;

void DataCacheWriter::Write(DataCacheWrite& ioWrite)
{
    try
    {
        auto item = std::make_unique<Item>(mFolder, ioWrite);
        CatchingFileFailures(
            [&]
            {
                if (!Begin(*item))
                    return;
                mBegunBytes += item->Size();
                mBegun.push_back(std::move(item));
            });
    }
    catch (...)
    {
        FinishWhatIsDue();
        throw;
    }
    FinishWhatIsDue();
}

/// @return whether there is now something to finish.
bool DataCacheWriter::Begin(Item& ioItem)
{
    if (!ioItem.AssemblePath())
        return false;
    const auto hasThatName = [&](const std::unique_ptr<Item>& inOther)
    { return inOther->Path() == ioItem.Path(); };
    if (std::any_of(mBegun.begin(), mBegun.end(), hasThatName))
        Finish();
    if (FileUtils::FileExists(ioItem.Path()) || !ioItem.CreateTemp())
        return false;
    if (!ioItem.HasRoom())
    {
        ReportNoRoom();
        return false;
    }
    if (!ioItem.WriteBytes())
        return false;
    if (sSyncBeforeMove.Get())
        ioItem.BeginSync();
    return true;
}

/// All if nobody waits behind them: each queued write that is not begun comes to this again.
void DataCacheWriter::FinishWhatIsDue()
{
    while (mBegun.size() >= kMostBegun || mBegunBytes >= kMostBegunBytes)
        FinishOldest();
    if (!sSyncBeforeMove.Get() || static_cast<std::size_t>(mFolder.mWritesInQueue) <= mBegun.size())
        Finish();
}

void DataCacheWriter::Finish()
{
    while (!mBegun.empty())
        FinishOldest();
}

void DataCacheWriter::FinishOldest()
{
    const std::unique_ptr<Item> item = std::move(mBegun.front());
    mBegun.pop_front();
    mBegunBytes -= item->Size();
    if (!sSyncBeforeMove.Get() || item->Sync())
        item->Move();
}

} // namespace RK
