#include "Foundation/MemoryBalancer/Src/Distribute.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using namespace memorybalancer;
using ::testing::ElementsAre;

constexpr std::uint64_t kMost = ~std::uint64_t{0};
constexpr std::uint64_t kGiB = 1ull << 30;
constexpr std::uint64_t kMiB = 1ull << 20;

using Grants = std::vector<std::uint64_t>;

struct Row
{
    std::string name;
    std::vector<Demand> demands; // minimum, maximum, priority
    std::uint64_t capacity;
    Grants grants;
};

class Distribution : public ::testing::TestWithParam<Row>
{
};

TEST_P(Distribution, IsAsWorkedOutByHand)
{
    EXPECT_EQ(GetParam().grants, Distribute(GetParam().demands, GetParam().capacity));
}

const MemoryPriority kLowest = std::numeric_limits<MemoryPriority>::min();
const MemoryPriority kHighest = std::numeric_limits<MemoryPriority>::max();

INSTANTIATE_TEST_SUITE_P(
    Of, Distribution,
    ::testing::Values(
        Row{"NothingToNobody", {}, 100, {}},
        Row{"NothingToAll", {{10, 50, 1}, {0, 50, 9}}, 0, {0, 0}},
        Row{"AllThatOneAloneCanUse", {{10, 50, 1}}, 100, {50}},
        Row{"AllThereIsToOneThatWantsMore", {{10, 500, -3}}, 100, {100}},
        Row{"EqualPartsToEquals", {{10, 100, 1}, {10, 100, 1}}, 100, {50, 50}},
        // 80 are left after the minimums: 40 each.
        Row{"TheRestOnTopOfTheMinimums", {{20, 100, 1}, {0, 100, 1}}, 100, {60, 40}},
        // 80 are left: two parts of three, and one.
        Row{"TwiceAsMuchForOnePriorityMore", {{10, 100, 1}, {10, 100, 0}}, 100, {63, 36}},
        // Of 80 the first needs 10 and is offered 40; the other takes the remaining 70.
        Row{"WhatOneDoesNotNeedToTheOther", {{10, 20, 1}, {10, 100, 1}}, 100, {20, 80}},
        // The high one is offered 64 of 96, and needs 30; the low one is then offered 66.
        Row{"WhatTheHigherDoesNotNeedToTheLower", {{2, 32, 1}, {2, 60, 0}}, 100, {32, 60}},
        // 60 to the highest; of the 40 left, half of what each of the others cannot do without.
        Row{"MinimumsByPriorityThenInProportion",
            {{60, 90, 2}, {60, 90, 1}, {20, 90, 1}},
            100,
            {60, 30, 10}},
        // Half a byte to each of the higher ones is nothing, and no byte for the lower one.
        Row{"NothingLeftOverToTheLower", {{1, 9, 1}, {1, 9, 1}, {1, 9, 0}}, 1, {0, 0, 0}},
        Row{"NothingToTheLowestWhenMinimumsDoNotFit", {{60, 90, 0}, {100, 100, 1}}, 100, {0, 100}},
        Row{"NoMoreThanAMaximumBelowTheMinimum", {{50, 20, 1}, {0, 100, 1}}, 100, {20, 80}},
        Row{"HalfToEachOfTwoThatWantEverything",
            {{kMost, kMost, 1}, {kMost, kMost, 1}},
            101,
            {50, 50}},
        Row{"TheLargestFigures", {{0, kMost, 1}, {0, kMost, 1}}, kMost, {kMost / 2, kMost / 2}},
        Row{"AlikeAbove8AndBelowMinus8",
            {{0, 100, kHighest}, {0, 100, 8}, {0, 5, kLowest}, {0, 5, -8}},
            1 << 8,
            {100, 100, 5, 5}},
        // 65536 parts of 65537, and one.
        Row{"SomethingToTheLowestBesideTheHighest",
            {{0, kMost, kHighest}, {0, kMost, kLowest}},
            65537 * 3,
            {65536 * 3, 3}}),
    [](const auto& inInfo) { return inInfo.param.name; });

