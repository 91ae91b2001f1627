#pragma once

#include "DataCacheBase.h"

namespace Testing
{

/// A store that holds nothing, for what the base of the stores does.
class EmptyStore : public RK::DataCacheBase
{
public:
    void GetAvailableItems(const CacheKey&, AvailableCachedItemList& outList) const override
    {
        outList.clear();
    }
    bool IsItemAvailable(const CacheKey&, const CacheSubKey&) const override { return false; }
    qelcore::Result GetItem(const CacheKey&, const CacheSubKey&, const GetItemCompletionFunction&,
                            CacheBuffer&) const override
    {
        return RK::kDataCacheResultItemNotFound;
    }
    void PutItem(const CacheKey&, const CacheSubKey&, const CacheBuffer&) override {}
    void TouchItem(const CacheKey&, const CacheSubKey&) const override {}
    void RemoveItem(const CacheKey&, const CacheSubKey&) const override {}
};

} // namespace Testing
