#include "qelcore/SmallBlockAllocator.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using qelcore::STLAllocator;
using qelcore::utility::SmallBlockAllocator;

struct Owned
{
    unsigned char* mBytes;
    std::size_t mSize;
    unsigned char mFill;
};

Owned Take(std::size_t inSize, unsigned char inFill)
{
    auto* const bytes = static_cast<unsigned char*>(SmallBlockAllocator::Allocate(inSize));
    std::memset(bytes, inFill, inSize);
    return {bytes, inSize, inFill};
}

/// @return whether nobody else wrote into the block.
bool Give(const Owned& inBlock)
{
    const bool intact = std::all_of(inBlock.mBytes, inBlock.mBytes + inBlock.mSize,
                                    [&](unsigned char byte) { return byte == inBlock.mFill; });
    SmallBlockAllocator::Dispose(inBlock.mBytes, inBlock.mSize);
    return intact;
}

TEST(SmallBlockAllocator, EveryBlockIsAlignedForAnyFundamentalType)
{
    for (std::size_t size = 0; size <= 1100; ++size)
    {
        void* const block = SmallBlockAllocator::Allocate(size);
        EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(block) % alignof(std::max_align_t)) << size;
        SmallBlockAllocator::Dispose(block, size);
    }
}

TEST(SmallBlockAllocator, LiveBlocksNeverOverlapAcrossAnySizes)
{
    std::mt19937 random(7);
    std::vector<Owned> live;
    for (int step = 0; step < 60000; ++step)
    {
        if (live.size() < 2000 || random() % 2 == 0)
            live.push_back(Take(random() % 700, static_cast<unsigned char>(random())));
        else
        {
            std::swap(live[random() % live.size()], live.back());
            ASSERT_TRUE(Give(live.back())) << "step " << step;
            live.pop_back();
        }
    }
    for (const Owned& block : live)
        ASSERT_TRUE(Give(block));
}

TEST(SmallBlockAllocator, DisposingOfNullDoesNothing)
{
    SmallBlockAllocator::Dispose(nullptr, 16);
    SmallBlockAllocator::Dispose(nullptr, 5000);

    const Owned block = Take(16, 1);
    EXPECT_NE(nullptr, block.mBytes);
    EXPECT_TRUE(Give(block));
}

TEST(SmallBlockAllocator, AnImpossibleSizeThrowsBadAlloc)
{
    EXPECT_THROW(STLAllocator<std::uint64_t>().allocate(~std::size_t{0} / 4), std::bad_alloc);
}

TEST(SmallBlockAllocator, ContainersAndStringsWorkOnIt)
{
    using Text = std::basic_string<char, std::char_traits<char>, STLAllocator<char>>;
    std::map<int, Text, std::less<>, STLAllocator<std::pair<const int, Text>>> texts;
    for (int i = 0; i < 5000; ++i)
        texts.emplace(i, Text(static_cast<std::size_t>(i % 900), 'x'));

    for (int i = 0; i < 5000; i += 2)
        texts.erase(i);

    EXPECT_EQ(2500u, texts.size());
    EXPECT_EQ(Text(899, 'x'), texts.at(4499));
}

TEST(SmallBlockAllocator, OverAlignedTypesGetTheirAlignment)
{
    struct alignas(64) Line
    {
        char mBytes[64];
    };
    std::vector<Line, STLAllocator<Line>> lines(3);

    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(lines.data()) % 64);
}

TEST(SmallBlockAllocator, BlocksOfAThreadThatEndedServeOtherThreads)
{
    std::vector<Owned> blocks;
    std::thread(
        [&]
        {
            for (int i = 0; i < 1000; ++i)
                blocks.push_back(Take(48, static_cast<unsigned char>(i)));
        })
        .join();

    for (const Owned& block : blocks)
        EXPECT_TRUE(Give(block));
}

// A thread_local that goes after the allocator's own, because it was made before it.
struct LatePartOfThread
{
    ~LatePartOfThread()
    {
        SmallBlockAllocator::Dispose(mKept, 32);
        const Owned block = Take(32, 0x5a);
        *mIntact = Give(block);
    }
    void* mKept = nullptr;
    bool* mIntact = nullptr;
};

TEST(SmallBlockAllocator, WorksInAThreadThatIsPastItsOwnEnd)
{
    bool intact = false;
    std::thread(
        [&]
        {
            static thread_local LatePartOfThread tLate;
            tLate.mIntact = &intact;
            tLate.mKept = SmallBlockAllocator::Allocate(32);
        })
        .join();

    EXPECT_TRUE(intact);
}

struct EarlyAndLate
{
    EarlyAndLate() { mText.assign(100, 'e'); }
    ~EarlyAndLate()
    {
        if (mText != Text(100, 'e'))
            std::abort();
        mText.assign(300, 'l'); // after main()
    }
    using Text = std::basic_string<char, std::char_traits<char>, STLAllocator<char>>;
    Text mText;
};
EarlyAndLate sEarlyAndLate;

TEST(SmallBlockAllocator, ServesStaticsBeforeMain)
{
    EXPECT_EQ(EarlyAndLate::Text(100, 'e'), sEarlyAndLate.mText);
}

} // namespace
