#include "qelcore/ImmutableString.h"

#include <cstdlib>
#include <map>
#include <string>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include <boost/functional/hash.hpp>
#include <gtest/gtest.h>

namespace
{

using namespace qelcore;
using namespace qelcore::literals;
using qelcore::utility::ImmutableString;

// Set up before main(), in whatever order the units of this program are.
const ImmutableString sEarly = ImmutableString::CreateStatic("set up before main");

TEST(ImmutableString, CanBeMadeBeforeMain)
{
    EXPECT_EQ(ImmutableString::CreateDynamic("set up before main"), sEarly);
}

// Destroyed after everything that main() and the tests have set up.
struct InternsDuringExit
{
    ~InternsDuringExit()
    {
        if (!mTextAtExit)
            return;
        const bool works = ImmutableString::CreateDynamic(mTextAtExit).ToString() == u"at exit";
        const bool freed = ImmutableString::PurgeUnusedStrings();
        std::_Exit(works && freed ? 3 : 4);
    }
    const char* mTextAtExit = nullptr;
} sDuringExit;

TEST(ImmutableString, CanBeMadeAndPurgedDuringExit)
{
    EXPECT_EXIT(
        {
            sDuringExit.mTextAtExit = "at exit";
            std::exit(0);
        },
        testing::ExitedWithCode(3), "");
}

TEST(ImmutableString, IsOneObjectForOneTextHoweverItWasMade)
{
    const ImmutableString first = ImmutableString::CreateStatic("one text");

    EXPECT_EQ(first, ImmutableString::CreateStatic("one text"));
    EXPECT_EQ(first, ImmutableString::CreateDynamic("one text"));
    EXPECT_EQ(first, ImmutableString::CreateDynamic("one text and more", 8));
    EXPECT_EQ(first, ImmutableString::CreateDynamic(u"one text"_utf16));
    EXPECT_EQ(first, ImmutableString::CreateDynamic(u"one text and more", 8));
    EXPECT_EQ(first.Identity(), ImmutableString::CreateDynamic("one text").Identity());
    EXPECT_NE(first, ImmutableString::CreateDynamic("one tex"));
}

TEST(ImmutableString, IsOneObjectForOneTextThatWasWideFirst)
{
    for (const char16_t* text : {u"wide first", u"größer \u20AC", u"\U0001F600", u""})
    {
        const ImmutableString wide = ImmutableString::CreateDynamic(UTF16String(text));
        EXPECT_EQ(UTF16String(text), wide.ToString());
        EXPECT_EQ(wide, ImmutableString::CreateDynamic(UTF16String(text)));
    }
    const ImmutableString wide = ImmutableString::CreateDynamic(u"größer \u20AC"_utf16);
    EXPECT_EQ(wide, ImmutableString::CreateDynamic("größer \u20AC"));
    EXPECT_EQ(wide, ImmutableString::CreateStatic("größer \u20AC"));
}

TEST(ImmutableString, IsOneObjectForTextsOfEveryLengthAndWidth)
{
    std::vector<ImmutableString> held;
    for (std::size_t length = 0; length < 40; ++length)
    {
        const std::string narrow(length, 'q');
        held.push_back(ImmutableString::CreateDynamic(UTF16String(length, u'q')));
        ASSERT_EQ(held.back(), ImmutableString::CreateDynamic(narrow.c_str())) << length;
        ASSERT_EQ(length, held.back().ToString().size());
        held.push_back(ImmutableString::CreateDynamic(UTF16String(length, u'\u20AC')));
        ASSERT_EQ(length == 0, held.back() == held[held.size() - 2]) << length;
    }
}

TEST(ImmutableString, TellsTextsApartThatDifferInOneUnit)
{
    const std::string text = "abcdefghijklmnopqrstuvwxyz";
    const ImmutableString whole = ImmutableString::CreateDynamic(text.c_str());
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        std::string other = text;
        other[i] = '!';
        const ImmutableString made = ImmutableString::CreateDynamic(other.c_str());
        EXPECT_NE(whole, made);
        EXPECT_EQ(UTF16String(other.begin(), other.end()), made.ToString());
    }
}

