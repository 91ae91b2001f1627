#include "ImmutableStringTable.h"

#include <algorithm>
#include <bit>
#include <new>
#include <thread>
#include <type_traits>
#include <utility>

#include "qelcore/Mutex.h"
#include "qelcore/SmallBlockAllocator.h"
#include "qelcore/ThreadAnnotations.h"

// Threads     Look-ups of a known string take no lock. Whoever adds or purges holds the shard's mutex.
// Invariants  (1) A slot goes from empty to an entry, and between an entry and the removed mark; never
//                 back to empty. At least half of the slots are empty. So a search ends at the first
//                 empty slot, whatever changes while it runs.
//             (2) A replaced slot table stays as it was when it was replaced. A search in it may miss a
//                 string, and then it is repeated under the mutex, where nothing can be missed.
//             (3) Who has an entry from a slot may read it until it leaves the shard. To keep it, it
//                 must add a holder (Entry::TryHold), which fails for an entry that a purge has taken.
//             (4) A purge takes only entries without holders, and a taken entry has no way back. Adding
//                 the first holder and taking are operations on one atomic, so one of them loses.
//             (5) What was removed from a slot, or replaced, is freed after both counts of readers were
//                 seen at 0, each at some moment after the removal (see Retired).

namespace qelcore
{
namespace utility
{
namespace
{

using threads::Lock;
using threads::Mutex;
using Entry = ImmutableStringTable::Entry;

/// What stands in a slot whose entry was removed; nobody looks into it.
Entry* RemovedMark() noexcept
{
    alignas(Entry) static char sMark[sizeof(Entry)];
    return reinterpret_cast<Entry*>(sMark);
}

bool IsEntry(const Entry* inSlot) noexcept
{
    return inSlot != nullptr && inSlot != RemovedMark();
}

// A power of 2 of slots, searched from the hash on, one after the other.
class SlotTable
{
public:
    using Slot = std::atomic<Entry*>;

    static SlotTable* Create(std::size_t inCapacity)
    {
        SlotTable* const table =
            new (SmallBlockAllocator::Allocate(SizeOf(inCapacity))) SlotTable(inCapacity);
        for (std::size_t i = 0; i < inCapacity; ++i)
            new (table->Slots() + i) Slot(nullptr);
        return table;
    }
    static void Destroy(SlotTable* inTable) noexcept
    {
        SmallBlockAllocator::Dispose(inTable, SizeOf(inTable->mCapacity));
    }

    std::size_t Capacity() const noexcept { return mCapacity; }
    Slot& At(std::size_t inIndex) noexcept { return Slots()[inIndex & (mCapacity - 1)]; }

    /// @return the entry of the text, which may be taken unless the mutex is held; null if none is seen.
    Entry* Find(const InternedText& inText, std::uint64_t inHash) noexcept
    {
        for (std::size_t i = inHash;; ++i)
        {
            // Sequentially consistent, for (5): see Reader.
            Entry* const entry = At(i).load();
            if (!entry)
                return nullptr;
            if (IsEntry(entry) && entry->mHash == inHash && EqualTexts(entry->Text(), inText))
                return entry;
        }
    }

    /// Puts in an entry whose text is not there. @return true if it took the place of a removed one.
    bool Insert(Entry* inEntry) noexcept
    {
        std::size_t i = inEntry->mHash;
        while (IsEntry(At(i).load(std::memory_order_relaxed)))
            ++i;
        const bool reused = At(i).load(std::memory_order_relaxed) != nullptr;
        At(i).store(inEntry, std::memory_order_release); // who misses it looks again, see (2)
        return reused;
    }

    SlotTable* mNextRetired = nullptr; // the mutex holder's

private:
    explicit SlotTable(std::size_t inCapacity) noexcept
        : mCapacity(inCapacity)
    {
    }
    static std::size_t SizeOf(std::size_t inCapacity) noexcept
    {
        return sizeof(SlotTable) + inCapacity * sizeof(Slot);
    }
    Slot* Slots() noexcept { return reinterpret_cast<Slot*>(this + 1); }

