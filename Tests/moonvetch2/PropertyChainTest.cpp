// Lists of properties that are chained, and walks within walks.
#include "MVProps.h"
#include "MVWalk.h"
#include "PluginsFixture.h"

namespace Testing
{

class PropertyChainTest : public HostInternalsFixture
{
protected:
    void SetUp() override
    {
        HostInternalsFixture::SetUp();
        ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&mFirst));
        ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&mFirst->nextList));
        Add(mFirst, 1);
        Add(mFirst->nextList, 1);
        Add(mFirst->nextList, 2);
    }
    static void Add(MVPropertyList* ioList, std::uint32_t inKey)
    {
        EXPECT_EQ(kMVNoError, MVAddProperty(ioList, kMVVendorID, inKey, 0, nullptr, 0, 0, nullptr));
    }
    template <class Find>
    MVProperty* FindBy(Find inFind, std::uint32_t inKey)
    {
        MVProperty* property = nullptr;
        EXPECT_EQ(kMVNoError, inFind(mFirst, kMVVendorID, inKey, 0, &property));
        return property;
    }

    MVPropertyList* mFirst = nullptr;
};

TEST_F(PropertyChainTest, ALookUpGoesOnInTheListsThatAreChained)
{
    EXPECT_EQ(mFirst->head, FindBy(MVFindProperty, 1));
    EXPECT_EQ(mFirst->nextList->head, FindBy(MVFindProperty, 2));
    EXPECT_EQ(nullptr, FindBy(MVFindProperty, 3));
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

TEST_F(PropertyChainTest, ALocalLookUpStaysInItsList)
{
    EXPECT_EQ(mFirst->head, FindBy(MVFindPropertyLocal, 1));
    EXPECT_EQ(nullptr, FindBy(MVFindPropertyLocal, 2));
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

TEST_F(PropertyChainTest, TheNextListIsToldAndEndsWithTheFirst)
{
    std::int32_t multiple = 0;
    MVPropertyList* next = nullptr;
    EXPECT_EQ(kMVNoError, MVHasMultiplePropertyLists(mFirst, &multiple));
    EXPECT_EQ(1, multiple);
    EXPECT_EQ(kMVNoError, MVGetNextPropertyList(mFirst, &next));
    EXPECT_EQ(mFirst->nextList, next);
    EXPECT_EQ(kMVNoError, MVFreePropertyList(mFirst));
}

struct WalkRecord
{
    WalkRecord* next;
    MVWalkMarks walks;
};

class WalkTest : public ::testing::Test
{
protected:
    WalkRecord third = {nullptr, kMVWalkMarks_New};
    WalkRecord second = {&third, kMVWalkMarks_New};
    WalkRecord first = {&second, kMVWalkMarks_New};
    WalkRecord* head = &first;
};

TEST_F(WalkTest, EachRecordIsMetOnceInOrder)
{
    const MVWalk walk(head);
    EXPECT_EQ(&first, walk.Next(head));
    EXPECT_EQ(&second, walk.Next(head));
    EXPECT_EQ(&third, walk.Next(head));
    EXPECT_EQ(nullptr, walk.Next(head));
}

TEST_F(WalkTest, WhatIsMovedAheadIsNotSkipped_AndWhatIsAddedIsPassedBy)
{
    const MVWalk walk(head);
    EXPECT_EQ(&first, walk.Next(head));
    first.next = nullptr;
    second.next = &first;
    third.next = &second;
    WalkRecord added = {&third, kMVWalkMarks_New};
    head = &added;
    EXPECT_EQ(&third, walk.Next(head));
    EXPECT_EQ(&second, walk.Next(head));
    EXPECT_EQ(nullptr, walk.Next(head));
}

TEST_F(WalkTest, AWalkWithinAWalkTakesNothingFromIt)
{
    const MVWalk outer(head);
    EXPECT_EQ(&first, outer.Next(head));
    {
        const MVWalk inner(head);
        EXPECT_EQ(&first, inner.Next(head));
        EXPECT_EQ(&second, inner.Next(head));
    }
    EXPECT_EQ(&second, outer.Next(head));
}

// How deep it gets.
unsigned WalkWithin(WalkRecord* inHead, unsigned inDepth)
{
    const MVWalk walk(inHead);
    return walk.Next(inHead) != nullptr ? WalkWithin(inHead, inDepth + 1) : inDepth;
}

TEST_F(WalkTest, WalksWithinEachOtherEnd)
{
    EXPECT_EQ(kMVMostWalks, WalkWithin(head, 0));
    EXPECT_EQ(kMVMostWalks, WalkWithin(head, 0));
}

} // namespace Testing
