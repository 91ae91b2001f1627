#include "RiverKit/MediaManager/MediaVector.h"

#include <stdexcept>

#include "MediaTestSupport.h"

using namespace Testing;

namespace
{

struct Element
{
    std::atomic<int> value{0};
};

class TestVector : public RK::MediaVector<Element>
{
public:
    using MediaVector::MediaVector;
    unsigned State(std::size_t inIndex) const { return mSlots[inIndex].mState.load(); }
    int PurgeLock(std::size_t inIndex) const { return mSlots[inIndex].mPurgeLock.load(); }
};

using TestVectorRef = ZOR::InterfaceRef<TestVector, RK::IMediaMap>;

constexpr unsigned kPresent = 0x80000000u;

class MediaVectorTest : public FakeManagerFixture
{
protected:
    const TestVectorRef mVector{new TestVector(4, mManager)};

    bool Write(RK::MediaID inIndex, int inValue = 1)
    {
        return mVector->Write(inIndex, 3,
                              [&](Element& outElement)
                              {
                                  outElement.value = inValue;
                                  return RK::Size(100);
                              });
    }
    /// The value; -1 where there is none.
    int Read(RK::MediaID inIndex)
    {
        int value = -1;
        mVector->Read(inIndex, [&](Element& inElement) { value = inElement.value; });
        return value;
    }
    /// Runs inFunction while a reader is at work.
    template <class Function>
    void WhileReading(RK::MediaID inIndex, Function inFunction)
    {
        EXPECT_TRUE(mVector->Read(inIndex, [&](Element&) { inFunction(); }));
    }
    /// Runs inFunction while a writer fills.
    template <class Function>
    bool WhileWriting(RK::MediaID inIndex, Function inFunction)
    {
        return mVector->Write(inIndex, 3,
                              [&](Element&)
                              {
                                  inFunction();
                                  return RK::Size(100);
                              });
    }
    /// Clears a slot that is present, and runs inFunction before the flusher has left.
    template <class Function>
    void WhileClearing(RK::MediaID inIndex, Function inFunction)
    {
        bool once = true;
        mFake->onCall = [&]
        {
            if (std::exchange(once, false))
                inFunction();
        };
        EXPECT_TRUE(mVector->Clear(inIndex));
        mFake->onCall = nullptr;
    }
};

TEST_F(MediaVectorTest, SlotsBeginEmpty)
{
    EXPECT_EQ(4u, mVector->Count());
    for (RK::MediaID i = 0; i < 4; ++i)
    {
        EXPECT_EQ(-1, Read(i));
        EXPECT_FALSE(mVector->Clear(i));
        EXPECT_EQ(0u, mVector->State(i));
    }
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(MediaVectorTest, AWrittenSlotIsRegisteredUnderItsIndexAndRead)
{
    EXPECT_TRUE(Write(0, 42));
    EXPECT_EQ(Log({"add 0 size 100 priority 3 handles 0 map 1"}), TakeLog());
    EXPECT_EQ(mVector.get(), mFake->lastMap.get());

    EXPECT_EQ(42, Read(0));
    EXPECT_EQ(Log({"touch 0 map 1"}), TakeLog());
    EXPECT_EQ(-1, Read(1));
}

TEST_F(MediaVectorTest, APresentSlotIsNotWritten)
{
    Write(0, 42);
    TakeLog();

    EXPECT_FALSE(Write(0, 43));

    EXPECT_EQ(Log(), TakeLog());
    EXPECT_EQ(42, Read(0));
}

TEST_F(MediaVectorTest, AClearedSlotIsTakenFromTheManagerOnceAndCanBeWrittenAgain)
{
    Write(0, 42);
    TakeLog();

    EXPECT_TRUE(mVector->Clear(0));
    EXPECT_FALSE(mVector->Clear(0));
    EXPECT_EQ(Log({"remove 0 map 1"}), TakeLog());
    EXPECT_EQ(-1, Read(0));

    EXPECT_TRUE(Write(0, 43));
    EXPECT_EQ(43, Read(0));
}

TEST_F(MediaVectorTest, IndexesBeyondTheVectorAreIgnored)
{
    for (const RK::MediaID index : {RK::MediaID(4), ~RK::MediaID(0)})
    {
        EXPECT_FALSE(Write(index));
        EXPECT_EQ(-1, Read(index));
        EXPECT_FALSE(mVector->Clear(index));
        mVector->Flush(index);
        mVector->MakeNonPurgeable(index);
        EXPECT_FALSE(mVector->IsNonPurgeable(index));
        mVector->MakePurgeable(index);
    }
    EXPECT_EQ(Log(), TakeLog());
}

TEST_F(MediaVectorTest, EachOneAtWorkCountsInItsOwnBits)
{
    EXPECT_TRUE(WhileWriting(0, [&] { EXPECT_EQ(0x10000u, mVector->State(0)); }));
    EXPECT_EQ(kPresent, mVector->State(0));

    WhileReading(0,
                 [&]
                 {
                     EXPECT_EQ(kPresent + 1, mVector->State(0));
                     WhileReading(0, [&] { EXPECT_EQ(kPresent + 2, mVector->State(0)); });
                 });
    EXPECT_EQ(kPresent, mVector->State(0));

    WhileClearing(0, [&] { EXPECT_EQ(0x1000000u, mVector->State(0)); });
    EXPECT_EQ(0u, mVector->State(0));
}

TEST_F(MediaVectorTest, ASlotIsRegisteredBeforeItIsPresent)
{
    unsigned state = 99;
    mFake->onCall = [&] { state = mVector->State(0); };

    Write(0);

    EXPECT_EQ(0x10000u, state);
    mFake->onCall = nullptr;
}

TEST_F(MediaVectorTest, AReaderIsAtWorkUntilItsUseIsReported)
{
    Write(0);
    unsigned state = 0;
    mFake->onCall = [&] { state = mVector->State(0); };

    Read(0);

    EXPECT_EQ(kPresent + 1, state);
    mFake->onCall = nullptr;
}

TEST_F(MediaVectorTest, ASecondWriterDoesNotFill)
{
    bool second = true;

    EXPECT_TRUE(WhileWriting(0, [&] { second = Write(0, 99); }));

    EXPECT_FALSE(second);
    EXPECT_EQ(0, Read(0));
}

TEST_F(MediaVectorTest, AWriterIsRefusedWhileAFlusherIsAtWork)
{
    Write(0);
    bool written = true;

    WhileClearing(0, [&] { written = Write(0, 99); });

    EXPECT_FALSE(written);
    EXPECT_EQ(-1, Read(0));
}

TEST_F(MediaVectorTest, ReadersDoNotHinderAWriterOfAnEmptySlot)
{
    Write(0, 1);
    int seen = 0;

    mVector->Read(0,
                  [&](Element& inElement)
                  {
                      EXPECT_TRUE(mVector->Clear(0));
                      EXPECT_TRUE(Write(0, 2));
                      seen = inElement.value; // the same slot, filled anew under the reader
                  });

    EXPECT_EQ(2, seen);
    EXPECT_EQ(kPresent, mVector->State(0));
}

TEST_F(MediaVectorTest, AReaderThatComesWhileAWriterFillsUsesTheElement)
{
    int seen = -1;

    mVector->Write(0, 3,
                   [&](Element& outElement)
                   {
                       outElement.value = 7; // half way
                       seen = Read(0);
                       return RK::Size(100);
                   });

    EXPECT_EQ(7, seen);
}

TEST_F(MediaVectorTest, AReaderThatComesWhileAFlusherIsAtWorkUsesTheElement)
{
    Write(0, 7);
    int seen = -1;

    WhileClearing(0, [&] { seen = Read(0); });

    EXPECT_EQ(7, seen);
}

TEST_F(MediaVectorTest, AFlushEmptiesTheSlotAndLeavesTheElementInIt)
{
    Write(0, 42);
    TakeLog();

    mVector->Flush(0);

    EXPECT_EQ(-1, Read(0));
    EXPECT_EQ(Log(), TakeLog()); // the manager has forgotten it already
    int left = 0;
    mVector->Write(0, 3,
                   [&](Element& inElement)
                   {
                       left = inElement.value;
                       return RK::Size(100);
                   });
    EXPECT_EQ(42, left);
}

TEST_F(MediaVectorTest, ASlotWithAReaderIsNotFlushed)
{
    Write(0, 42);

    WhileReading(0, [&] { mVector->Flush(0); });
    EXPECT_EQ(42, Read(0));

    mVector->Flush(0);
    EXPECT_EQ(-1, Read(0));
    EXPECT_EQ(0u, mVector->State(0));
}

TEST_F(MediaVectorTest, AFlushBetweenRegistrationAndPresenceFindsNothing)
{
    mFake->onCall = [&] { mVector->Flush(0); };
    EXPECT_TRUE(Write(0, 42));
    mFake->onCall = nullptr;

    EXPECT_EQ(42, Read(0));
    EXPECT_TRUE(mVector->Clear(0));
}

TEST_F(MediaVectorTest, ThePurgeLockIsACount)
{
    Write(0);
    EXPECT_FALSE(mVector->IsNonPurgeable(0));

    mVector->MakeNonPurgeable(0);
    mVector->MakeNonPurgeable(0);
    mVector->MakePurgeable(0);
    EXPECT_TRUE(mVector->IsNonPurgeable(0));
    EXPECT_FALSE(mVector->IsNonPurgeable(1));

    mVector->MakePurgeable(0);
    EXPECT_FALSE(mVector->IsNonPurgeable(0));
}

TEST_F(MediaVectorTest, APurgeLockCountedBelowZeroProtectsNothing)
{
    Write(0);

    mVector->MakePurgeable(0);
    EXPECT_FALSE(mVector->IsNonPurgeable(0));

    mVector->MakeNonPurgeable(0); // makes up for it, and no more
    EXPECT_FALSE(mVector->IsNonPurgeable(0));
}

TEST_F(MediaVectorTest, AFlushThatEmptiesTheSlotTakesThePurgeLockAway)
{
    Write(0);
    mVector->MakeNonPurgeable(0);
    mVector->MakeNonPurgeable(0);

    mVector->Flush(0);

    EXPECT_EQ(0, mVector->PurgeLock(0));
}

TEST_F(MediaVectorTest, AFlushThatEmptiesNothingLeavesThePurgeLock)
{
    mVector->MakeNonPurgeable(0);
    mVector->Flush(0); // empty
    EXPECT_TRUE(mVector->IsNonPurgeable(0));

    Write(1);
    mVector->MakeNonPurgeable(1);
    WhileReading(1, [&] { mVector->Flush(1); });
    EXPECT_TRUE(mVector->IsNonPurgeable(1));
}

TEST_F(MediaVectorTest, AFlushLeavesANegativePurgeLockAndAClearDoesNot)
{
    for (const RK::MediaID index : {0, 1})
    {
        Write(index);
        mVector->MakePurgeable(index);
    }

    mVector->Flush(0);
    mVector->Clear(1);

    EXPECT_EQ(-1, mVector->PurgeLock(0));
    EXPECT_EQ(0, mVector->PurgeLock(1));
}

TEST_F(MediaVectorTest, AClearTakesThePurgeLockAwayOnlyIfItEmptiedTheSlot)
{
    mVector->MakeNonPurgeable(0);
    mVector->Clear(0);
    EXPECT_TRUE(mVector->IsNonPurgeable(0));

    Write(0);
    mVector->Clear(0);
    EXPECT_FALSE(mVector->IsNonPurgeable(0));
}

TEST_F(MediaVectorTest, WhatThrowsInTheMiddleLeavesNobodyAtWork)
{
    const auto fail = [](Element&) -> RK::Size { throw std::runtime_error("full"); };
    EXPECT_THROW(mVector->Write(0, 3, fail), std::runtime_error);
    EXPECT_EQ(0u, mVector->State(0));

    const auto nothing = [](Element&) { return RK::Size(0); };
    EXPECT_THROW(mVector->Write(0, 3, nothing), FakeMediaManager::ZeroSize);
    EXPECT_EQ(0u, mVector->State(0));

    EXPECT_TRUE(Write(0));
    EXPECT_THROW(mVector->Read(0, fail), std::runtime_error);
    EXPECT_EQ(kPresent, mVector->State(0));
}

TEST_F(MediaVectorTest, AVectorAnswersToItsInterfacesAndHasAnIdentityOfItsOwn)
{
    const TestVectorRef other(new TestVector(0, mManager));

    EXPECT_EQ(mVector.get(), ZOR::QueryInterface<RK::IMediaMap>(mVector).get());
    EXPECT_EQ(qelcore::utility::Guid(1, 1), mVector->GetUniqueID());
    EXPECT_EQ(qelcore::utility::Guid(1, 2), other->GetUniqueID());
}

} // namespace
