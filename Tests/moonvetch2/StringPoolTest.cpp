#include <algorithm>
#include <cstdio>
#include <random>

#include "HostInternals.h"
#include "MVStrngs.h"

namespace
{

using ::testing::ElementsAre;
using Testing::HostProcsFixture;

struct StringPool : HostProcsFixture
{
    void SetUp() override
    {
        HostProcsFixture::SetUp();
        ASSERT_EQ(kMVNoError, MVAllocateStringPool(&mPool));
    }
    void TearDown() override
    {
        app.allocationsLeft = -1;
        EXPECT_EQ(kMVNoError, MVFreeStringPool(mPool));
        EXPECT_EQ(0, numBlocks);
        HostProcsFixture::TearDown();
    }

    MVWString Make(const std::string& inText)
    {
        MVWString string = nullptr;
        EXPECT_EQ(kMVNoError, MVMakeWString(mPool, inText.c_str(), &string));
        return string;
    }
    /// Of four digits, so that texts are ordered as numbers are.
    static std::string Numbered(int inNumber)
    {
        char text[16];
        std::snprintf(text, sizeof text, "%04d", inNumber);
        return text;
    }
    std::vector<std::uint32_t> SortBlockCounts() const
    {
        std::vector<std::uint32_t> counts;
        for (const SortBlock* block = mPool->firstSortBlock; block != nullptr; block = block->next)
            counts.push_back(block->count);
        EXPECT_EQ(mPool->sortBlockCount, counts.size());
        return counts;
    }
    std::vector<std::string> Sorted() const
    {
        std::vector<std::string> strings;
        for (const SortBlock* block = mPool->firstSortBlock; block != nullptr; block = block->next)
            strings.insert(strings.end(), block->entries, block->entries + block->count);
        return strings;
    }