    const std::size_t mCapacity;
};

// What nobody can find any more, but somebody may still look at.
class Retired
{
public:
    void Add(Entry* inEntry) noexcept
    {
        inEntry->mNextRetired = mEntries;
        mEntries = inEntry;
    }
    void Add(SlotTable* inTable) noexcept
    {
        inTable->mNextRetired = mTables;
        mTables = inTable;
    }
    bool IsEmpty() const noexcept { return !mEntries && !mTables; }
    /// @return true if there was an entry.
    bool Free() noexcept
    {
        const bool some = mEntries != nullptr;
        while (mEntries)
            Entry::Destroy(std::exchange(mEntries, mEntries->mNextRetired));
        while (mTables)
            SlotTable::Destroy(std::exchange(mTables, mTables->mNextRetired));
        return some;
    }

private:
    Entry* mEntries = nullptr;
    SlotTable* mTables = nullptr;
};

constexpr std::size_t kLeastCapacity = 16;

struct alignas(64) Shard
{
    std::atomic<SlotTable*> mSlots{nullptr};

    // Look-ups that are under way. New ones count in mReaders[mPhase]; the other count only falls, but
    // for those who read mPhase before it last changed. Turning mPhase lets each count reach 0 in its
    // turn, however many look-ups come in.
    std::atomic<unsigned> mPhase{0};
    std::atomic<std::int64_t> mReaders[2]{};

