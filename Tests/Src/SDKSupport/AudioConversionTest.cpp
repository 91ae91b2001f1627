#include "RKSDKConversion.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <vector>

#include "FarNumbers.h"

namespace
{

using namespace RK;
using namespace qelmediatypes;
using RKTests::FarNumbers;

using Table = std::map<std::int32_t, std::int32_t>;

std::int32_t At(const Table& inTable, std::int32_t inKey, std::int32_t inOther)
{
    const auto found = inTable.find(inKey);
    return found == inTable.end() ? inOther : found->second;
}

std::vector<int> Labels(const AudioChannelLayout& inLayout)
{
    std::vector<int> labels;
    for (const AudioChannelDescription& channel : inLayout)
        labels.push_back(channel.label);
    return labels;
}

bool IsValidLabel(std::int32_t inLabel)
{
    return (inLabel >= 100 && inLabel <= 119) || (inLabel >= 127 && inLabel <= 142);
}

TEST(SDKAudioChannelType, FollowsTheTableBothWaysAndTakesAnythingElseForMono)
{
    const Table toBE{{1, 0}, {2, 1}, {3, 2}, {4, 3}};
    const Table toSDK{{0, 1}, {1, 2}, {2, 3}, {3, 4}};
    for (const std::int32_t number : FarNumbers())
    {
        EXPECT_EQ(At(toBE, number, 0), SDKToBEAudioChannelType(number)) << number;
        EXPECT_EQ(At(toSDK, number, 1),
                  BEToSDKAudioChannelType(static_cast<AudioChannelType>(number)))
            << number;
    }
}

TEST(SDKAudioChannelType, HasTheLayoutOfItsKindAndNoneForAnyOtherNumber)
{
    for (const std::int32_t number : FarNumbers())
    {
        const AudioChannelLayout layout = SDKAudioChannelTypeToBEAudioChannelLayout(number);
        switch (number)
        {
        case 1:
            EXPECT_EQ(CreateMonoChannelLayout(), layout);
            break;
        case 2:
            EXPECT_EQ(CreateStereoChannelLayout(), layout);
            break;
        case 3:
            EXPECT_EQ(Create51ChannelLayout(), layout);
            break;
        case 4:
            EXPECT_EQ(CreateMultichannelLayout(32), layout);
            break;
        default:
            EXPECT_TRUE(layout.empty()) << number;
        }
    }
}

TEST(SDKAudioChannelType, WritesTheLayoutAsLabelsAndNothingBehindTheRoomItWasGiven)
{
    std::vector<QzAudioChannelLabel> labels(8, -7);
    std::int32_t count = 4;
    SDKAudioChannelTypeToSDKAudioChannelLayout(3, count, labels.data());
    EXPECT_EQ(4, count);
    EXPECT_THAT(labels, testing::ElementsAre(100, 101, 102, 103, -7, -7, -7, -7));

    count = 8;
    SDKAudioChannelTypeToSDKAudioChannelLayout(3, count, labels.data());
    EXPECT_EQ(6, count);
    EXPECT_THAT(labels, testing::ElementsAre(100, 101, 102, 103, 104, 105, -7, -7));

    count = 8;
    SDKAudioChannelTypeToSDKAudioChannelLayout(5, count, labels.data());
    EXPECT_EQ(0, count);
}

TEST(SDKAudioChannelType, LeavesARoomOfNothingAsItIsAndWritesNothing)
{
    for (const std::int32_t room : {0, -1, std::numeric_limits<std::int32_t>::min()})
    {
        std::int32_t count = room;
        SDKAudioChannelTypeToSDKAudioChannelLayout(4, count, nullptr);
        EXPECT_EQ(room, count);
    }
}

TEST(SDKAudioSampleType, FollowsTheTablesAndTakesAnythingElseForUnknown)
{
    const Table toBE{{0, -1}, {1, 1},  {2, 2},  {3, 3},   {4, 4},   {5, 5},
                     {6, 6},  {7, 10}, {8, 11}, {9, 12},  {10, 13}, {11, 14},
                     {12, 7}, {13, 8}, {14, 9}, {15, -2}, {16, 15}};
    const Table toSDK{{-2, 15}, {-1, 15}, {0, 15}, {1, 1},   {2, 2},   {3, 3},
                      {4, 4},   {5, 5},   {6, 6},  {7, 12},  {8, 13},  {9, 14},
                      {10, 7},  {11, 8},  {12, 9}, {13, 10}, {14, 11}, {15, 16}};
    for (const std::int32_t number : FarNumbers())
    {
        EXPECT_EQ(At(toBE, number, -1), SDKToBEAudioSampleType(number)) << number;
        EXPECT_EQ(At(toSDK, number, 15),
                  BEToSDKAudioSampleType(static_cast<AudioSampleType>(number)))
            << number;
    }
}

TEST(SDKAudioSampleType, OnlyZeroDoesNotSurviveARoundTrip)
{
    for (std::int32_t number = 0; number <= 16; ++number)
        EXPECT_EQ(number == 0 ? 15 : number,
                  BEToSDKAudioSampleType(SDKToBEAudioSampleType(number)));
}

TEST(SDKAudioChannelLabel, IsTheSameNumberOnBothSidesOrDiscrete)
{
    for (const std::int32_t number : FarNumbers())
    {
        const std::int32_t expected = IsValidLabel(number) ? number : 0;
        EXPECT_EQ(expected, SDKToBEAudioChannelLabel(number)) << number;
        EXPECT_EQ(expected, BEToSDKAudioChannelLabel(static_cast<AudioChannelLabel>(number)))
            << number;
    }
    EXPECT_EQ(0, SDKToBEAudioChannelLabel(120));
    EXPECT_EQ(127, SDKToBEAudioChannelLabel(127));
}

TEST(SDKAudioChannelLayout, KeepsItsSizeAndMakesInvalidLabelsDiscrete)
{
    const QzAudioChannelLabel labels[] = {0, 101, 126, 142, 143, -1};
    EXPECT_THAT(Labels(SDKToBEAudioChannelLayout(6, labels)),
                testing::ElementsAre(0, 101, 0, 142, 0, 0));
    EXPECT_TRUE(SDKToBEAudioChannelLayout(0, labels).empty());
    EXPECT_TRUE(SDKToBEAudioChannelLayout(-5, nullptr).empty());
}

TEST(SDKAudioChannelLayout, IsWrittenAsFarAsTheRoomGoes)
{
    const AudioChannelLayout layout = {{kAudioChannelLabel_Right},
                                       {static_cast<AudioChannelLabel>(120)},
                                       {kAudioChannelLabel_Left}};
    QzAudioChannelLabel labels[] = {-7, -7, -7, -7};

    std::int32_t count = 2;
    BEToSDKAudioChannelLayout(layout, count, labels);
    EXPECT_EQ(2, count);
    EXPECT_THAT(labels, testing::ElementsAre(101, 0, -7, -7));

    count = 4;
    BEToSDKAudioChannelLayout(layout, count, labels);
    EXPECT_EQ(3, count);
    EXPECT_THAT(labels, testing::ElementsAre(101, 0, 100, -7));
}

} // namespace
