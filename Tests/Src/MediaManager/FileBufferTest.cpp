#include "MediaManager/FileBuffer.h"

#include <cstring>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ManagerFixture.h"
#include "RKInitializer.h"
#include "ZOR/Foundation.h"

namespace
{

using qelcore::kResult_OK;
using qelcore::Result;
using qelcore::utility::ImmutableString;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;
using RK::FileBuffer;
using RK::FileBufferFactory;

RecycledMemoryPtr Block(std::size_t inSize, char inFill = 'x')
{
    const RecycledMemoryPtr block = RecycledMemory::Create(inSize);
    std::memset(block->Data(), inFill, inSize);
    return block;
}

// A started manager of the test's own, and the factory as a file object would meet it.
class FileBufferTest : public Testing::ManagerTest
{
protected:
    ZOR::IFileBufferRef Buffer(unsigned long long inFileID = 1,
                               const qelcore::UTF16String& inPath = u"/clip",
                               long long inStamp = 7) const
    {
        const ZOR::IFileBufferRef buffer = mFactory->CreateFileBuffer();
        EXPECT_EQ(kResult_OK, buffer->Init(inFileID, inPath, inStamp));
        return buffer;
    }
    static bool Has(const ZOR::IFileBufferRef& inBuffer, long long inOffset, long long inSize)
    {
        RecycledMemoryPtr found;
        return inBuffer->FindInCache(inOffset, inSize, found) == kResult_OK;
    }

    const FileBufferFactory::Ref mFactory = FileBufferFactory::Singleton::CreateClassRef();
};

TEST_F(FileBufferTest, ABlockIsFoundByTheRangeWithWhichItWasAdded)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    const RecycledMemoryPtr added = Block(1000);
    EXPECT_EQ(kResult_OK, buffer->AddToCache(added, 4096));
    RecycledMemoryPtr found;

    EXPECT_EQ(kResult_OK, buffer->FindInCache(4096, 1000, found));
    EXPECT_EQ(added, found);
}

TEST_F(FileBufferTest, APartOfABlockOrMoreThanItIsAMiss)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000), 0);

    EXPECT_FALSE(Has(buffer, 0, 500));
    EXPECT_FALSE(Has(buffer, 0, 1001));
    EXPECT_FALSE(Has(buffer, 500, 500));
    EXPECT_FALSE(Has(buffer, 1000, 1000));
}

TEST_F(FileBufferTest, AMissLeavesTheOutputAndSaysSo)
{
    const RecycledMemoryPtr before = Block(1);
    RecycledMemoryPtr found = before;

    EXPECT_EQ(static_cast<Result>(0xA00F0001u), Buffer()->FindInCache(0, 1000, found));
    EXPECT_EQ(before, found);
}

TEST_F(FileBufferTest, BuffersOfTheSameThreeValuesShareBlocks)
{
    Buffer()->AddToCache(Block(1000), 0);

    EXPECT_TRUE(Has(Buffer(), 0, 1000));
}

TEST_F(FileBufferTest, AnotherStampPathOrFileSharesNothing)
{
    Buffer(1, u"/clip", 7)->AddToCache(Block(1000), 0);

    EXPECT_FALSE(Has(Buffer(1, u"/clip", 8), 0, 1000));
    EXPECT_FALSE(Has(Buffer(1, u"/clip", -7), 0, 1000));
    EXPECT_FALSE(Has(Buffer(2, u"/clip", 7), 0, 1000));
    EXPECT_FALSE(Has(Buffer(1, u"/Clip", 7), 0, 1000));
}

TEST_F(FileBufferTest, OfTwoBlocksOfOneRangeTheFirstStays)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    const RecycledMemoryPtr first = Block(1000, 'a');
    buffer->AddToCache(first, 0);

    EXPECT_EQ(kResult_OK, buffer->AddToCache(Block(1000, 'b'), 0));
    RecycledMemoryPtr found;
    buffer->FindInCache(0, 1000, found);
    EXPECT_EQ(first, found);
    Apply();
    EXPECT_EQ(1000u, mManager->GetCurrentSpace());
}