TEST(ImmutableString, KeepsTheNULsAndTheLoneSurrogatesOfItsText)
{
    const UTF16String text = {u'a', 0, u'b', 0xD800};
    EXPECT_EQ(text, ImmutableString::CreateDynamic(text).ToString());
    EXPECT_NE(ImmutableString::CreateDynamic("a"), ImmutableString::CreateDynamic("a\0", 2));
}

TEST(ImmutableString, TakesMalformedUTF8WithReplacementCharacters)
{
    EXPECT_EQ(u"a\uFFFD"_utf16, ImmutableString::CreateDynamic("a\xFF").ToString());
    EXPECT_EQ(u"a\uFFFD"_utf16, ImmutableString::CreateStatic("a\xFF").ToString());
}

TEST(ImmutableString, KeepsALiteralWhereItIs)
{
    // A buffer stands for the literal, so that looking behind it can be seen.
    static char sLiteral[] = "a literal that is looked at in its place";
    const ImmutableString kept = ImmutableString::CreateStatic(sLiteral);
    sLiteral[0] = 'A';
    EXPECT_EQ(u'A', kept.ToString()[0]);
    sLiteral[0] = 'a';

    static char sCopied[] = "a text that is copied";
    const ImmutableString copied = ImmutableString::CreateDynamic(sCopied);
    sCopied[0] = 'A';
    EXPECT_EQ(u'a', copied.ToString()[0]);
    sCopied[0] = 'a';
}

TEST(ImmutableString, IsNullWithoutAText)
{
    const ImmutableString null;
    EXPECT_TRUE(null.IsNull());
    EXPECT_EQ(ImmutableString::sNullString, null);
    EXPECT_EQ(UTF16String(), null.ToString());
    EXPECT_EQ(nullptr, null.Identity());
    EXPECT_TRUE(ImmutableString::CreateStatic(nullptr).IsNull());
    EXPECT_TRUE(ImmutableString::CreateDynamic(static_cast<const char*>(nullptr)).IsNull());
}

TEST(ImmutableString, OfTheEmptyTextIsNotTheNullValue)
{
    const ImmutableString empty = ImmutableString::CreateDynamic("");
    EXPECT_FALSE(empty.IsNull());
    EXPECT_NE(ImmutableString::sNullString, empty);
    EXPECT_EQ(UTF16String(), empty.ToString());
    EXPECT_EQ(empty, ImmutableString::CreateDynamic(static_cast<const char16_t*>(nullptr), 0));
    EXPECT_EQ(empty, ImmutableString::CreateDynamic(static_cast<const char*>(nullptr), 0));
    EXPECT_EQ(empty, ImmutableString::CreateStatic(""));
}

TEST(ImmutableString, OrdersByIdentity)
{
    const ImmutableString a = ImmutableString::CreateStatic("order a");
    const ImmutableString b = ImmutableString::CreateStatic("order b");
    EXPECT_EQ(std::less<const void*>()(a.Identity(), b.Identity()), a < b);
    EXPECT_NE(a < b, b < a);
    EXPECT_FALSE(a < a);
    EXPECT_LT(ImmutableString::sNullString, a);
}

TEST(ImmutableString, IsAKeyOfContainersByIdentity)
{
    const ImmutableString a = ImmutableString::CreateStatic("key a");
    const std::unordered_set<ImmutableString> set = {a, ImmutableString(), a};
    EXPECT_EQ(2u, set.size());
    EXPECT_EQ(1u, set.count(ImmutableString::CreateDynamic("key a")));
    EXPECT_EQ(boost::hash<ImmutableString>()(a), std::hash<ImmutableString>()(a));
}

TEST(ImmutableString, MovesWithoutLeavingAHolderBehind)
{
    ImmutableString from = ImmutableString::CreateDynamic("moved");
    ImmutableString to = std::move(from);
    EXPECT_TRUE(from.IsNull()); // NOLINT(bugprone-use-after-move): what a move leaves is promised
    to = ImmutableString::CreateDynamic("moved on");
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings()); // "moved"
    EXPECT_EQ(u"moved on"_utf16, to.ToString());
}

