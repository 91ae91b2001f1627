#pragma once

#include <functional>
#include <map>
#include <utility>

#include "qelcore/ImmutableString.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{
namespace DataCacheIndex
{

/// What is known of each key: its sub keys, latest first. Ordered by the keys' identity.
using KeyToSubKeysMap =
    std::multimap<qelcore::utility::ImmutableString, qelcore::utility::ImmutableString,
                  std::less<qelcore::utility::ImmutableString>,
                  qelcore::STLAllocator<std::pair<const qelcore::utility::ImmutableString,
                                                  qelcore::utility::ImmutableString>>>;

/// Adds a pair unless it is there. A new sub key goes ahead of the others of its key. The caller holds
/// the lock that guards the map.
template <class Map>
void InsertWithoutDuplicatePairs(Map& ioMap, const typename Map::key_type& inKey,
                                 const typename Map::mapped_type& inSubKey)
{
    const auto range = ioMap.equal_range(inKey);
    for (auto entry = range.first; entry != range.second; ++entry)
    {
        if (entry->second == inSubKey)
            return;
    }
    ioMap.emplace_hint(range.first, inKey, inSubKey);
}

} // namespace DataCacheIndex
} // namespace RK
