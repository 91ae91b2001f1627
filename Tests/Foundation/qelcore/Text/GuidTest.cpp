#include "qelcore/Guid.h"

#include <cstring>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

#include <boost/functional/hash.hpp>
#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

namespace
{

using qelcore::utility::Guid;

constexpr char kText[] = "267A9BAA-13DE-47e7-9652-6067D5212D2E";
constexpr Guid kGuid(0x267A9BAA, 0x13DE, 0x47E7, 0x96, 0x52, 0x60, 0x67, 0xD5, 0x21, 0x2D, 0x2E);

Guid Parse(const std::string& inText)
{
    return Guid::StringToGUID(inText.data(), inText.size());
}

TEST(Guid, PlacesItsElevenPartsFromTheTopOfItsTwoHalves)
{
    EXPECT_EQ(0x267A9BAA13DE47E7, kGuid.High());
    EXPECT_EQ(static_cast<std::int64_t>(0x96526067D5212D2Eu), kGuid.Low());
}

TEST(Guid, IsParsedFromItsNotationInEitherCase)
{
    EXPECT_EQ(kGuid, Guid::StringToGUID(kText, std::strlen(kText)));
    EXPECT_EQ(kGuid, Parse("267a9baa-13de-47e7-9652-6067d5212d2e"));
    EXPECT_EQ(kGuid, Parse("267A9BAA-13DE-47E7-9652-6067D5212D2E"));
}

TEST(Guid, IsParsedFromTheStatedLengthAlone)
{
    const std::string text = std::string(kText) + "and more";
    EXPECT_EQ(kGuid, Guid::StringToGUID(text.data(), 36));
    const std::vector<char> unended(kText, kText + 36);
    EXPECT_EQ(kGuid, Guid::StringToGUID(unended.data(), unended.size()));
}

TEST(Guid, WritesItsNotationInUpperCase)
{
    EXPECT_EQ("267A9BAA-13DE-47E7-9652-6067D5212D2E", kGuid.ToString());
    EXPECT_EQ("00000000-0000-0000-0000-000000000000", Guid().ToString());
}

class MalformedGuid : public testing::TestWithParam<std::string>
{
};

TEST_P(MalformedGuid, IsZero)
{
    EXPECT_EQ(Guid(), Parse(GetParam()));
    EXPECT_TRUE(Parse(GetParam()).IsNull());
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MalformedGuid,
    testing::Values("", "-", "{267A9BAA-13DE-47e7-9652-6067D5212D2E}",
                    "{67A9BAA-13DE-47e7-9652-6067D5212D2}", "267A9BAA13DE47e796526067D5212D2E",
                    "267A9BAA-13DE-47e7-9652-6067D5212D2", "267A9BAA-13DE-47e7-9652-6067D5212D2EE",
                    "267A9BA-A13DE-47e7-9652-6067D5212D2E", "267A9BAA-13DE-47e7-96526-067D5212D2E",
                    "267A9BAA-13DE-47e7-9652-6067D5212D2G", " 267A9BAA-13DE-47e7-9652-6067D5212D2",
                    "267A9BAA_13DE_47e7_9652_6067D5212D2E", "+67A9BAA-13DE-47e7-9652-6067D5212D2E",
                    "267A9BAA-13DE-47e7-9652-6067D5212D2 ", "0x7A9BAA-13DE-47e7-9652-6067D5212D2E",
                    "------------------------------------",
                    std::string("267A9BAA-13DE-47e7-9652-6067D521\0D2E", 36)));

TEST(Guid, IsZeroForEveryTextThatDiffersInOneByteFromAGoodOneByWhatIsNoDigit)
{
    for (std::size_t place = 0; place < 36; ++place)
        for (int byte = 0; byte < 256; ++byte)
        {
            std::string text = kText;
            text[place] = static_cast<char>(byte);
            const bool digit = std::strchr("0123456789abcdefABCDEF", byte) && byte != 0;
            const bool good = kText[place] == '-' ? byte == '-' : digit;
            ASSERT_EQ(good, !Parse(text).IsNull()) << text;
        }
}

TEST(Guid, IsZeroForNullText)
{
    EXPECT_EQ(Guid(), Guid::StringToGUID(nullptr, 36));
    EXPECT_EQ(Guid(), Guid::StringToGUID(nullptr, 0));
}

TEST(Guid, OrdersByTwoSignedHalves)
{
    EXPECT_LT(Parse("80000000-0000-0000-0000-000000000000"), Guid());
    EXPECT_LT(Parse("00000000-0000-0000-8000-000000000000"), Guid());
    EXPECT_LT(Guid(0, -1), Guid(0, 0));
    EXPECT_LT(Guid(0, 9), Guid(1, -9));
    EXPECT_FALSE(Guid(1, 1) < Guid(1, 1));
}

TEST(Guid, IsUniqueAndOfVersionFour)
{
    std::set<Guid> made;
    std::uint64_t everSet[2] = {0, 0}, everClear[2] = {0, 0};
    for (int i = 0; i < 2000; ++i)
    {
        const Guid guid = Guid::CreateUnique();
        EXPECT_TRUE(made.insert(guid).second);
        ASSERT_EQ(0x4000, guid.High() & 0xF000);
        ASSERT_EQ(2u, static_cast<std::uint64_t>(guid.Low()) >> 62);
        everSet[0] |= static_cast<std::uint64_t>(guid.High());
        everSet[1] |= static_cast<std::uint64_t>(guid.Low());
        everClear[0] |= ~static_cast<std::uint64_t>(guid.High());
        everClear[1] |= ~static_cast<std::uint64_t>(guid.Low());
    }
    // Each other bit took both values.
    EXPECT_EQ(~std::uint64_t{0xF000}, everSet[0] & everClear[0]);
    EXPECT_EQ(~std::uint64_t{0} >> 2, everSet[1] & everClear[1]);
}

TEST(Guid, IsAKeyOfUnorderedContainers)
{
    std::unordered_set<Guid> guids = {kGuid, Guid(), kGuid, Guid(1, 2)};
    EXPECT_EQ(3u, guids.size());
    EXPECT_EQ(std::hash<Guid>()(kGuid), boost::hash<Guid>()(kGuid));
}

RC_GTEST_PROP(Guid, ComesBackFromItsText, (std::int64_t inHigh, std::int64_t inLow))
{
    const Guid guid(inHigh, inLow);
    RC_ASSERT(Parse(guid.ToString()) == guid);
}

RC_GTEST_PROP(Guid, WritesWhatBoostReadsAsTheSameBytes, (std::int64_t inHigh, std::int64_t inLow))
{
    const auto uuid = boost::lexical_cast<boost::uuids::uuid>(Guid(inHigh, inLow).ToString());
    std::uint64_t halves[2] = {0, 0};
    for (std::size_t i = 0; i < 16; ++i)
        halves[i / 8] = (halves[i / 8] << 8) | uuid.data[i];
    RC_ASSERT(static_cast<std::int64_t>(halves[0]) == inHigh);
    RC_ASSERT(static_cast<std::int64_t>(halves[1]) == inLow);
}

} // namespace
