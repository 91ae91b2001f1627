#include "Audio/AudioChannelType.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

using namespace RK;
using namespace qelmediatypes;

AudioChannelLayout Layout(const std::vector<int>& inLabels)
{
    AudioChannelLayout layout;
    for (const int label : inLabels)
        layout.push_back({static_cast<AudioChannelLabel>(label)});
    return layout;
}

TEST(AudioChannelType, HasTheLayoutOfItsKind)
{
    EXPECT_EQ(kAudioChannelLayout_Empty, CreateAudioChannelLayout(kAudioChannelType_None, 6));
    EXPECT_EQ(kAudioChannelLayout_Mono, CreateAudioChannelLayout(kAudioChannelType_Mono, 6));
    EXPECT_EQ(kAudioChannelLayout_Stereo, CreateAudioChannelLayout(kAudioChannelType_Stereo, 6));
    EXPECT_EQ(kAudioChannelLayout_51, CreateAudioChannelLayout(kAudioChannelType_51, 1));
    EXPECT_EQ(kAudioChannelLayout_4Discrete,
              CreateAudioChannelLayout(kAudioChannelType_4Discrete, 7));
    EXPECT_EQ(kAudioChannelLayout_8Discrete,
              CreateAudioChannelLayout(kAudioChannelType_8Discrete, 0));
    for (const int number : {-3, -1000, 6, 7, 1000})
        EXPECT_TRUE(CreateAudioChannelLayout(static_cast<AudioChannelType>(number), 4).empty())
            << number;
}

TEST(AudioChannelType, GivesAsManyDiscreteChannelsAsAreAskedFor)
{
    for (const std::size_t count : {0u, 1u, 7u, 32u, 100u})
    {
        EXPECT_EQ(CreateMultichannelLayout(count),
                  CreateAudioChannelLayout(kAudioChannelType_Multichannel, count));
        EXPECT_EQ(CreateMultichannelLayout(count),
                  CreateAudioChannelLayout(kAudioChannelType_Discrete, count));
    }
}

TEST(AudioChannelType, OfOneChannelIsMonoUnlessItHasALoudspeaker)
{
    EXPECT_EQ(kAudioChannelType_Mono, CreateAudioChannelType(Layout({0})));
    EXPECT_EQ(kAudioChannelType_Mono, CreateAudioChannelType(Layout({-1})));
    EXPECT_EQ(kAudioChannelType_None, CreateAudioChannelType(Layout({1})));
    EXPECT_EQ(kAudioChannelType_None, CreateAudioChannelType(Layout({100})));
}

TEST(AudioChannelType, OfTwoChannelsIsStereoOnlyLeftThenRight)
{
    EXPECT_EQ(kAudioChannelType_Stereo, CreateAudioChannelType(Layout({100, 101})));
    EXPECT_EQ(kAudioChannelType_None, CreateAudioChannelType(Layout({101, 100})));
    EXPECT_EQ(kAudioChannelType_None, CreateAudioChannelType(Layout({0, 0})));
}

TEST(AudioChannelType, OfSixChannelsIs51InAnyOrder)
{
    std::vector<int> labels = {100, 101, 102, 103, 104, 105};
    do
        ASSERT_EQ(kAudioChannelType_51, CreateAudioChannelType(Layout(labels)));
    while (std::next_permutation(labels.begin(), labels.end()));
    EXPECT_EQ(kAudioChannelType_51, CreateAudioChannelType(kAudioChannelLayout_Legacy51));
    EXPECT_EQ(kAudioChannelType_None,
              CreateAudioChannelType(Layout({100, 101, 102, 103, 104, 104})));
    EXPECT_EQ(kAudioChannelType_None, CreateAudioChannelType(CreateMultichannelLayout(6)));
}

TEST(AudioChannelType, OfAnyOtherSizeIsNoneButFor32)
{
    for (std::size_t size = 0; size < 100; ++size)
    {
        if (size == 1)
            continue;
        EXPECT_EQ(size == 32 ? kAudioChannelType_Multichannel : kAudioChannelType_None,
                  CreateAudioChannelType(CreateMultichannelLayout(size)))
            << size;
    }
}

} // namespace
