#include "qelcore/RecycledMemory.h"

#include <cstring>
#include <limits>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "qelcore/MemoryRecycler.h"

namespace
{

using qelcore::utility::MemoryRecycler;
using qelcore::utility::RecycledMemory;
using qelcore::utility::RecycledMemoryPtr;

constexpr std::size_t kSize = 200000; // large enough to be pooled
using Bytes = std::vector<char>;

class RecycledMemoryTest : public ::testing::Test
{
protected:
    RecycledMemoryTest() { MemoryRecycler::PurgeBytes(std::numeric_limits<std::size_t>::max()); }
    ~RecycledMemoryTest() override
    {
        MemoryRecycler::PurgeBytes(std::numeric_limits<std::size_t>::max());
    }

    boost::shared_ptr<Bytes> mOwner = boost::make_shared<Bytes>(100, 'o');
    boost::weak_ptr<Bytes> mWatch = mOwner;
};

TEST_F(RecycledMemoryTest, TheBlockGoesBackToThePoolAtTheEnd)
{
    RecycledMemoryPtr memory = RecycledMemory::Create(kSize);
    const std::size_t capacity = memory->Capacity();
    std::memset(memory->Data(), 1, capacity);
    EXPECT_EQ(kSize, memory->Size());
    EXPECT_GE(capacity, kSize);
    ASSERT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());

    memory.reset();

    EXPECT_EQ(capacity, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(RecycledMemoryTest, AnEmptyOneGivesNothingBack)
{
    {
        RecycledMemory memory;
        EXPECT_EQ(nullptr, memory.Data());
        EXPECT_EQ(0u, memory.Size());
        EXPECT_EQ(0u, memory.Capacity());
    }
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(RecycledMemoryTest, AnAdaptedBufferLivesAsLongAsTheBlock)
{
    RecycledMemoryPtr memory =
        RecycledMemory::AdaptAsRecycledMemory(mOwner, mOwner->data(), mOwner->size());
    mOwner.reset();
    ASSERT_FALSE(mWatch.expired());
    EXPECT_EQ('o', *static_cast<char*>(memory->Data()));
    EXPECT_EQ(100u, memory->Size());

    memory.reset();

    EXPECT_TRUE(mWatch.expired());
    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(RecycledMemoryTest, AttachingGivesTheOwnBlockBackFirst)
{
    const RecycledMemoryPtr memory = RecycledMemory::Create(kSize);
    const std::size_t capacity = memory->Capacity();

    memory->AttachToExternalBuffer(mOwner, mOwner->data(), 40);

    EXPECT_EQ(capacity, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_EQ(mOwner->data(), memory->Data());
    EXPECT_EQ(40u, memory->Size());
    EXPECT_EQ(2, mOwner.use_count());
}

TEST_F(RecycledMemoryTest, AttachingLetsGoOfTheOwnerBefore)
{
    RecycledMemory memory;
    memory.AttachToExternalBuffer(mOwner, mOwner->data(), 100);
    const auto next = boost::make_shared<Bytes>(10, 'n');

    mOwner.reset();
    memory.AttachToExternalBuffer(next, next->data(), 10);

    EXPECT_TRUE(mWatch.expired());
    EXPECT_EQ(next->data(), memory.Data());
}

TEST_F(RecycledMemoryTest, AttachingAPartOfTheSameOwnersBufferKeepsIt)
{
    RecycledMemory memory;
    memory.AttachToExternalBuffer(mOwner, mOwner->data(), 100);
    char* const part = mOwner->data() + 10;
    mOwner.reset();

    memory.AttachToExternalBuffer(mWatch.lock(), part, 5);

    ASSERT_FALSE(mWatch.expired());
    EXPECT_EQ(part, memory.Data());
}

TEST_F(RecycledMemoryTest, AttachingItselfNeitherFreesTheBytesNorKeepsItForEver)
{
    RecycledMemoryPtr memory = RecycledMemory::Create(kSize);
    const std::size_t capacity = memory->Capacity();
    const boost::weak_ptr<RecycledMemory> watch(memory);
    char* const bytes = static_cast<char*>(memory->Data());
    std::memset(bytes, 's', kSize);

    memory->AttachToExternalBuffer(memory, bytes + 100, 50);

    EXPECT_EQ(0u, MemoryRecycler::GetCurrentPoolSize());
    EXPECT_EQ('s', *static_cast<char*>(memory->Data()));
    EXPECT_EQ(50u, memory->Size());
    memory.reset();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(capacity, MemoryRecycler::GetCurrentPoolSize());
}

TEST_F(RecycledMemoryTest, AttachingItselfUnderAnotherPointerIsSafeToo)
{
    RecycledMemoryPtr memory = RecycledMemory::Create(kSize);
    const boost::weak_ptr<RecycledMemory> watch(memory);
    const boost::shared_ptr<char> alias(memory, static_cast<char*>(memory->Data()));
    *alias = 'a';

    memory->AttachToExternalBuffer(alias, alias.get(), kSize);

    EXPECT_EQ('a', *static_cast<char*>(memory->Data()));
}

TEST_F(RecycledMemoryTest, AnOwnerWithoutAPointerIsAnOwnerAllTheSame)
{
    static char sStatic[16] = "static";
    bool gone = false;
    {
        RecycledMemory memory;
        memory.AttachToExternalBuffer(
            boost::shared_ptr<void>(static_cast<void*>(nullptr), [&](void*) { gone = true; }),
            sStatic, sizeof(sStatic));
        EXPECT_FALSE(gone);
    }
    EXPECT_TRUE(gone);
}

TEST_F(RecycledMemoryTest, TheUsableSizeMovesWithinTheCapacity)
{
    const RecycledMemoryPtr memory = RecycledMemory::Create(1000);

    memory->SetSize(10);
    EXPECT_EQ(10u, memory->Size());
    memory->SetSize(memory->Capacity());
    EXPECT_EQ(memory->Capacity(), memory->Size());
    EXPECT_ANY_THROW(memory->SetSize(memory->Capacity() + 1));
    EXPECT_EQ(memory->Capacity(), memory->Size());
}

} // namespace