rc::Gen<std::uint64_t> Figure()
{
    return rc::gen::oneOf(rc::gen::inRange<std::uint64_t>(0, 1000),
                          rc::gen::arbitrary<std::uint64_t>(),
                          rc::gen::element(std::uint64_t{0}, kMost, kMost - 1, kGiB));
}

rc::Gen<Demand> AnyDemand()
{
    return rc::gen::build<Demand>(
        rc::gen::set(&Demand::minimum, Figure()), rc::gen::set(&Demand::maximum, Figure()),
        rc::gen::set(&Demand::priority, rc::gen::oneOf(rc::gen::inRange<MemoryPriority>(-3, 4),
                                                       rc::gen::arbitrary<MemoryPriority>())));
}

rc::Gen<std::vector<Demand>> AnyDemands()
{
    return rc::gen::container<std::vector<Demand>>(AnyDemand());
}

/// @return whether the sum is at most inLimit, in numbers that do not wrap.
bool SumIsWithin(const Grants& inGrants, std::uint64_t inLimit)
{
    for (const std::uint64_t grant : inGrants)
    {
        if (grant > inLimit)
            return false;
        inLimit -= grant;
    }
    return true;
}

RC_GTEST_PROP(AnyDistribution, IsWithinTheCapacityAndTheMaximums, ())
{
    const auto demands = *AnyDemands();
    const std::uint64_t capacity = *Figure();
    const Grants grants = Distribute(demands, capacity);

    RC_ASSERT(grants.size() == demands.size());
    RC_ASSERT(SumIsWithin(grants, capacity));
    for (std::size_t i = 0; i < grants.size(); ++i)
        RC_ASSERT(grants[i] <= demands[i].maximum);
}

RC_GTEST_PROP(AnyDistribution, LeavesNothingWhileSomebodyWantsMore, ())
{
    const auto demands = *AnyDemands();
    const std::uint64_t capacity = *Figure();
    const Grants grants = Distribute(demands, capacity);

    bool allSatisfied = true;
    for (std::size_t i = 0; i < grants.size(); ++i)
        allSatisfied = allSatisfied && grants[i] == std::min(demands[i].maximum, capacity);
    // What division leaves over is less than a byte each, twice: of the minimums, and of the rest.
    const std::uint64_t leftOver = 2 * demands.size();
    RC_ASSERT(allSatisfied || capacity <= leftOver ||
              !SumIsWithin(grants, capacity - leftOver - 1));
}

RC_GTEST_PROP(AnyDistribution, DoesNotDependOnTheOrder, ())
{
    auto demands = *AnyDemands();
    const std::uint64_t capacity = *Figure();
    Grants grants = Distribute(demands, capacity);
    std::reverse(demands.begin(), demands.end());
    std::reverse(grants.begin(), grants.end());
    RC_ASSERT(grants == Distribute(demands, capacity));
}

RC_GTEST_PROP(AnyDistribution, GivesAllTheirMinimumsWhereTheyFit, ())
{
    const auto demands = *AnyDemands();
    const std::uint64_t capacity = *Figure();
    Grants minimums;
    for (const Demand& demand : demands)
        minimums.push_back(std::min(demand.minimum, demand.maximum));
    RC_PRE(SumIsWithin(minimums, capacity));

    const Grants grants = Distribute(demands, capacity);
    for (std::size_t i = 0; i < grants.size(); ++i)
        RC_ASSERT(grants[i] >= minimums[i]);
}

RC_GTEST_PROP(AnyDistribution, GivesNoLessToOneOfHigherPriority, ())
{
    auto demands = *AnyDemands();
    Demand lower = *AnyDemand();
    Demand higher = lower;
    higher.priority = *rc::gen::arbitrary<MemoryPriority>();
    if (higher.priority < lower.priority)
        std::swap(higher.priority, lower.priority);
    demands.push_back(lower);
    demands.push_back(higher);

    const Grants grants = Distribute(demands, *Figure());
    RC_ASSERT(grants[grants.size() - 2] <= grants.back());
}

