#include <cstring>

#include "HostInternals.h"

namespace
{

using Testing::Application;
using ::testing::ElementsAre;
using Testing::HostProcsFixture;

constexpr std::size_t kHeader = 28;

struct Blocks : HostProcsFixture
{
    void* Allocate(std::size_t inSize, const char* inDebug = "a block")
    {
        void* block = nullptr;
        EXPECT_EQ(kMVNoError, MVAllocateBlock(inSize, inDebug, &block));
        return block;
    }
    void* Reallocate(void* inBlock, std::size_t inSize, const char* inDebug = "another")
    {
        void* block = nullptr;
        EXPECT_EQ(kMVNoError, MVReallocateBlock(inBlock, inSize, inDebug, &block));
        return block;
    }
    std::vector<std::size_t> Sizes() const
    {
        std::vector<std::size_t> sizes;
        for (const auto& [block, size] : app.blocks)
            sizes.push_back(size);
        return sizes;
    }
};

struct DebuggedBlocks : Blocks
{
    void SetUp() override
    {
        Blocks::SetUp();
        ASSERT_EQ(kMVNoError, MVSetBlockDebugEnabled(1));
    }
    /// The texts of the list, from its head.
    std::vector<std::string> Listed() const
    {
        std::vector<std::string> texts;
        void* block = nullptr;
        EXPECT_EQ(kMVNoError, MVGetFirstBlock(&block));
        while (block != nullptr)
        {
            const char* text = nullptr;
            EXPECT_EQ(kMVNoError, MVGetBlockDebug(block, &text));
            texts.emplace_back(text);
            EXPECT_EQ(kMVNoError, MVGetNextBlock(block, &block));
        }
        return texts;
    }
};

TEST_F(Blocks, OfPluginsAndOfTheHostComeFromTheirOwnProcedures)
{
    void* own = nullptr;
    ASSERT_EQ(kMVNoError, mvIntAllocateBlock(40, "an MVAccess", &own));
    void* block = Allocate(24);

    EXPECT_EQ(1u, app.internalBlocks.count(own));
    EXPECT_THAT(Sizes(), ElementsAre(24u));
    EXPECT_EQ(2, numBlocks);

    EXPECT_EQ(kMVNoError, MVFreeBlock(block));
    EXPECT_EQ(kMVNoError, mvIntFreeBlock(own));
    EXPECT_EQ(0, numBlocks);
}

TEST_F(Blocks, OfTheHostAreZeroed)
{
    const auto fill = [](std::size_t inSize, void*)
    {
        void* block = Application::Allocate(Application::Current().internalBlocks, inSize);
        std::memset(block, 0xA5, inSize);
        return block;
    };
    app.procs.internalAllocate = fill;

    void* block = nullptr;
    ASSERT_EQ(kMVNoError, mvIntAllocateBlock(40, "a record", &block));

    EXPECT_EQ(std::string(40, '\0'), std::string(static_cast<char*>(block), 40));
    mvIntFreeBlock(block);
}

TEST_F(Blocks, RaiseAndGiveNullWhenThereIsNoMemory)
{
    app.allocationsLeft = 0;
    void* block = &block;

    EXPECT_EQ(kMVOutOfMemoryError, MVAllocateBlock(8, "", &block));

    EXPECT_EQ(nullptr, block);
    EXPECT_THAT(app.thrown, ElementsAre(kMVOutOfMemoryError));
    EXPECT_EQ(0, numBlocks);
}

TEST_F(Blocks, NeedAPlaceForTheAnswer)
{
    EXPECT_EQ(kMVBadParameterError, MVAllocateBlock(8, "", nullptr));
    EXPECT_EQ(kMVBadParameterError, MVReallocateBlock(nullptr, 8, "", nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetBlockDebugEnabled(nullptr));
}

TEST_F(Blocks, ReallocatedWithoutDebugAreNotCounted)
{
    void* block = Reallocate(nullptr, 10);
    EXPECT_EQ(0, numBlocks);
    block = Reallocate(block, 20);
    EXPECT_EQ(0, numBlocks);

    EXPECT_EQ(nullptr, Reallocate(block, 0)); // what the procedure answers is no failure then
    EXPECT_EQ(0, numBlocks);
    EXPECT_TRUE(app.thrown.empty());
}

TEST_F(Blocks, ThatCannotGrowAreLeftAsTheyWere)
{
    void* block = Allocate(10);
    app.allocationsLeft = 0;
    void* grown = &grown;

    EXPECT_EQ(kMVOutOfMemoryError, MVReallocateBlock(block, 20, "", &grown));

    EXPECT_EQ(nullptr, grown);
    EXPECT_THAT(app.thrown, ElementsAre(kMVOutOfMemoryError));
    MVFreeBlock(block);
}

TEST_F(Blocks, ThatAreFreedAreSubtractedEvenWhenTheyAreNull)
{
    void* block = Allocate(10);
    MVFreeBlock(nullptr);
    MVFreeBlock(block);
    EXPECT_EQ(-1, numBlocks);

    EXPECT_EQ(kMVBlockDebugLockedError, MVSetBlockDebugEnabled(1)); // until the count is back

    app.procs.free = [](void*, void*) {};
    block = Allocate(10);
    EXPECT_EQ(kMVNoError, MVSetBlockDebugEnabled(1));
    EXPECT_EQ(kMVNoError, MVSetBlockDebugEnabled(0));
    Application::Free(app.blocks, block);
}

TEST_F(Blocks, LockTheirDebugUntilAllAreFreed)
{
    void* block = Allocate(10);
    EXPECT_EQ(kMVBlockDebugLockedError, MVSetBlockDebugEnabled(1));
    EXPECT_THAT(app.thrown, ElementsAre(kMVBlockDebugLockedError));
    std::int32_t enabled = 1;
    MVGetBlockDebugEnabled(&enabled);
    EXPECT_EQ(0, enabled);

    MVFreeBlock(block);
    EXPECT_EQ(kMVNoError, MVSetBlockDebugEnabled(1));
    MVGetBlockDebugEnabled(&enabled);
    EXPECT_EQ(1, enabled);
}

TEST_F(Blocks, CannotBeWalkedWithoutDebug)
{
    void* block = Allocate(10);
    void* walked = &walked;
    const char* text = "something";

    EXPECT_EQ(kMVBlockDebugOffError, MVGetFirstBlock(&walked));
    EXPECT_EQ(nullptr, walked);
    EXPECT_EQ(kMVBlockDebugOffError, MVGetNextBlock(block, &walked));
    EXPECT_EQ(kMVBlockDebugOffError, MVGetBlockDebug(block, &text));
    EXPECT_EQ(nullptr, text);
    EXPECT_EQ(3u, app.thrown.size());
    MVFreeBlock(block);
}

TEST_F(DebuggedBlocks, AreListedNewestFirstWithTheirTexts)
{
    void* first = Allocate(8, "first");
    void* second = Allocate(8, "second");
    void* access = nullptr;
    mvIntAllocateBlock(40, "an MVAccess", &access);

    EXPECT_THAT(Listed(), ElementsAre("an MVAccess", "second", "first"));
    const char* text = nullptr;
    EXPECT_EQ(kMVNoError, MVGetBlockDebug(access, &text));
    EXPECT_STREQ("an MVAccess", text);

    MVFreeBlock(second);
    EXPECT_THAT(Listed(), ElementsAre("an MVAccess", "first"));
    MVFreeBlock(first);
    mvIntFreeBlock(access);
    EXPECT_TRUE(Listed().empty());
}

TEST_F(DebuggedBlocks, HaveAHeaderOf28BytesAhead)
{
    void* block = Allocate(100);

    ASSERT_EQ(1u, app.blocks.size());
    EXPECT_EQ(100 + kHeader, app.blocks.begin()->second);
    EXPECT_EQ(static_cast<char*>(app.blocks.begin()->first) + kHeader, block);
    MVFreeBlock(block);
}

TEST_F(DebuggedBlocks, ThatGrowComeToTheHeadWithTheNewTextAndKeepWhatIsInThem)
{
    void* first = Allocate(8, "first");
    std::memcpy(first, "1234567", 8);
    void* second = Allocate(8, "second");

    first = Reallocate(first, 5000, "grown");

    EXPECT_THAT(Listed(), ElementsAre("grown", "second"));
    EXPECT_STREQ("1234567", static_cast<char*>(first));
    EXPECT_EQ(2, numBlocks);
    MVFreeBlock(first);
    MVFreeBlock(second);
}

TEST_F(DebuggedBlocks, ReallocatedFromNothingAreListedButNotCounted)
{
    void* block = Reallocate(nullptr, 10, "from nothing");

    EXPECT_THAT(Listed(), ElementsAre("from nothing"));
    EXPECT_EQ(0, numBlocks);
    MVFreeBlock(block);
    EXPECT_EQ(-1, numBlocks);
}

TEST_F(DebuggedBlocks, ReallocatedToNothingLiveOnAsAHeaderInNoList)
{
    void* kept = Allocate(8, "kept");
    void* block = Allocate(8, "newest");

    block = Reallocate(block, 0);

    ASSERT_NE(nullptr, block);
    EXPECT_THAT(Listed(), ElementsAre("kept"));
    EXPECT_EQ(2, numBlocks);
    MVFreeBlock(block); // and the list stands
    EXPECT_THAT(Listed(), ElementsAre("kept"));
    MVFreeBlock(kept);
}

TEST_F(DebuggedBlocks, NothingReallocatedToNothingIsNothing)
{
    EXPECT_EQ(nullptr, Reallocate(nullptr, 0));
    EXPECT_TRUE(app.blocks.empty());
}

TEST_F(DebuggedBlocks, ThatCannotGrowStayListed)
{
    void* block = Allocate(8, "stays");
    app.allocationsLeft = 0;
    void* grown = nullptr;

    EXPECT_EQ(kMVOutOfMemoryError, MVReallocateBlock(block, 100, "grown", &grown));

    EXPECT_THAT(Listed(), ElementsAre("stays"));
    MVFreeBlock(block);
}

TEST_F(DebuggedBlocks, WhoseSizeLeavesNoRoomForTheHeaderAreRefused)
{
    void* block = nullptr;

    EXPECT_EQ(kMVOutOfMemoryError, MVAllocateBlock(SIZE_MAX - 27, "", &block));
    EXPECT_EQ(kMVOutOfMemoryError, MVReallocateBlock(nullptr, SIZE_MAX, "", &block));

    EXPECT_EQ(nullptr, block);
    EXPECT_TRUE(app.blocks.empty());
}

TEST_F(DebuggedBlocks, ANullOneHasNeitherNextNorText)
{
    void* block = &block;
    const char* text = "something";

    EXPECT_EQ(kMVBadParameterError, MVGetNextBlock(nullptr, &block));
    EXPECT_EQ(kMVBadParameterError, MVGetBlockDebug(nullptr, &text));
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(nullptr, text);
}

} // namespace