TEST_F(FileBufferTest, BlocksComeUnderTheBudgetWithPriority1AndNoHandles)
{
    Buffer()->AddToCache(Block(1000), 0);
    Apply();

    const auto item = Inside().Item(1);
    EXPECT_EQ(1000u, item.size);
    EXPECT_EQ(1u, item.priority);
    EXPECT_EQ(0u, item.handleCount);
}

TEST_F(FileBufferTest, AHitCountsAsAUse)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000), 0);
    GoTo(1);
    buffer->AddToCache(Block(1000), 1000);
    GoTo(2);
    Apply();
    ASSERT_EQ(Testing::IDs({1, 2}), Inside().Order());

    EXPECT_TRUE(Has(buffer, 0, 1000));
    Apply();
    EXPECT_EQ(Testing::IDs({2, 1}), Inside().Order());
}

TEST_F(FileBufferTest, APurgePassesOverWhatIsMarkedAndTakesTheRest)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000), 0);
    buffer->AddToCache(Block(1000), 1000);
    buffer->MarkNonPurgeable(0, 1000);

    PurgeNow(Testing::kEverything);
    EXPECT_TRUE(Has(buffer, 0, 1000));
    EXPECT_FALSE(Has(buffer, 1000, 1000));

    buffer->MarkPurgeable(0, 1000);
    PurgeNow(Testing::kEverything);
    EXPECT_FALSE(Has(buffer, 0, 1000));
}

TEST_F(FileBufferTest, MarkingTwiceIsUndoneByOnce)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000), 0);
    buffer->MarkNonPurgeable(0, 1000);
    buffer->MarkNonPurgeable(0, 1000);
    buffer->MarkPurgeable(0, 1000);

    PurgeNow(Testing::kEverything);
    EXPECT_FALSE(Has(buffer, 0, 1000));
}

TEST_F(FileBufferTest, AMarkOnAnUnknownRangeDoesNothing)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000), 0);
    buffer->MarkNonPurgeable(0, 999);
    buffer->MarkPurgeable(5, 5);

    PurgeNow(Testing::kEverything);
    EXPECT_FALSE(Has(buffer, 0, 1000));
}

TEST_F(FileBufferTest, ABlockThatSomebodyHoldsOutlivesItsPurge)
{
    const ZOR::IFileBufferRef buffer = Buffer();
    buffer->AddToCache(Block(1000, 'k'), 0);
    RecycledMemoryPtr held;
    buffer->FindInCache(0, 1000, held);

    PurgeNow(Testing::kEverything);
    EXPECT_FALSE(Has(buffer, 0, 1000));
    EXPECT_EQ('k', static_cast<const char*>(held->Data())[999]);
}

TEST_F(FileBufferTest, TheEndOfABufferLeavesItsBlocks)
{
    Buffer()->AddToCache(Block(1000), 0);
    Apply();

    EXPECT_EQ(1000u, mManager->GetCurrentSpace());
}

TEST_F(FileBufferTest, ABufferFromBeforeInitIsOneOfNoPathAndZeros)
{
    const ZOR::IFileBufferRef fresh = mFactory->CreateFileBuffer();
    fresh->AddToCache(Block(10), 0);

    EXPECT_TRUE(Has(mFactory->CreateFileBuffer(), 0, 10));
    EXPECT_FALSE(Has(Buffer(0, u"", 0), 0, 10)); // the empty path is a path
}

TEST_F(FileBufferTest, AnEmptyBlockIsAViolatedContract)
{
    EXPECT_THROW(Buffer()->AddToCache(nullptr, 0), qelcore::config::Error);
}

FileBuffer::DataKey Key(const char* inPath, std::uint64_t inFile, std::int64_t inStamp,
                        std::int64_t inSize, std::int64_t inOffset)
{
    return {ImmutableString::CreateDynamic(inPath), inFile, inStamp, inOffset, inSize, 0};
}