RC_GTEST_PROP(AnyDistribution, StarvesNobodyWhileThereIsRoom, ())
{
    auto demands = *rc::gen::container<std::vector<Demand>>(5, AnyDemand());
    for (Demand& demand : demands)
        demand.minimum = 0;
    const std::uint64_t capacity = *rc::gen::inRange<std::uint64_t>(1 << 20, kMost);
    const Grants grants = Distribute(demands, capacity);
    for (std::size_t i = 0; i < grants.size(); ++i)
        RC_ASSERT(grants[i] > 0 || demands[i].maximum == 0);
}

ContainedDemand On(std::uint64_t inTotal, std::uint64_t inFree, std::uint64_t inUsed,
                   Demand inDemand = {0, kMost, 1})
{
    return {inDemand, inTotal, inFree, inUsed};
}

TEST(Capacity, IsWhatIsFreeAndWhatTheMembersUse)
{
    EXPECT_EQ(0u, CapacityOf({}));
    EXPECT_EQ(9 * kGiB, CapacityOf({On(16 * kGiB, 8 * kGiB, kGiB)}));
    EXPECT_EQ(11 * kGiB,
              CapacityOf({On(16 * kGiB, 8 * kGiB, kGiB), On(16 * kGiB, 8 * kGiB, 2 * kGiB)}));
}

TEST(Capacity, IsAtMostAllThatTheMachineHas)
{
    EXPECT_EQ(16 * kGiB, CapacityOf({On(16 * kGiB, 8 * kGiB, 9 * kGiB)}));
    EXPECT_EQ(16 * kGiB, CapacityOf({On(16 * kGiB, kMost, kMost), On(16 * kGiB, kMost, kMost)}));
}

TEST(Capacity, TakesTheNewestAnswerAboutWhatIsFree)
{
    ContainedDemand stopped = On(16 * kGiB, kGiB, 0);
    ContainedDemand running = On(16 * kGiB, 8 * kGiB, 0);
    stopped.turn = 6;
    running.turn = 7;
    EXPECT_EQ(8 * kGiB, CapacityOf({stopped, running}));
    EXPECT_EQ(8 * kGiB, CapacityOf({running, stopped}));
    running.total = 32 * kGiB; // what is free in a smaller container is another matter
    EXPECT_EQ(8 * kGiB, CapacityOf({stopped, running}));
    EXPECT_THAT(DistributeInContainers({stopped, running}), ElementsAre(992 * kMiB, 6944 * kMiB));
}

TEST(Capacity, TakesTheLesserOfTwoAnswersOfOneAge)
{
    EXPECT_EQ(4 * kGiB, CapacityOf({On(16 * kGiB, 8 * kGiB, 0), On(16 * kGiB, 4 * kGiB, 0)}));
}

TEST(Containers, KeepBackAThirtySecond)
{
    EXPECT_THAT(DistributeInContainers({On(16 * kGiB, 8 * kGiB, 0)}),
                ElementsAre(8 * kGiB - 256 * kMiB));
    EXPECT_THAT(DistributeInContainers({On(16 * kGiB, 8 * kGiB, 0, {0, kGiB, 1})}),
                ElementsAre(kGiB));
}

TEST(Containers, OfASmallerSizeGrantNoMoreThanTheyHave)
{
    // 4 GiB less a thirty-second to the one in the container; the other has the rest of 8 + 1 + 2 GiB less
    // a thirty-second, where it would share evenly on the bare machine.
    EXPECT_THAT(
        DistributeInContainers({On(4 * kGiB, 3 * kGiB, kGiB), On(16 * kGiB, 8 * kGiB, 2 * kGiB)}),
        ElementsAre(3968 * kMiB, 10912 * kMiB - 3968 * kMiB));
}

