#include "qelcore/BinaryText.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using qelcore::UTF8String;
using qelcore::utility::DecodeBinaryDataFromUTF8String;
using qelcore::utility::EncodeBinaryDataToUTF8String;

std::string Encoded(const std::string& inBytes)
{
    UTF8String text = qelcore::ToUTF8String("what was there");
    EXPECT_TRUE(EncodeBinaryDataToUTF8String(inBytes.data(), inBytes.size(), text));
    return qelcore::ToNarrowString(text);
}

/// "(bad)" if the text does not decode; the output must be untouched then.
std::string Decoded(const std::string& inText)
{
    std::vector<std::uint8_t> bytes = {1, 2, 3};
    if (!DecodeBinaryDataFromUTF8String(qelcore::ToUTF8String(inText), bytes))
    {
        EXPECT_EQ(bytes, (std::vector<std::uint8_t>{1, 2, 3}));
        return "(bad)";
    }
    return std::string(bytes.begin(), bytes.end());
}

struct Pair
{
    const char* bytes;
    const char* text;
};

// The test vectors of RFC 4648, section 10.
constexpr Pair kPairs[] = {{"", ""},
                           {"f", "Zg=="},
                           {"fo", "Zm8="},
                           {"foo", "Zm9v"},
                           {"foob", "Zm9vYg=="},
                           {"fooba", "Zm9vYmE="},
                           {"foobar", "Zm9vYmFy"}};

TEST(BinaryText, AgreesWithTheVectorsOfTheStandard)
{
    for (const Pair& pair : kPairs)
    {
        EXPECT_EQ(Encoded(pair.bytes), pair.text);
        EXPECT_EQ(Decoded(pair.text), pair.bytes);
    }
}

TEST(BinaryText, UsesAllSixtyFourCharacters)
{
    std::string bytes;
    for (unsigned group = 0; group < 16; ++group)
    {
        const unsigned bits = ((group * 4) << 18) | ((group * 4 + 1) << 12) |
                              ((group * 4 + 2) << 6) | (group * 4 + 3);
        for (const int shift : {16, 8, 0})
            bytes += static_cast<char>(bits >> shift);
    }
    EXPECT_EQ(Encoded(bytes), "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    EXPECT_EQ(Decoded(Encoded(bytes)), bytes);
}

TEST(BinaryText, ComesBackForEveryLengthAndByte)
{
    std::string bytes;
    for (int i = 0; i < 600; ++i)
    {
        EXPECT_EQ(Decoded(Encoded(bytes)), bytes);
        bytes += static_cast<char>(i * 7);
    }
}

class BadText : public testing::TestWithParam<const char*>
{
};

TEST_P(BadText, IsRefusedAndChangesNothing)
{
    EXPECT_EQ(Decoded(GetParam()), "(bad)");
}

INSTANTIATE_TEST_SUITE_P(Kinds, BadText,
                         testing::Values("Z", "Zg", "Zg=",                   // no whole group
                                         "====", "Z===", "=Zg=", "Zg==Zg==", // padding out of place
                                         "Zh==", "Zm9=",                     // spare bits set
                                         "Zm9v\n", "Zm 9v", "Zm9v\r\n\r\n", "Zm9-", "Zm9_", "Zm9*",
                                         "Zm\xC3\xA4", "AAEC!mFj"));

TEST(BinaryText, ANulIsNoDigit)
{
    EXPECT_EQ(Decoded(std::string("Zm9\0", 4)), "(bad)");
}

} // namespace