    Mutex mMutex;
    std::size_t mLive RK_GUARDED_BY(mMutex) = 0;    // slots that hold an entry
    std::size_t mRemoved RK_GUARDED_BY(mMutex) = 0; // slots that hold the removed mark
    Retired mRetired RK_GUARDED_BY(mMutex);
};

// The time in which somebody looks at a shard without its mutex. Nothing in it blocks.
class Reader
{
public:
    explicit Reader(Shard& inShard) noexcept
        : mCount(inShard.mReaders[inShard.mPhase.load(std::memory_order_relaxed)])
    {
        // Sequentially consistent, like the loads of slots behind it, and the stores to slots and the
        // loads of this count in a purge: either the purge sees this reader, or this reader sees no
        // slot that the purge has cleared before.
        mCount.fetch_add(1);
    }
    // Release: what was read comes before the freeing by whoever sees the count at 0.
    ~Reader() { mCount.fetch_sub(1, std::memory_order_release); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

private:
    std::atomic<std::int64_t>& mCount;
};

constexpr std::size_t kShardBits = 6;
static_assert(std::is_trivially_destructible_v<Shard>, "strings are interned during exit too");
constinit Shard sShards[std::size_t{1} << kShardBits];

// The top bits of the hash choose the shard, and the low ones the slot.
Shard& ShardOf(std::uint64_t inHash) noexcept
{
    return sShards[inHash >> (64 - kShardBits)];
}

bool IsLeft(const std::atomic<std::int64_t>& inReaders, int inPatience) noexcept
{
    for (; inReaders.load() != 0; --inPatience)
    {
        if (inPatience <= 0)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/// Waits until all who may look at something retired have left.
/// @param inPatience  how often to give the processor away. The wait is bounded, since a reader may have
///                    been stopped for good: by a debugger, or by a fork in another thread.
/// @return true if they have left.
bool HaveReadersLeft(Shard& ioShard, int inPatience) noexcept
{
    const unsigned phase = ioShard.mPhase.load(std::memory_order_relaxed);
    // Stragglers of the phase before this one.
    if (!IsLeft(ioShard.mReaders[1 - phase], inPatience))
        return false;
    ioShard.mPhase.store(1 - phase, std::memory_order_relaxed);
    return IsLeft(ioShard.mReaders[phase], inPatience);
}

/// @return what may be freed now; the caller does so without the lock.
Retired TakeFreeable(Shard& ioShard, int inPatience) noexcept RK_REQUIRES(ioShard.mMutex)
{
    if (ioShard.mRetired.IsEmpty() || !HaveReadersLeft(ioShard, inPatience))
        return Retired();
    return std::exchange(ioShard.mRetired, Retired());
}

/// Moves the entries to a table of the right size for them and inMore others.
void Rebuild(Shard& ioShard, std::size_t inMore) RK_REQUIRES(ioShard.mMutex)
{
    const std::size_t entries = ioShard.mLive + inMore;
    SlotTable* const table =
        SlotTable::Create(std::max(kLeastCapacity, std::bit_ceil(entries * 3)));
    SlotTable* const old = ioShard.mSlots.load(std::memory_order_relaxed);
    for (std::size_t i = 0; old && i < old->Capacity(); ++i)
        if (Entry* const entry = old->At(i).load(std::memory_order_relaxed); IsEntry(entry))
            table->Insert(entry);
    ioShard.mSlots.store(table);
    ioShard.mRemoved = 0;
    if (old)
        ioShard.mRetired.Add(old);
}

void MakeRoomForOne(Shard& ioShard) RK_REQUIRES(ioShard.mMutex)
{
    const SlotTable* const table = ioShard.mSlots.load(std::memory_order_relaxed);
    if (!table || (ioShard.mLive + ioShard.mRemoved + 1) * 2 > table->Capacity())
        Rebuild(ioShard, 1);
}

Entry* FindHeld(Shard& inShard, const InternedText& inText, std::uint64_t inHash) noexcept
{
    SlotTable* const table = inShard.mSlots.load();
    Entry* const entry = table ? table->Find(inText, inHash) : nullptr;
    return entry && entry->TryHold() ? entry : nullptr;
}

Entry* Add(Shard& ioShard, const InternedText& inText, std::uint64_t inHash, bool inIsLiteral)
    RK_REQUIRES(ioShard.mMutex)
{
    MakeRoomForOne(ioShard);
    Entry* const entry = Entry::Create(inText, inHash, inIsLiteral);
    if (ioShard.mSlots.load(std::memory_order_relaxed)->Insert(entry))
        --ioShard.mRemoved;
    ++ioShard.mLive;
    return entry;
}

void RetireUnused(Shard& ioShard) RK_REQUIRES(ioShard.mMutex)
{
    SlotTable* const table = ioShard.mSlots.load(std::memory_order_relaxed);
    for (std::size_t i = 0; i < table->Capacity(); ++i)
    {
        Entry* const entry = table->At(i).load(std::memory_order_relaxed);
        if (!IsEntry(entry) || !entry->TryTake())
            continue;
        table->At(i).store(RemovedMark());
        ioShard.mRetired.Add(entry);
        --ioShard.mLive;
        ++ioShard.mRemoved;
    }
}

void ShrinkIfMostlyEmpty(Shard& ioShard) noexcept RK_REQUIRES(ioShard.mMutex)
{
    const std::size_t capacity = ioShard.mSlots.load(std::memory_order_relaxed)->Capacity();
    if (capacity <= kLeastCapacity || ioShard.mLive * 8 >= capacity)
        return;
    try
    {
        Rebuild(ioShard, 0);
    }
    catch (const std::bad_alloc&)
    {
        // A purge is often asked for because memory ran out. The large table serves on.
    }
}

bool PurgeShard(Shard& ioShard)
{
    constexpr int kPatience = 1000; // a reader that was preempted comes back within a few
    Retired freeable;
    {
        const Lock lock(ioShard.mMutex);
        if (!ioShard.mSlots.load(std::memory_order_relaxed))
            return false;
        RetireUnused(ioShard);
        ShrinkIfMostlyEmpty(ioShard);
        freeable = TakeFreeable(ioShard, kPatience);
    }
    return freeable.Free();
}

} // namespace

ImmutableString ImmutableStringTable::Intern(const InternedText& inText, bool inIsLiteral)
{
    const std::uint64_t hash = HashText(inText);
    Shard& shard = ShardOf(hash);
    {
        const Reader reader(shard);
        if (Entry* const entry = FindHeld(shard, inText, hash))
            return ImmutableString(entry);
    }
    Retired freeable; // a table that was outgrown
    Entry* entry = nullptr;
    {
        const Lock lock(shard.mMutex);
        entry = FindHeld(shard, inText, hash);
        if (!entry)
            entry = Add(shard, inText, hash, inIsLiteral);
        freeable = TakeFreeable(shard, 0);
    }
    freeable.Free();
    return ImmutableString(entry);
}

bool ImmutableStringTable::Purge()
{
    bool freed = false;
    for (Shard& shard : sShards)
        freed = PurgeShard(shard) || freed;
    return freed;
}

} // namespace utility
} // namespace qelcore
