#include <limits>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "qelcore/Serialization.h"

namespace
{

using namespace qelcore::literals;
using namespace qelcore::serialization;
using qelcore::ToUTF8String;
using qelcore::UTF8String;

Variant Parse(const std::string& inText)
{
    return JSONParse(ToUTF8String(inText));
}

/// The value of a text that must be JSON of one kind.
template <typename T>
T ValueOf(const std::string& inText)
{
    const Variant value = Parse(inText);
    if (value == nullptr)
        throw std::runtime_error("no JSON: " + inText);
    return boost::any_cast<T>(*value);
}

std::string Rewritten(const std::string& inText)
{
    const Variant value = Parse(inText);
    return value == nullptr ? "no JSON" : qelcore::ToNarrowString(GetJSONUTF8String(*value, false));
}

TEST(JSON, WholeNumbersWithoutASignArriveUnsigned)
{
    EXPECT_EQ(0ULL, ValueOf<unsigned long long>("0"));
    EXPECT_EQ(3ULL, ValueOf<unsigned long long>("3"));
    EXPECT_EQ(18446744073709551615ULL, ValueOf<unsigned long long>("18446744073709551615"));
}

TEST(JSON, WholeNumbersWithAMinusArriveSigned)
{
    EXPECT_EQ(-1LL, ValueOf<long long>("-1"));
    EXPECT_EQ(0LL, ValueOf<long long>("-0"));
    EXPECT_EQ(std::numeric_limits<long long>::min(), ValueOf<long long>("-9223372036854775808"));
}

TEST(JSON, OtherNumbersArriveAsExactDoubles)
{
    EXPECT_EQ(1.0, ValueOf<double>("1.0"));
    EXPECT_EQ(1e3, ValueOf<double>("1e3"));
    EXPECT_EQ(0.30000000000000004, ValueOf<double>("0.30000000000000004"));
    EXPECT_EQ(18446744073709551616.0, ValueOf<double>("18446744073709551616"));
    EXPECT_EQ(-9223372036854775809.0, ValueOf<double>("-9223372036854775809"));
    EXPECT_EQ(4.9406564584124654e-324, ValueOf<double>("4.9406564584124654e-324"));
}

TEST(JSON, TheOtherKindsArriveAsTheyAreTold)
{
    EXPECT_TRUE(ValueOf<bool>("true"));
    EXPECT_TRUE(Parse("null")->empty());
    EXPECT_EQ("caf\xC3\xA9 \xF0\x9F\x98\x80\n"_utf8,
              ValueOf<UTF8String>("\"caf\\u00e9 \\ud83d\\ude00\\n\""));
    EXPECT_EQ(2u, ValueOf<Array>("[1,[2]]").size());
    EXPECT_EQ(1u, ValueOf<Object>("{\"\":{}}").count(UTF8String()));
    EXPECT_EQ(std::string("a\0b", 3),
              qelcore::ToNarrowString(ValueOf<UTF8String>("\"a\\u0000b\"")));
}

TEST(JSON, BlanksAndAByteOrderMarkMayStandAroundAValue)
{
    EXPECT_EQ(1ULL, ValueOf<unsigned long long>("\xEF\xBB\xBF \r\n\t1 "));
}

TEST(JSON, OfSeveralMembersOfOneNameTheLastStands)
{
    EXPECT_EQ("{\"a\":3,\"b\":2}", Rewritten("{\"a\":1,\"b\":2,\"a\":3}"));
}

TEST(JSON, WhatIsNoJSONGivesNull)
{
    for (const char* text :
         {"",         " ",         "{",          "[1",       "{\"a\"}",   "{\"a\":}", "{a:1}",
          "{1:1}",    "[1,]",      "{\"a\":1,}", "1 2",      "{} {}",     "nul",      "nullx",
          "True",     "'a'",       "\"a",        "\"a\nb\"", "\"\\x41\"", "+1",       "01",
          ".5",       "1.",        "0x10",       "/**/1",    "// 1\n1",   "NaN",      "nan",
          "Infinity", "-Infinity", "-",          "1e400",    "-1e400"})
        EXPECT_EQ("no JSON", Rewritten(text)) << text;
    EXPECT_EQ("no JSON", Rewritten(std::string("1\0", 2)));
    EXPECT_EQ("no JSON", Rewritten(std::string("1\0x", 3)));
    EXPECT_EQ("no JSON", Rewritten(std::string("\"a\0b\"", 5)));
}

TEST(JSON, SurrogatesOnlyComeInPairs)
{
    for (const char* text : {"\"\\ud83d\"", "\"\\ude00\"", "\"\\ud83d\\u0041\"", "\"\\ud83dx\"",
                             "\"\\ude00\\ud83d\"", "\"\xED\xA0\xBD\""})
        EXPECT_EQ("no JSON", Rewritten(text)) << text;
}

TEST(JSON, BytesThatAreNoUTF8AreNoJSON)
{
    for (const char* text : {"\"\xFF\"", "\"\xC3\"", "\"\xC0\xAF\"", "\"\xF4\x90\x80\x80\"", "\xFF",
                             "{\"\xFF\":1}", "\xFE\xFF"})
        EXPECT_EQ("no JSON", Rewritten(text)) << text;
}

TEST(JSON, ItMayBeAsDeepAsItsLimitAndNoDeeper)
{
    const auto deep = [](std::size_t inDepth)
    { return std::string(inDepth, '[') + std::string(inDepth, ']'); };
    EXPECT_EQ(deep(kMaxJSONDepth), Rewritten(deep(kMaxJSONDepth)));
    EXPECT_EQ("no JSON", Rewritten(deep(kMaxJSONDepth + 1)));
    EXPECT_EQ("no JSON", Rewritten(std::string(1000000, '[')));
}

TEST(JSON, WritingKeepsTheKindOfEachValue)
{
    const std::string text = "[null,true,false,0,18446744073709551615,-5,1.0,0.1,1e+300,\"\",{}]";
    EXPECT_EQ(text, Rewritten(text));
}

TEST(JSON, MembersAreWrittenByTheBytesOfTheirNames)
{
    EXPECT_EQ("{\"\":0,\"B\":1,\"a\":2,\"ab\":3,\"\xC3\xA9\":4}",
              Rewritten("{\"\xC3\xA9\":4,\"ab\":3,\"a\":2,\"B\":1,\"\":0}"));
}

TEST(JSON, WhatCannotStandInAStringIsEscaped)
{
    EXPECT_EQ("\"\\u0000\\u001f\\b\\t\\n\\f\\r\\\"\\\\/\"",
              Rewritten("\"\\u0000\\u001f\\b\\t\\n\\f\\r\\\"\\\\\\/\""));
}

TEST(JSON, BytesThatAreNoUTF8AreWrittenAsReplacements)
{
    EXPECT_EQ("\"a\xEF\xBF\xBD\x62\""_utf8, GetJSONUTF8String(UTF8String("a\xFF\x62"_utf8), false));
    boost::any object;
    AddToObject(object, "\xFF"_utf8, true);
    EXPECT_EQ("{\"\xEF\xBF\xBD\":true}"_utf8, GetJSONUTF8String(object, false));
}

TEST(JSON, NumbersThatJSONLacksAreWrittenAsNull)
{
    EXPECT_EQ("null"_utf8, GetJSONUTF8String(std::numeric_limits<double>::quiet_NaN(), false));
    EXPECT_EQ("null"_utf8, GetJSONUTF8String(std::numeric_limits<double>::infinity(), false));
}

TEST(JSON, ANullPointerIsWrittenAsNull)
{
    EXPECT_EQ("[null]"_utf8, GetJSONUTF8String(Array(1), false));
}

TEST(JSON, IndentedEachMemberHasALineOfItsOwn)
{
    const Variant value = Parse("{\"a\":[1,2],\"b\":{},\"c\":[]}");
    ASSERT_TRUE(value);
    EXPECT_EQ("{\n  \"a\": [\n    1,\n    2\n  ],\n  \"b\": {},\n  \"c\": []\n}"_utf8,
              GetJSONUTF8String(*value, true));
}

TEST(JSON, AValueOfAnotherKindCannotBeWritten)
{
    EXPECT_THROW(GetJSONUTF8String(std::string("narrow"), false), boost::bad_any_cast);
    EXPECT_THROW(GetJSONUTF8String(3, false), boost::bad_any_cast);
}

TEST(JSON, AValueThatHoldsItselfCannotBeWritten)
{
    const Variant loop = Parse("{}");
    boost::any_cast<Object&>(*loop)["loop"_utf8] = loop;
    EXPECT_THROW(GetJSONUTF8String(*loop, false), std::length_error);
    boost::any_cast<Object&>(*loop).clear(); // else it would never end
}

} // namespace