TEST(Containers, AreSharedByTheMembersWithin)
{
    EXPECT_THAT(DistributeInContainers({On(4 * kGiB, 4 * kGiB, 0), On(16 * kGiB, 16 * kGiB, 0),
                                        On(4 * kGiB, 4 * kGiB, 0)}),
                ElementsAre(1984 * kMiB, 15872 * kMiB - 3968 * kMiB, 1984 * kMiB));
}

TEST(Containers, DoNotGrantWhatTheMachineHasNotLeft)
{
    const Grants grants =
        DistributeInContainers({On(12 * kGiB, 12 * kGiB, 0), On(16 * kGiB, 2 * kGiB, 0)});
    EXPECT_THAT(grants, ElementsAre(992 * kMiB, 992 * kMiB));
}

RC_GTEST_PROP(AnyContainers, GrantNoMoreThanEachCanGive, ())
{
    std::vector<ContainedDemand> demands;
    const auto count = *rc::gen::inRange(0, 12);
    for (int i = 0; i < count; ++i)
        demands.push_back(On(*rc::gen::element<std::uint64_t>(1, kGiB, 4 * kGiB, kMost), *Figure(),
                             *Figure(), *AnyDemand()));
    const Grants grants = DistributeInContainers(demands);

    RC_ASSERT(SumIsWithin(grants, CapacityOf(demands)));
    for (const ContainedDemand& container : demands)
    {
        Grants within;
        for (std::size_t i = 0; i < demands.size(); ++i)
        {
            RC_ASSERT(grants[i] <= demands[i].demand.maximum);
            if (demands[i].total <= container.total)
                within.push_back(grants[i]);
        }
        RC_ASSERT(SumIsWithin(within, container.total));
    }
    RC_ASSERT(MayStay(grants, demands));
}

TEST(GrantsThatWereGiven, StayWhileTheCapacityMovesALittle)
{
    const Grants grants = DistributeInContainers({On(16 * kGiB, 8 * kGiB, 0)});
    EXPECT_TRUE(MayStay(grants, {On(16 * kGiB, 8 * kGiB - 200 * kMiB, 0)}));
    EXPECT_TRUE(MayStay(grants, {On(16 * kGiB, 8 * kGiB + 200 * kMiB, 0)}));
    EXPECT_TRUE(
        MayStay(grants, {On(16 * kGiB, 7 * kGiB, kGiB)})); // what is used is not free any more
}

TEST(GrantsThatWereGiven, GoWhenTheyDoNotFitAnyMore)
{
    const Grants grants = DistributeInContainers({On(16 * kGiB, 8 * kGiB, 0)});
    EXPECT_FALSE(MayStay(grants, {On(16 * kGiB, 8 * kGiB - 257 * kMiB, 0)}));
    EXPECT_FALSE(MayStay(grants, {On(4 * kGiB, 8 * kGiB, 0)}));
    EXPECT_FALSE(MayStay(grants, {On(16 * kGiB, 8 * kGiB, 0, {0, grants[0] - 1, 1})}));
}

TEST(GrantsThatWereGiven, GoWhenMoreThanASixteenthOrSixteenMiBIsToBeHad)
{
    const Grants grants = DistributeInContainers({On(16 * kGiB, 8 * kGiB, 0)});
    EXPECT_FALSE(MayStay(grants, {On(16 * kGiB, 9 * kGiB, 0)}));

    EXPECT_TRUE(MayStay({32 * kMiB}, {On(16 * kGiB, 8 * kGiB, 0, {0, 48 * kMiB, 1})}));
    EXPECT_FALSE(MayStay({32 * kMiB}, {On(16 * kGiB, 8 * kGiB, 0, {0, 49 * kMiB, 1})}));
}

TEST(GrantsThatWereGiven, GoWhenSomebodyHasNone)
{
    EXPECT_FALSE(MayStay({0}, {On(16 * kGiB, 8 * kGiB, 0, {0, 1, 1})}));
    EXPECT_TRUE(MayStay({0}, {On(16 * kGiB, 8 * kGiB, 0, {0, 0, 1})}));
}

} // namespace