    MVStringPool* mPool = nullptr;
};

TEST_F(StringPool, GivesOnePointerForOneText)
{
    const MVWString abc = Make("abc");

    EXPECT_STREQ("abc", abc);
    EXPECT_EQ(abc, Make(std::string("ab") + "c"));
    EXPECT_NE(abc, Make("abd"));
    EXPECT_EQ(2u, mPool->count);
}

TEST_F(StringPool, TakesAPointerIntoItselfForInternedWhateverItPointsTo)
{
    const MVWString abc = Make("abc");
    const MVWString bc = Make("bc");
    MVWString again = nullptr;

    MVMakeWString(mPool, abc, &again);
    EXPECT_EQ(abc, again);
    MVMakeWString(mPool, abc + 1, &again);
    EXPECT_EQ(abc + 1, again); // although "bc" is another pointer
    EXPECT_NE(bc, again);
}

TEST_F(StringPool, TakesTheEmptyString)
{
    const MVWString empty = Make("");

    EXPECT_STREQ("", empty);
    EXPECT_EQ(empty, Make(""));
}

TEST_F(StringPool, GivesNullForNullWithoutAnError)
{
    MVWString string = "something";

    EXPECT_EQ(kMVNoError, MVMakeWString(mPool, nullptr, &string));
    EXPECT_EQ(nullptr, string);
    EXPECT_EQ(kMVBadParameterError, MVMakeWString(mPool, "abc", nullptr));
}

TEST_F(StringPool, Of251StringsHasTwoSortBlocksAndFindsThemAll)
{
    std::vector<MVWString> strings;
    for (int i = 0; i < 251; ++i)
        strings.push_back(Make(Numbered(i)));

    EXPECT_THAT(SortBlockCounts(), ElementsAre(250u, 1u));
    for (int i = 0; i < 251; ++i)
        EXPECT_EQ(strings[static_cast<std::size_t>(i)], Make(Numbered(i))) << i;
    EXPECT_EQ(251u, mPool->count);
}

TEST_F(StringPool, SpillsOneEntryToANewBlockWhenAStringComesToTheFrontOfAFullOne)
{
    for (int i = 1; i <= 250; ++i)
        Make(Numbered(i));
    ASSERT_THAT(SortBlockCounts(), ElementsAre(250u));

    Make(Numbered(0));

    EXPECT_THAT(SortBlockCounts(), ElementsAre(250u, 1u));
    EXPECT_STREQ("0000", mPool->firstSortBlock->entries[0]);
    EXPECT_STREQ("0250", mPool->firstSortBlock->next->entries[0]);
}

TEST_F(StringPool, SpillsThroughAllFullBlocks)
{
    for (int i = 1; i <= 1000; ++i)
        Make(Numbered(i));
    ASSERT_THAT(SortBlockCounts(), ElementsAre(250u, 250u, 250u, 250u));

    Make(Numbered(0));

    EXPECT_THAT(SortBlockCounts(), ElementsAre(250u, 250u, 250u, 250u, 1u));
    const std::vector<std::string> sorted = Sorted();
    EXPECT_TRUE(std::is_sorted(sorted.begin(), sorted.end()));
}

TEST_F(StringPool, StaysSortedAndFindsEverythingWhateverTheOrder)
{
    std::mt19937 random(7);
    std::map<std::string, MVWString> made;
    for (int i = 0; i < 5000; ++i)
    {
        const std::string text = Numbered(static_cast<int>(random() % 3000));
        const MVWString string = Make(text);
        const auto [known, isNew] = made.emplace(text, string);
        ASSERT_EQ(known->second, string) << text;
    }

    std::vector<std::string> expected;
    for (const auto& [text, string] : made)
        expected.push_back(text);
    EXPECT_EQ(expected, Sorted());
    EXPECT_EQ(made.size(), mPool->count);
}

TEST_F(StringPool, OrdersBytesWithoutASign)
{
    Make("\xC3\xA4");
    Make("z");
    EXPECT_THAT(Sorted(), ElementsAre("z", "\xC3\xA4"));
}

TEST_F(StringPool, FillsItsHeapInBlocksOf30000Bytes)
{
    const MVWString first = Make(std::string(20000, 'a'));
    Make(std::string(25000, 'b')); // in a second block, which comes first from then on
    const MVWString third = Make(std::string(9000, 'c'));

    EXPECT_EQ(2u, mPool->heap->count);
    EXPECT_EQ(first + 20001, third); // where the older one still has room
}

TEST_F(StringPool, TakesAStringThatFillsABlock)
{
    const MVWString string = Make(std::string(29999, 'x'));

    ASSERT_NE(nullptr, string);
    EXPECT_EQ(string, Make(std::string(29999, 'x')));
    EXPECT_EQ(0u, mPool->heap->head->bytesLeft);
}

TEST_F(StringPool, RefusesAStringThatNoBlockHoldsAndSaysSo)
{
    const std::string tooLong(30000, 'x');
    MVWString string = "something";

    EXPECT_EQ(kMVOutOfMemoryError, MVMakeWString(mPool, tooLong.c_str(), &string));

    EXPECT_EQ(nullptr, string);
    EXPECT_THAT(app.thrown, ElementsAre(kMVOutOfMemoryError));
    EXPECT_THAT(app.asserted,
                ElementsAre("a string pool holds no string of more than 30000 bytes"));
    EXPECT_EQ(0u, mPool->heap->count);
}

TEST_F(StringPool, IsAsItWasWhenMemoryRunsOutAtWhicheverStep)
{
    for (int i = 1; i <= 250; ++i)
        Make(Numbered(i));
    const std::vector<std::string> before = Sorted();
    MVWString string = "something";

    app.allocationsLeft = 0; // for a second sort block
    EXPECT_EQ(kMVOutOfMemoryError, MVMakeWString(mPool, "0000", &string));
    EXPECT_EQ(nullptr, string);
    app.allocationsLeft = 0; // for a second heap block
    EXPECT_EQ(kMVOutOfMemoryError, MVMakeWString(mPool, std::string(29999, 'x').c_str(), &string));

    EXPECT_EQ(before, Sorted());
    app.allocationsLeft = -1;
    EXPECT_STREQ("0000", Make("0000"));
    EXPECT_EQ(251u, mPool->count);
}

TEST_F(StringPool, ThatCannotBeMadeWholeIsNotMade)
{
    for (const int allocations : {0, 1})
    {
        const std::int32_t blocks = numBlocks;
        app.allocationsLeft = allocations;
        MVStringPool* pool = mPool;

        EXPECT_EQ(kMVOutOfMemoryError, MVAllocateStringPool(&pool));

        EXPECT_EQ(nullptr, pool);
        EXPECT_EQ(blocks, numBlocks);
    }
}

TEST_F(StringPool, OfTheHostIsMeantByNull)
{
    gMVStrings = mPool;
    MVWString string = nullptr;

    EXPECT_EQ(kMVNoError, MVMakeWString(nullptr, "abc", &string));

    EXPECT_EQ(string, Make("abc"));
    gMVStrings = nullptr;
}

TEST_F(StringPool, IsNeededForAString)
{
    MVWString string = "something";

    EXPECT_EQ(kMVBadParameterError, MVMakeWString(nullptr, "abc", &string));
    EXPECT_EQ(nullptr, string);
    EXPECT_EQ(kMVBadParameterError, MVFreeStringPool(nullptr));
}

TEST_F(StringPool, OfTheHostIsForgottenWhenItIsFreed)
{
    MVStringPool* pool = nullptr;
    MVAllocateStringPool(&pool);
    gMVStrings = pool;

    EXPECT_EQ(kMVNoError, MVFreeStringPool(nullptr));

    EXPECT_EQ(nullptr, gMVStrings);
}

TEST_F(StringPool, IsMadeFilledAndFreedByTheProceduresOfTheTable)
{
    static MVStringPool* sAsked = nullptr;
    static int sPool;
    auto* theirs = reinterpret_cast<MVStringPool*>(&sPool);
    app.procs.allocateStringPool = [](MVStringPool** out)
    {
        *out = reinterpret_cast<MVStringPool*>(&sPool);
        return MVResult{kMVNoError};
    };
    app.procs.makeWString = [](MVStringPool* inPool, const char*, MVWString* out)
    {
        sAsked = inPool;
        *out = "theirs";
        return inPool != nullptr ? MVResult{kMVNoError} : MVResult{kMVPathError};
    };
    app.procs.freeStringPool = [](MVStringPool*) { return MVResult{kMVPathError}; };

    MVStringPool* pool = nullptr;
    EXPECT_EQ(kMVNoError, MVAllocateStringPool(&pool));
    EXPECT_EQ(theirs, pool);
    MVWString string = nullptr;
    EXPECT_EQ(kMVNoError, MVMakeWString(pool, "abc", &string));
    EXPECT_EQ(theirs, sAsked);
    EXPECT_STREQ("theirs", string);
    EXPECT_EQ(kMVPathError, MVMakeWString(nullptr, "abc", &string)); // an error leaves null
    EXPECT_EQ(nullptr, string);
    EXPECT_EQ(kMVPathError, MVFreeStringPool(pool));

    app.procs.freeStringPool = defaultFreeStringPool;
}

} // namespace
