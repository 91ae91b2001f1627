#include <array>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MVWalk.h"

namespace
{

using ::testing::ElementsAre;

struct Record
{
    Record* next;
    int number;
    MVWalkMarks walks;
};

/// A list of four, walked with its stamp as that of the plug-ins, and without as that of the accesses.
struct Walk : ::testing::TestWithParam<bool>
{
    Walk()
    {
        for (int number = 4; number > 0; --number)
            Link(records[static_cast<std::size_t>(number)], number);
    }
    void Link(Record& ioRecord, int inNumber)
    {
        ioRecord = {head, inNumber, kMVWalkMarks_New};
        head = &ioRecord;
        ++stamp;
    }
    void Unlink(int inNumber)
    {
        Record** link = &head;
        while ((*link)->number != inNumber)
            link = &(*link)->next;
        *link = (*link)->next;
        ++stamp;
    }
    void MoveToHead(int inNumber)
    {
        Unlink(inNumber);
        Record& moved = records[static_cast<std::size_t>(inNumber)];
        moved.next = head;
        head = &moved;
    }
    /// The numbers in the order in which they were met.
    template <class OnMeeting>
    std::vector<int> Met(const OnMeeting& inOnMeeting)
    {
        std::vector<int> met;
        MVWalk walk(head);
        while (const Record* record = GetParam() ? walk.Next(head, stamp) : walk.Next(head))
        {
            met.push_back(record->number);
            inOnMeeting(record->number);
        }
        return met;
    }

    std::array<Record, 6> records{};
    Record* head = nullptr;
    std::uint32_t stamp = 0;
};

TEST_P(Walk, GoesAlongAListThatStandsStill)
{
    EXPECT_THAT(Met([](int) {}), ElementsAre(1, 2, 3, 4));
}

TEST_P(Walk, MeetsEachOnceWhereRecordsAreMovedToTheHead)
{
    EXPECT_THAT(Met(
                    [this](int inNumber)
                    {
                        MoveToHead(inNumber);
                        MoveToHead(4);
                    }),
                ElementsAre(1, 4, 2, 3));
}

TEST_P(Walk, LooksAtNoneThatHasGone)
{
    EXPECT_THAT(Met(
                    [this](int inNumber)
                    {
                        if (inNumber != 2)
                            return;
                        Unlink(2);
                        Unlink(3);
                        records[2].next = records[3].next =
                            &records[2]; // whoever goes on there never ends
                    }),
                ElementsAre(1, 2, 4));
}

TEST_P(Walk, PassesByWhatIsLinkedOnTheWay)
{
    EXPECT_THAT(Met(
                    [this](int inNumber)
                    {
                        if (inNumber == 2)
                            Link(records[5], 5);
                    }),
                ElementsAre(1, 2, 3, 4));
}

TEST_P(Walk, WithinAnotherMeetsThemAllAndLeavesTheOuterOneInItsPlace)
{
    std::vector<int> inner;
    const std::vector<int> outer = Met(
        [&](int inNumber)
        {
            if (inNumber == 2)
                inner = Met([](int) {});
        });

    EXPECT_THAT(inner, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(outer, ElementsAre(1, 2, 3, 4));
}

// How deep it gets.
unsigned WalkWithin(Record* inHead, unsigned inDepth)
{
    const MVWalk walk(inHead);
    return walk.Next(inHead) != nullptr ? WalkWithin(inHead, inDepth + 1) : inDepth;
}

TEST_P(Walk, TooDeepWithinOthersMeetsNone)
{
    EXPECT_EQ(kMVMostWalks, WalkWithin(head, 0));
    EXPECT_EQ(kMVMostWalks, WalkWithin(head, 0));
}

INSTANTIATE_TEST_SUITE_P(Lists, Walk, ::testing::Bool());

} // namespace
