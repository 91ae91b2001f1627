#pragma once

#include <cstddef>
#include <functional>
#include <unordered_set>
#include <utility>

#include "DataCacheIndex.h"

namespace RK
{
namespace DataCacheIndex
{

// The pairs of key and sub key that a store knows, each once, those of one key latest first. A key of a
// hundred thousand sub keys costs no more for each of them than a key of one: the map holds the order,
// and a table beside it says whether a pair is in it, and where.
//
// Threads  The caller holds the lock that guards it.
class ItemIndex
{
public:
    using Name = qelcore::utility::ImmutableString;

    bool Contains(const Name& inKey, const Name& inSubKey) const
    {
        return mPlaces.find(Pair{inKey, inSubKey}) != mPlaces.end();
    }
    /// A pair that is there keeps its place.
    void Insert(const Name& inKey, const Name& inSubKey)
    {
        if (Contains(inKey, inSubKey))
            return;
        const auto place = mMap.emplace_hint(mMap.lower_bound(inKey), inKey, inSubKey);
        try
        {
            mPlaces.insert(place);
        }
        catch (...)
        {
            mMap.erase(place);
            throw;
        }
    }
    /// @return whether it was there.
    bool Erase(const Name& inKey, const Name& inSubKey)
    {
        const auto found = mPlaces.find(Pair{inKey, inSubKey});
        if (found == mPlaces.end())
            return false;
        const KeyToSubKeysMap::iterator place = *found;
        mPlaces.erase(found);
        mMap.erase(place);
        return true;
    }
    /// All pairs, by key.
    const KeyToSubKeysMap& Map() const noexcept { return mMap; }

private:
    struct Pair
    {
        const Name& key;
        const Name& subKey;
    };
    static Pair PairOf(const Pair& inPair) { return inPair; }
    static Pair PairOf(const KeyToSubKeysMap::iterator& inPlace)
    {
        return {inPlace->first, inPlace->second};
    }
    struct Hash
    {
        using is_transparent = void;
        template <class Item>
        std::size_t operator()(const Item& inItem) const
        {
            // Identities are addresses: the low bits say little, so they are spread.
            const Pair pair = PairOf(inItem);
            const std::size_t mixed = hash_value(pair.key) * 0x9E3779B97F4A7C15u ^
                                      hash_value(pair.subKey) * 0xC2B2AE3D27D4EB4Fu;
            return mixed ^ mixed >> 32;
        }
    };
    struct Equal
    {
        using is_transparent = void;
        template <class A, class B>
        bool operator()(const A& inA, const B& inB) const
        {
            const Pair a = PairOf(inA);
            const Pair b = PairOf(inB);
            return a.key == b.key && a.subKey == b.subKey;
        }
    };
    using Places = std::unordered_set<KeyToSubKeysMap::iterator, Hash, Equal,
                                      qelcore::STLAllocator<KeyToSubKeysMap::iterator>>;

    KeyToSubKeysMap mMap;
    Places mPlaces;
};

} // namespace DataCacheIndex
} // namespace RK
