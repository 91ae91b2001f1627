#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qelcore/ErrorManager.h"
#include "qelmediatypes/AudioChannelDescription.h"
#include "qelmediatypes/FieldType.h"
#include "qelmediatypes/PixelAspectRatio.h"
#include "qelmediatypes/PixelFormat.h"

namespace
{

using namespace qelmediatypes;

std::vector<int> Labels(const AudioChannelLayout& inLayout)
{
    std::vector<int> labels;
    for (const AudioChannelDescription& channel : inLayout)
        labels.push_back(channel.label);
    return labels;
}

TEST(AudioChannelLayout, MakersLabelTheChannelsInTheOrderOfTheStream)
{
    EXPECT_THAT(Labels(CreateMonoChannelLayout()), testing::ElementsAre(0));
    EXPECT_THAT(Labels(CreateStereoChannelLayout()), testing::ElementsAre(100, 101));
    EXPECT_THAT(Labels(Create51ChannelLayout()),
                testing::ElementsAre(100, 101, 102, 103, 104, 105));
    EXPECT_THAT(Labels(CreateMultichannelLayout(3)), testing::ElementsAre(0, 0, 0));
    EXPECT_THAT(Labels(CreateMultichannelLayout(0)), testing::IsEmpty());
}

TEST(AudioChannelLayout, TheOlder51HoldsTheSameChannelsInAnotherOrder)
{
    const AudioChannelLayout layout = CreateLegacy51ChannelLayout();
    EXPECT_NE(Create51ChannelLayout(), layout);
    EXPECT_THAT(Labels(layout),
                testing::UnorderedElementsAreArray(Labels(Create51ChannelLayout())));
}

TEST(PixelAspectRatio, KeepsTheNumbersItWasGivenAndComparesTheirQuotients)
{
    PixelAspectRatio ratio;
    EXPECT_EQ(kPixelAspectRatio_Square, ratio);

    ratio.SetValue(20, 22);
    EXPECT_EQ(20, ratio.GetNumerator());
    EXPECT_EQ(22, ratio.GetDenominator());
    EXPECT_EQ(kPixelAspectRatio_DVNTSC, ratio);
    EXPECT_NE(kPixelAspectRatio_DVNTSC_Incorrect, ratio);
}

TEST(PixelAspectRatio, ADenominatorThatIsNotPositiveIsAViolatedContract)
{
    PixelAspectRatio ratio(5, 4);
    EXPECT_THROW(ratio.SetValue(1, 0), qelcore::config::Error);
    EXPECT_THROW(ratio.SetValue(1, -1), qelcore::config::Error);
    EXPECT_EQ(PixelAspectRatio(5, 4), ratio);
}

TEST(PixelFormatName, HoldsTheCharactersFromTheLowestByteUpAndThePropertiesAbove)
{
    EXPECT_EQ(0x00000008'64636261u, MakePixelFormatName("abcd", kPixelFormatProperty_8u));
    EXPECT_EQ(0xFFFFFFFF'66646162u, kPixelFormat_Invalid);
    EXPECT_EQ(0x00010108'41524742u, kPixelFormat_BGRA_4444_8u);
}

TEST(FieldType, KeepsTheNumbersThatDocumentsHold)
{
    EXPECT_EQ(-1, kFieldType_Any);
    EXPECT_EQ(0, kFieldType_Progressive);
    EXPECT_EQ(1, kFieldType_Upper);
    EXPECT_EQ(2, kFieldType_Lower);
    EXPECT_EQ(3, kFieldType_Unknown);
    EXPECT_EQ(4, kFieldType_Mixed);
}

} // namespace
