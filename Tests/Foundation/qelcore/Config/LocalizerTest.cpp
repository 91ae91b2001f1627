#include "qelcore/Localizer.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "qelcore/TextConversion.h"

namespace
{

using qelcore::UTF16String;
using qelcore::config::kMaxStringTableBytes;
using qelcore::config::kResult_BadStringTable;
using qelcore::config::kResult_StringTableNotRead;
using qelcore::config::Localizer;
using qelcore::config::StringTableError;
using testing::HasSubstr;

class LocalizerTest : public testing::Test
{
protected:
    ~LocalizerTest() override { Localizer::Get().Clear(); }

    static qelcore::Result Load(std::string_view inBytes, StringTableError* outError = nullptr)
    {
        return Localizer::Get().LoadTable(inBytes, outError);
    }
    static UTF16String Text(std::string_view inLiteral)
    {
        return Localizer::Get().GetText(inLiteral);
    }
    /// Loads a table that must be refused. @return its error.
    static StringTableError ErrorOf(std::string_view inBytes)
    {
        StringTableError error;
        EXPECT_EQ(kResult_BadStringTable, Load(inBytes, &error)) << inBytes;
        return error;
    }
};

TEST_F(LocalizerTest, WithoutATableALiteralHasItsDefault)
{
    EXPECT_FALSE(Localizer::Initialized());
    EXPECT_EQ(u" seconds", Text("$$$/ErrorEvent/Seconds= seconds"));
    EXPECT_EQ(u"a=b", Text("$$$/Key=a=b"));
    EXPECT_EQ(u"", Text("$$$/Key="));
    EXPECT_EQ(u"$$$/Key", Text("$$$/Key"));
    EXPECT_EQ(u"caf\u00E9", Text("$$$/Key=caf\xC3\xA9"));
}

TEST_F(LocalizerTest, ATextThatIsNoLiteralIsGivenBack)
{
    EXPECT_EQ(u"plain", Text("plain"));
    EXPECT_EQ(u"a=b", Text("a=b"));
    EXPECT_EQ(u"", Text(""));
    EXPECT_EQ(u"$$$", Text("$$$"));
}

TEST_F(LocalizerTest, ATableGivesItsTextForItsKey)
{
    ASSERT_EQ(qelcore::kResult_OK, Load("\"$$$/A\"=\"Eins\"\n\"$$$/B\"=\"Zwei\"\n"));
    EXPECT_TRUE(Localizer::Initialized());
    EXPECT_EQ(u"Eins", Text("$$$/A=One"));
    EXPECT_EQ(u"Zwei", Text("$$$/B"));
    EXPECT_EQ(u"Three", Text("$$$/C=Three"));
}

TEST_F(LocalizerTest, CommentsBlankLinesBlanksByteOrderMarkAndLineEndsArePassedOver)
{
    ASSERT_EQ(qelcore::kResult_OK, Load("\xEF\xBB\xBF# head\r\n\r\n \t\r\n"
                                        "\t\"$$$/A\" \t= \"Eins\" \r\n"
                                        "\"$$$/B\"=\"Zwei\""));
    EXPECT_EQ(u"Eins", Text("$$$/A=One"));
    EXPECT_EQ(u"Zwei", Text("$$$/B=Two"));
}

TEST_F(LocalizerTest, EscapesStandForTheirCharacters)
{
    ASSERT_EQ(qelcore::kResult_OK,
              Load("\"$$$/A\"=\"q\\\" b\\\\ n\\n r\\r t\\t u\\u00e9 \\uD83D\\uDE00 \t=#\"\n"));
    EXPECT_EQ(u"q\" b\\ n\n r\r t\t u\u00E9 \U0001F600 \t=#", Text("$$$/A=x"));
}

TEST_F(LocalizerTest, AnEmptyTableIsATable)
{
    ASSERT_EQ(qelcore::kResult_OK, Load(""));
    EXPECT_TRUE(Localizer::Initialized());
}

TEST_F(LocalizerTest, AFaultIsToldWithItsLine)
{
    const StringTableError error = ErrorOf("# one\r\n\"$$$/A\"=\"x\"\n\n\"$$$/B\"=y\n");
    EXPECT_EQ(4u, error.line);
    EXPECT_EQ("a quotation mark is missing", error.message);
}

TEST_F(LocalizerTest, EachKindOfFaultHasItsWords)
{
    const std::pair<std::string, const char*> kFaults[] = {
        {"key", "a quotation mark is missing"},
        {"\"$$$/A", "the closing quotation mark is missing"},
        {"\"$$$/A\"", "there is no \"=\" behind the key"},
        {"\"$$$/A\" \"x\"", "there is no \"=\" behind the key"},
        {"\"$$$/A\"=\"x", "the closing quotation mark is missing"},
        {"\"$$$/A\"=\"x\\\"", "the closing quotation mark is missing"},
        {"\"$$$/A\"=\"x\" y", "something stands behind the text"},
        {"\"$$$/A\"=\"\\q\"", "an escape that means nothing"},
        {"\"$$$/A\"=\"\\", "an escape that means nothing"},
        {"\"$$$/A\"=\"\\u12g4\"", "\\u without four hexadecimal digits"},
        {"\"$$$/A\"=\"\\u12", "\\u without four hexadecimal digits"},
        {"\"$$$/A\"=\"\\uD800\"", "half of a surrogate pair"},
        {"\"$$$/A\"=\"\x01\"", "a control character that is not escaped"},
        {std::string("\"$$$/A\"=\"\0\"", 11), "a control character that is not escaped"},
        {"\"$$$/A\"=\"\xC3\"", "it is not UTF-8"},
        {"\"$$$/A\"=\"\xED\xA0\x80\"", "it is not UTF-8"},
        {"\"A\"=\"x\"", "the key does not begin with \"$$$/\""},
        {"\"\"=\"x\"", "the key does not begin with \"$$$/\""},
        {"\"$$$/A=B\"=\"x\"", "the key holds a \"=\""},
        {"\"$$$/A\"=\"x\"\n\"$$$/A\"=\"x\"", "the key stands in the table twice"},
    };
    for (const auto& fault : kFaults)
        EXPECT_EQ(fault.second, ErrorOf(fault.first).message) << fault.first;
}

TEST_F(LocalizerTest, NothingOfABadTableIsTaken)
{
    ASSERT_EQ(qelcore::kResult_OK, Load("\"$$$/A\"=\"before\"\n"));
    ErrorOf("\"$$$/A\"=\"after\"\n\"$$$/B\"=\"after\"\nbad\n");
    EXPECT_EQ(u"before", Text("$$$/A=x"));
    EXPECT_EQ(u"x", Text("$$$/B=x"));
}

TEST_F(LocalizerTest, ABadFirstTableLeavesTheLocalizerUninitialized)
{
    ErrorOf("bad");
    EXPECT_FALSE(Localizer::Initialized());
}

TEST_F(LocalizerTest, ALaterTableAddsToTheOneBefore)
{
    Load("\"$$$/A\"=\"1\"\n\"$$$/B\"=\"1\"\n");
    Load("\"$$$/B\"=\"2\"\n\"$$$/C\"=\"2\"\n");
    EXPECT_EQ(u"122", Text("$$$/A") + Text("$$$/B") + Text("$$$/C"));
}

TEST_F(LocalizerTest, ClearForgetsAllTables)
{
    Load("\"$$$/A\"=\"1\"\n");
    Localizer::Get().Clear();
    EXPECT_FALSE(Localizer::Initialized());
    EXPECT_EQ(u"x", Text("$$$/A=x"));
}

TEST_F(LocalizerTest, ATableCutAnywhereGivesTheRightTextOrTheDefault)
{
    const std::string whole =
        "\xEF\xBB\xBF# c\n\"$$$/A\"=\"e\\u00e9\\n\xC3\xA9\"\r\n\"$$$/B\"=\"Zw\"\n";
    for (std::size_t size = 0; size <= whole.size(); ++size)
    {
        Localizer::Get().Clear();
        StringTableError error;
        const bool loaded = Load(whole.substr(0, size), &error) == qelcore::kResult_OK;
        const UTF16String a = Text("$$$/A=default");
        const UTF16String b = Text("$$$/B=default");
        EXPECT_TRUE(a == u"default" || (loaded && a == u"e\u00E9\n\u00E9")) << "cut at " << size;
        EXPECT_TRUE(b == u"default" || (loaded && b == u"Zw")) << "cut at " << size;
        EXPECT_EQ(loaded, error.message.empty()) << "cut at " << size;
    }
}

TEST_F(LocalizerTest, AHugeTableIsReadUpToTheLimitAndRefusedAboveIt)
{
    std::string table = "\"$$$/A\"=\"";
    table.append(std::size_t{4} << 20, 'x');
    table += "\"\n";
    ASSERT_EQ(qelcore::kResult_OK, Load(table));
    EXPECT_EQ(std::size_t{4} << 20, Text("$$$/A").size());

    const StringTableError error = ErrorOf(std::string(kMaxStringTableBytes + 1, '\n'));
    EXPECT_EQ(0u, error.line);
    EXPECT_EQ("the table is too large", error.message);
}

TEST_F(LocalizerTest, ATableIsReadFromAFile)
{
    std::string path = testing::TempDir() + "rk-localizer-XXXXXX";
    const int file = mkstemp(path.data());
    ASSERT_LE(0, file);
    std::ofstream(path) << "\"$$$/A\"=\"Eins\"\n";

    EXPECT_EQ(qelcore::kResult_OK,
              Localizer::Get().LoadTableFromFile(qelcore::utility::NarrowToUTF16(path)));
    EXPECT_EQ(u"Eins", Text("$$$/A=One"));
    std::remove(path.c_str());
}

TEST_F(LocalizerTest, AFileThatCannotBeReadIsToldWithItsReason)
{
    StringTableError error;
    EXPECT_EQ(kResult_StringTableNotRead,
              Localizer::Get().LoadTableFromFile(u"/nonexistent/table", &error));
    EXPECT_EQ(0u, error.line);
    EXPECT_THAT(error.message, HasSubstr("No such file or directory"));
    EXPECT_EQ(kResult_StringTableNotRead, Localizer::Get().LoadTableFromFile(u"/", &error));
    EXPECT_FALSE(Localizer::Initialized());
}

} // namespace
