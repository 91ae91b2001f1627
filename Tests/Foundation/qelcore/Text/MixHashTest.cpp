#include "qelcore/MixHash.h"

#include <algorithm>
#include <bit>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace
{

using qelcore::utility::Guid;
using qelcore::utility::MixHash;

using HashValue = MixHash::HashValue;

HashValue Mixed(const HashValue& inState, const std::string& inBytes)
{
    HashValue state = inState;
    MixHash::MixInData(state, inBytes.data(), inBytes.size());
    return state;
}

// The values below were taken from the compiled xxHash library, over the state's 16 bytes and the text
// at once. They hold the function still: identities that a client has stored must not change.
TEST(MixHash, IsXXH3OverTheStateAndTheBytes)
{
    EXPECT_EQ((HashValue{0xE5189A95, 0x99E3F862, 0x05EA23EF, 0x06E28B2D}), Mixed({0, 0, 0, 0}, ""));
    EXPECT_EQ((HashValue{0xC636CD1D, 0xD2D53F69, 0x936920A4, 0xD8F06B10}),
              Mixed({0, 0, 0, 25}, "RK.StillSequence.ModState"));
    EXPECT_EQ((HashValue{0x199F5D0C, 0xBC5986B9, 0xC6A5B687, 0x720684EF}),
              Mixed({0x01020304, 0x05060708, 0x090A0B0C, 0x0D0E0F10}, std::string(10000, 'x')));
}

TEST(MixHash, GivesTheSameStateForTheSameStateAndBytes)
{
    for (const std::size_t length : {0, 1, 16, 223, 224, 225, 1024, 100000})
        EXPECT_EQ(Mixed({1, 2, 3, 4}, std::string(length, 'a')),
                  Mixed({1, 2, 3, 4}, std::string(length, 'a')));
}

TEST(MixHash, DiffersForEveryLengthUpToBeyondTheShortPath)
{
    std::vector<HashValue> states;
    for (std::size_t length = 0; length < 600; ++length)
        states.push_back(Mixed({0, 0, 0, 0}, std::string(length, '\0')));
    std::sort(states.begin(), states.end());
    EXPECT_EQ(states.end(), std::adjacent_find(states.begin(), states.end()));
}

TEST(MixHash, DependsOnEachWordOfTheState)
{
    const HashValue whole = Mixed({0, 0, 0, 0}, "data");
    for (std::size_t word = 0; word < 4; ++word)
    {
        HashValue other = {0, 0, 0, 0};
        other[word] = 1;
        EXPECT_NE(whole, Mixed(other, "data")) << word;
    }
}

TEST(MixHash, DependsOnTheOrderInWhichDataIsMixedIn)
{
    EXPECT_NE(Mixed(Mixed({}, "a"), "b"), Mixed(Mixed({}, "b"), "a"));
    EXPECT_NE(Mixed(Mixed({}, "a"), "b"), Mixed({}, "ab"));
}

TEST(MixHash, ChangesTheStateWithoutBytesToo)
{
    HashValue state = {1, 2, 3, 4};
    MixHash::MixInData(state, nullptr, 0);
    EXPECT_NE((HashValue{1, 2, 3, 4}), state);
    EXPECT_EQ(Mixed({1, 2, 3, 4}, ""), state);
}

TEST(MixHash, TurnsAboutHalfOfTheBitsForEachBitOfTheData)
{
    const std::string data(24, 'm');
    const HashValue whole = Mixed({}, data);
    for (std::size_t bit = 0; bit < data.size() * 8; ++bit)
    {
        std::string other = data;
        other[bit / 8] = static_cast<char>(other[bit / 8] ^ (1 << (bit % 8)));
        const HashValue mixed = Mixed({}, other);
        int turned = 0;
        for (std::size_t word = 0; word < 4; ++word)
            turned += std::popcount(whole[word] ^ mixed[word]);
        EXPECT_GT(turned, 32) << bit;
        EXPECT_LT(turned, 96) << bit;
    }
}

TEST(MixHash, BecomesAGuidByItsWordsInOrder)
{
    EXPECT_EQ("00010203-0405-0607-0809-0A0B0C0D0E0F",
              MixHash::ToGuid({0x00010203, 0x04050607, 0x08090A0B, 0x0C0D0E0F}).ToString());
    EXPECT_EQ(Guid(-1, -1), MixHash::ToGuid({~0u, ~0u, ~0u, ~0u}));
}

} // namespace
