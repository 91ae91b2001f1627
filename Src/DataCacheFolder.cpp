// What the store in a folder knows of its items, and how it finds out.
#include <memory>

#include "DataCacheInFilesystem.h"
#include "DataCacheItemName.h"
#include "Platform/FileSystem.h"
#include "ZOR/File.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::threads::RecursiveMutex;
using qelcore::utility::FileNameToUTF16;
using qelcore::utility::ImmutableString;

namespace
{

// Nobody writes at one item for so long. Also what the clock of a server may be ahead of ours.
constexpr std::int64_t kLeftOverAfterSeconds = 3600;

ImmutableString WithoutNull(const ImmutableString& inName)
{
    static const ImmutableString sEmpty = ImmutableString::CreateStatic("");
    return inName.IsNull() ? sEmpty : inName;
}

// Files of one key come side by side in many folders, so the last text is kept with its string.
class LastInterned
{
public:
    const ImmutableString& Of(std::string_view inFileNamePart)
    {
        if (mString.IsNull() || mText != inFileNamePart)
        {
            mString = ImmutableString::CreateDynamic(FileNameToUTF16(inFileNamePart));
            mText = inFileNamePart;
        }
        return mString;
    }

private:
    std::string mText;
    ImmutableString mString;
};

/// Folders, and what shares the bit that tells them from files: sockets and block devices.
bool CountsAsFolder(Platform::FileKind inKind)
{
    return inKind == Platform::FileKind::kDirectory || inKind == Platform::FileKind::kSocket ||
           inKind == Platform::FileKind::kBlockDevice;
}

bool IsTemporary(const Platform::DirectoryEntry& inEntry)
{
    return inEntry.name[0] == '.' && inEntry.kind == Platform::FileKind::kFile &&
           ZOR::File::IsTempPath(FileNameToUTF16(inEntry.name));
}

} // namespace

bool DataCacheFolder::Knows(const DataCache::CacheKey& inKey,
                            const DataCache::CacheSubKey& inSubKey)
{
    const ImmutableString subKey = WithoutNull(inSubKey);
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::Knows");
    return mKeyToSubKeys.Contains(inKey, subKey);
}

void DataCacheFolder::Add(const DataCache::CacheKey& inKey, const DataCache::CacheSubKey& inSubKey)
{
    const ImmutableString subKey = WithoutNull(inSubKey);
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::Add");
    mKeyToSubKeys.Insert(inKey, subKey);
}

bool DataCacheFolder::Forget(const DataCache::CacheKey& inKey,
                             const DataCache::CacheSubKey& inSubKey)
{
    const ImmutableString subKey = WithoutNull(inSubKey);
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::Forget");
    return mKeyToSubKeys.Erase(inKey, subKey);
}

void DataCacheFolder::List(const DataCache::CacheKey& inKey,
                           DataCache::AvailableCachedItemList& outSubKeys)
{
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::List");
    const auto range = mKeyToSubKeys.Map().equal_range(inKey);
    for (auto entry = range.first; entry != range.second; ++entry)
        outSubKeys.push_back(entry->second);
}

std::size_t DataCacheFolder::CountItems()
{
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::CountItems");
    return mKeyToSubKeys.Map().size();
}

DataCacheIndex::KeyToSubKeysMap DataCacheFolder::CopyIndex()
{
    RecursiveMutex::ScopedLock lock(mIndexLock, "RK::DataCacheFolder::CopyIndex");
    return mKeyToSubKeys.Map();
}

/// Visits what is directly in the folder, until the store ends. A folder that cannot be read is empty.
template <class Visit>
void DataCacheFolder::WalkFolder(const Visit& inVisit)
{
    std::unique_ptr<Platform::IDirectoryListing> listing;
    if (Platform::FileSystem().List(qelcore::utility::UTF16ToFileName(mPath),
                                    Platform::LinkPolicy::kFollow, listing) != 0)
        return;
    Platform::DirectoryEntry entry;
    bool end = false;
    while (listing->Next(entry, end) == 0 && !end && mShuttingDown == 0)
        inVisit(entry);
}

void DataCacheFolder::ScanDiskForCacheFiles()
{
    if (mShuttingDown != 0)
        return;
    std::vector<std::string> temporaries;
    LastInterned keys;
    LastInterned subKeys;
    WalkFolder(
        [&](const Platform::DirectoryEntry& inEntry)
        {
            if (IsTemporary(inEntry))
                temporaries.push_back(inEntry.name);
            if (inEntry.name[0] == '.' || CountsAsFolder(inEntry.kind))
                return;
            const ItemName<char> item = ParseItemName(std::string_view(inEntry.name));
            if (!item.key.empty())
                Add(keys.Of(item.key), subKeys.Of(item.subKey));
        });
    RK_TRACE("DataCacheInFilesystem", 6, "Found " << CountItems() << " cache files @ " << mPath);
    RemoveStale(temporaries);
}

void DataCacheFolder::RemoveLeftOvers()
{
    std::vector<std::string> temporaries;
    WalkFolder(
        [&](const Platform::DirectoryEntry& inEntry)
        {
            if (IsTemporary(inEntry))
                temporaries.push_back(inEntry.name);
        });
    RemoveStale(temporaries);
}

/// Those that nobody has written to for so long that their writer is no more.
void DataCacheFolder::RemoveStale(const std::vector<std::string>& inTemporaries)
{
    Platform::IFileSystem& files = Platform::FileSystem();
    const std::string folder = qelcore::utility::UTF16ToFileName(mPath) + "/";
    for (const std::string& name : inTemporaries)
    {
        Platform::FileStatus status;
        if (mShuttingDown == 0 &&
            files.Stat(folder + name, Platform::LinkPolicy::kDoNotFollow, status) == 0 &&
            status.kind == Platform::FileKind::kFile &&
            status.modified.seconds < files.Now().seconds - kLeftOverAfterSeconds)
            files.RemoveFile(folder + name);
    }
}

} // namespace RK
