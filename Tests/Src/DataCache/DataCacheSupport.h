#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "RiverKit/RKDataCache.h"

namespace Testing
{

using RK::DataCache;
using Name = qelcore::utility::ImmutableString;

inline Name N(const std::string& inText)
{
    return Name::CreateDynamic(inText.c_str());
}

inline DataCache::CacheBuffer BufferOf(const std::string& inText)
{
    const auto memory = qelcore::utility::RecycledMemory::Create(inText.size());
    std::memcpy(memory->Data(), inText.data(), inText.size());
    return memory;
}

inline std::string TextOf(const DataCache::CacheBuffer& inBuffer)
{
    return inBuffer ? std::string(static_cast<const char*>(inBuffer->Data()), inBuffer->Size())
                    : "(null)";
}

/// The sub keys that a store lists, as texts, in its order.
inline std::vector<std::string> Listed(const DataCache& inCache, const Name& inKey)
{
    DataCache::AvailableCachedItemList list;
    inCache.GetAvailableItems(inKey, list);
    std::vector<std::string> names;
    for (const Name& name : list)
    {
        const qelcore::UTF16String text = name.ToString();
        names.emplace_back(text.begin(), text.end());
    }
    return names;
}

} // namespace Testing
