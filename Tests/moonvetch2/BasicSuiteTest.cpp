
#include "HostFixture.h"

namespace
{

using Testing::HostFixture;
using Testing::ScriptedPlugin;

constexpr int kTable = 1;

struct BasicSuite : HostFixture
{
};

TEST_F(BasicSuite, AcquiresTheNewestInternalVersion)
{
    constexpr int kNewer = 2;
    MVAddSuite(nullptr, nullptr, "S", 1, 3, &kNewer, nullptr);
    MVAddSuite(nullptr, nullptr, "S", 1, 1, &kTable, nullptr);
    const void* table = nullptr;

    EXPECT_EQ(kMVNoError, MVBasicAcquireSuite("S", 1, &table));

    EXPECT_EQ(&kNewer, table);
    EXPECT_EQ(kMVNoError, MVBasicReleaseSuite("S", 1));
    EXPECT_EQ(kMVSuiteOverReleasedError, MVBasicReleaseSuite("S", 1));
}

TEST_F(BasicSuite, ClearsTheAnswerAheadOfLookingAtTheName)
{
    const void* table = &kTable;

    EXPECT_EQ(kMVBadParameterError, MVBasicAcquireSuite(nullptr, 1, &table));
    EXPECT_EQ(nullptr, table);
    EXPECT_EQ(kMVBadParameterError, MVBasicAcquireSuite("S", 1, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVBasicReleaseSuite(nullptr, 1));
}

TEST_F(BasicSuite, ComparesTextsAndTakesNullForUnequal)
{
    EXPECT_EQ(1, MVBasicIsEqual("x", std::string("x").c_str()));
    EXPECT_EQ(0, MVBasicIsEqual("x", "y"));
    EXPECT_EQ(0, MVBasicIsEqual(nullptr, "x"));
    EXPECT_EQ(0, MVBasicIsEqual("x", nullptr));
    EXPECT_EQ(0, MVBasicIsEqual(nullptr, nullptr));
}

TEST_F(BasicSuite, GivesBlocksByTheApplicationsProcedures)
{
    void* block = nullptr;
    ASSERT_EQ(kMVNoError, MVBasicAllocateBlock(10, &block));
    EXPECT_EQ(1u, app.blocks.count(block));
    ASSERT_EQ(kMVNoError, MVBasicReallocateBlock(block, 20, &block));
    EXPECT_EQ(20u, app.blocks[block]);
    EXPECT_EQ(kMVNoError, MVBasicFreeBlock(block));
    EXPECT_TRUE(app.blocks.empty());
}

TEST_F(BasicSuite, RefusesNullWhereABlockOrAPlaceIsNeeded)
{
    void* block = &block;
    char something = 0;

    EXPECT_EQ(kMVBadParameterError, MVBasicAllocateBlock(10, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVBasicFreeBlock(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVBasicReallocateBlock(nullptr, 10, &block));
    EXPECT_EQ(nullptr, block);
    EXPECT_EQ(kMVBadParameterError, MVBasicReallocateBlock(&something, 10, nullptr));
}

TEST_F(BasicSuite, TellsOfMemoryThatRanOut)
{
    void* block = &block;
    app.allocationsLeft = 0;

    EXPECT_EQ(kMVOutOfMemoryError, MVBasicAllocateBlock(10, &block));
    EXPECT_EQ(nullptr, block);
}

TEST_F(BasicSuite, HasASlotThatDoesNothing)
{
    EXPECT_EQ(kMVNoError, MVBasicUndefined());
}

TEST_F(BasicSuite, IsInTheHeaderOfEachMessage)
{
    const MVBasicSuite* received = nullptr;
    std::int32_t check = 0;
    ScriptedPlugin& plugin =
        AddScripted(nullptr,
                    [&](const std::string&, const std::string&, void* ioMessage)
                    {
                        received = static_cast<MVMessageData*>(ioMessage)->basic;
                        check = static_cast<MVMessageData*>(ioMessage)->MVCheck;
                        return MVResult{kMVNoError};
                    });
    MVResult answer = kMVNoError;
    ASSERT_EQ(kMVNoError, MVSendMessage(plugin.plugin, "a caller", "a selector", nullptr, &answer));

    const void* basic = nullptr;
    MVBasicAcquireSuite(kMVBasicSuite, kMVBasicSuiteVersion, &basic);
    EXPECT_EQ(basic, received);
    EXPECT_EQ(kMVMessageCheck, check);
    EXPECT_EQ('k', reinterpret_cast<const char*>(&check)[0]); // as it lies in memory
}

TEST(BasicSuiteWithoutAHost, FindsNoSuitesAndStillGivesBlocks)
{
    ASSERT_EQ(0, MVInited());
    const void* table = &kTable;
    void* block = nullptr;

    EXPECT_EQ(kMVSuiteNotFoundError, MVBasicAcquireSuite(kMVBasicSuite, 4, &table));
    EXPECT_EQ(nullptr, table);
    EXPECT_EQ(kMVSuiteNotFoundError, MVBasicReleaseSuite(kMVBasicSuite, 4));
    EXPECT_EQ(kMVNoError, MVBasicAllocateBlock(8, &block));
    EXPECT_EQ(kMVNoError, MVBasicFreeBlock(block));
}

} // namespace