TEST(ImmutableString, SurvivesAssignmentToItself)
{
    ImmutableString text = ImmutableString::CreateDynamic("self");
    ImmutableString& same = text;
    text = same;
    EXPECT_EQ(u"self"_utf16, text.ToString());
    text = std::move(same);
    EXPECT_EQ(u"self"_utf16, text.ToString());
}

// Begins and ends with nothing unused in the table.
class PurgeUnusedStrings : public testing::Test
{
protected:
    void SetUp() override
    {
        ImmutableString::PurgeUnusedStrings();
        ASSERT_FALSE(ImmutableString::PurgeUnusedStrings());
    }
    void TearDown() override { ImmutableString::PurgeUnusedStrings(); }
};

TEST_F(PurgeUnusedStrings, FreesAStringThatNobodyHolds)
{
    ImmutableString::CreateDynamic("held by nobody");
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
}

TEST_F(PurgeUnusedStrings, LeavesAStringThatSomebodyHoldsOneObject)
{
    const ImmutableString held = ImmutableString::CreateDynamic("held");
    const void* const identity = held.Identity();
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
    EXPECT_EQ(identity, ImmutableString::CreateDynamic("held").Identity());
    EXPECT_EQ(u"held"_utf16, held.ToString());
}

TEST_F(PurgeUnusedStrings, CountsEveryCopyAsAHolder)
{
    std::vector<ImmutableString> copies(10, ImmutableString::CreateDynamic("ten copies"));
    while (!copies.empty())
    {
        EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
        copies.pop_back();
    }
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());
}

TEST_F(PurgeUnusedStrings, IsWhatEndsAnIdentityAndNothingElse)
{
    const void* const identity = ImmutableString::CreateDynamic("comes and goes").Identity();
    EXPECT_EQ(identity, ImmutableString::CreateDynamic("comes and goes").Identity());
    EXPECT_EQ(identity, ImmutableString::CreateStatic("comes and goes").Identity());
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());
}

TEST_F(PurgeUnusedStrings, FreesLiteralsToo)
{
    ImmutableString::CreateStatic("a literal that nobody holds");
    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());
    EXPECT_EQ(u"a literal that nobody holds"_utf16,
              ImmutableString::CreateStatic("a literal that nobody holds").ToString());
}

TEST_F(PurgeUnusedStrings, LeavesTheOthersWhereTheyCanBeFound)
{
    constexpr int kCount = 20000;
    std::map<int, ImmutableString> held;
    for (int i = 0; i < kCount; ++i)
    {
        const ImmutableString made = ImmutableString::CreateDynamic(std::to_string(i).c_str());
        if (i % 3 == 0)
            held[i] = made;
    }

    EXPECT_TRUE(ImmutableString::PurgeUnusedStrings());

    for (const auto& [number, string] : held)
        ASSERT_EQ(string, ImmutableString::CreateDynamic(std::to_string(number).c_str())) << number;
    EXPECT_FALSE(ImmutableString::PurgeUnusedStrings());
}

TEST_F(PurgeUnusedStrings, LetsTheTableBeFilledAndEmptiedOverAndOver)
{
    for (int round = 0; round < 20; ++round)
    {
        std::vector<ImmutableString> held;
        for (int i = 0; i < 3000; ++i)
            held.push_back(ImmutableString::CreateDynamic(
                (std::to_string(round) + ' ' + std::to_string(i)).c_str()));
        for (int i = 0; i < 3000; ++i)
            ASSERT_EQ(held[static_cast<std::size_t>(i)],
                      ImmutableString::CreateDynamic(
                          (std::to_string(round) + ' ' + std::to_string(i)).c_str()));
        held.clear();
        ASSERT_TRUE(ImmutableString::PurgeUnusedStrings());
    }
}

} // namespace