TEST(FileBufferKey, OrdersByFileThenStampThenSizeThenOffset)
{
    const std::less<FileBuffer::DataKey> before;

    EXPECT_TRUE(before(Key("p", 1, 9, 9, 9), Key("p", 2, 0, 0, 0)));
    EXPECT_TRUE(before(Key("p", 1, -1, 9, 9), Key("p", 1, 0, 0, 0)));
    EXPECT_TRUE(before(Key("p", 1, 0, 1, 9), Key("p", 1, 0, 2, 0)));
    EXPECT_FALSE(before(Key("p", 1, 0, 2, 0), Key("p", 1, 0, 1, 9)));
    EXPECT_TRUE(before(Key("p", 1, 0, 1, 8), Key("p", 1, 0, 1, 9)));
    EXPECT_FALSE(before(Key("p", 1, 0, 1, 9), Key("p", 1, 0, 1, 9)));
}

TEST(FileBufferKey, OrdersPathsFirstAndByIdentity)
{
    const FileBuffer::DataKey a = Key("a", 9, 9, 9, 9);
    const FileBuffer::DataKey b = Key("b", 0, 0, 0, 0);

    EXPECT_EQ(a.path < b.path, a < b);
    EXPECT_EQ(b.path < a.path, b < a);
}

TEST(FileBufferKey, TheMediaIDIsNoPartOfIt)
{
    FileBuffer::DataKey a = Key("p", 1, 1, 1, 1);
    FileBuffer::DataKey b = a;
    b.mediaID = 5;

    EXPECT_FALSE(a < b);
    EXPECT_FALSE(b < a);
}

TEST(FileBufferKey, ASearcherKnowsTheItemOfItsKeyByAllFiveFields)
{
    std::map<FileBuffer::DataKey, int> items;
    FileBuffer::DataKey stored = Key("p", 1, 1, 1, 1);
    stored.mediaID = 3;
    const auto item = items.emplace(stored, 0).first;

    EXPECT_TRUE(FileBuffer::DataSearcher(Key("p", 1, 1, 1, 1))(item));
    EXPECT_FALSE(FileBuffer::DataSearcher(Key("q", 1, 1, 1, 1))(item));
    EXPECT_FALSE(FileBuffer::DataSearcher(Key("p", 2, 1, 1, 1))(item));
    EXPECT_FALSE(FileBuffer::DataSearcher(Key("p", 1, 2, 1, 1))(item));
    EXPECT_FALSE(FileBuffer::DataSearcher(Key("p", 1, 1, 2, 1))(item));
    EXPECT_FALSE(FileBuffer::DataSearcher(Key("p", 1, 1, 1, 2))(item));
}

TEST(FileBufferLife, TheLibraryInstallsItsFactoryAndTakesItAwayAgain)
{
    {
        RK::Initializer library;
        EXPECT_EQ(FileBufferFactory::Singleton::CreateClassRef().get(),
                  ZOR::Foundation::GetFileBufferFactory().get());
        EXPECT_TRUE(ZOR::Foundation::GetFileBufferFactory()->CreateFileBuffer());
    }
    EXPECT_FALSE(ZOR::Foundation::GetFileBufferFactory());
    EXPECT_FALSE(FileBufferFactory::Singleton::Exists());
}

TEST(FileBufferLife, ABufferKeepsItsMapThroughTheEndOfTheFactory)
{
    ZOR::IFileBufferRef buffer;
    const RecycledMemoryPtr block = Block(1000);
    RecycledMemoryPtr found;
    {
        RK::Initializer library;
        buffer = ZOR::Foundation::GetFileBufferFactory()->CreateFileBuffer();
        buffer->AddToCache(block, 0);
        EXPECT_EQ(kResult_OK, buffer->FindInCache(0, 1000, found));
    }
    buffer->MarkNonPurgeable(0, 1000);
    buffer->MarkPurgeable(0, 1000);

    found.reset();
    buffer.reset();
    EXPECT_EQ(1, block.use_count());
}

TEST(FileBufferLife, TheFactoryIsOneAndAnswersToItsInterface)
{
    const FileBufferFactory::Ref first = FileBufferFactory::Singleton::CreateClassRef();
    const FileBufferFactory::Ref second = FileBufferFactory::Singleton::CreateClassRef();

    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(first->GetBufferMap(), second->GetBufferMap());
    EXPECT_TRUE(ZOR::QueryInterface<ZOR::IFileBufferFactory>(first));
    EXPECT_FALSE(ZOR::QueryInterface<ZOR::IFileBuffer>(first));
}

} // namespace
