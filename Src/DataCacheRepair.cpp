// Brings the index of the store in a folder in step with what others have deleted.
#include "DataCacheItemName.h"
#include "DataCacheJobs.h"
#include "qelcore/AsyncExecutor.h"
#include "qelcore/File.h"
#include "qelcore/FileUtils.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::UTF16String;
using qelcore::utility::ImmutableString;
using WeakStore = boost::weak_ptr<const DataCacheInFilesystem>;

namespace
{

ImmutableString Interned(std::u16string_view inText)
{
    return ImmutableString::CreateDynamic(inText.data(), inText.size());
}

} // namespace

void NotifyItemsRemoved(const WeakStore& inStore, const UTF16String& inPath)
{
    const boost::shared_ptr<const DataCacheInFilesystem> store = inStore.lock();
    if (!store)
        return;
    const UTF16String name = qelcore::filesupport::File(inPath).GetName();
    const ItemName<char16_t> item = ParseItemName(std::u16string_view(name.data(), name.size()));
    if (!item.subKey.empty())
        return store->RemoveItemFromKeyToSubKeysMap(Interned(item.key), Interned(item.subKey));
    const WeakStore self = store;
    qelcore::threads::GetIOBoundExecutor()->Post([self] { VerifyIndex(self); }, 0);
}

void VerifyIndex(const WeakStore& inStore)
{
    if (const boost::shared_ptr<const DataCacheInFilesystem> store = inStore.lock())
        store->VerifyIndex();
}

void DataCacheInFilesystem::VerifyIndex() const
{
    if (mFolder->mShuttingDown != 0)
        return;
    std::size_t removed = 0;
    for (const auto& entry : mFolder->CopyIndex())
    {
        if (mFolder->mShuttingDown != 0)
            break;
        UTF16String path;
        if (AssembleItemPath(mFolder->mPath, entry.first, entry.second, path) &&
            qelcore::utility::FileUtils::FileExists(path))
            continue;
        RemoveItemFromKeyToSubKeysMap(entry.first, entry.second);
        ++removed;
    }
    RK_TRACE("DataCacheInFilesystem", 5, "VerifyIndex removed " << removed << " entries");
}

} // namespace RK
