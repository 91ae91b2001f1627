#include "Foundation/ZOR/Src/Registry/RegistryFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ZOR/RegistryKey.h"

namespace
{

using testing::IsEmpty;
using ZOR::IsRegistryName;
using ZOR::IsRegistrySection;
using ZOR::RegistryFile;
using ZOR::RegistryValue;

constexpr std::uint32_t kMissing = 0xFFFFFFFFu; // set nowhere in these tests

std::uint32_t Number(const RegistryFile& inFile, const std::string& inName,
                     const std::string& inSection = "")
{
    const RegistryValue* const value = inFile.Find(inSection, inName);
    const std::uint32_t* const number = value ? std::get_if<std::uint32_t>(value) : nullptr;
    return number ? *number : kMissing;
}

std::string Text(const RegistryFile& inFile, const std::string& inName)
{
    const RegistryValue* const value = inFile.Find("", inName);
    const std::string* const text = value ? std::get_if<std::string>(value) : nullptr;
    return text ? *text : "(missing)";
}

TEST(RegistryFile, NumbersAndTextsAreReadByNameAndSection)
{
    const RegistryFile file = RegistryFile::Parse("# head\n"
                                                  "MemoryBlocks = 4\n"
                                                  "Greeting=\"Good \\\"morning\\\"\"\n"
                                                  "\n"
                                                  "[Section/Below]\n"
                                                  "MemoryBlocks = 5\n"
                                                  "\"a = b\" = 17\n");
    EXPECT_EQ(4u, Number(file, "MemoryBlocks"));
    EXPECT_EQ("Good \"morning\"", Text(file, "Greeting"));
    EXPECT_EQ(5u, Number(file, "MemoryBlocks", "Section/Below"));
    EXPECT_EQ(17u, Number(file, "a = b", "Section/Below"));
    EXPECT_THAT(file.Problems(), IsEmpty());
}

TEST(RegistryFile, NamesAndSectionsAreComparedExactly)
{
    const RegistryFile file = RegistryFile::Parse("A = 1\n[S]\nB = 2\n");
    EXPECT_EQ(kMissing, Number(file, "a"));
    EXPECT_EQ(kMissing, Number(file, "B"));
    EXPECT_EQ(kMissing, Number(file, "B", "s"));
    EXPECT_FALSE(file.HasSection("s"));
    EXPECT_TRUE(file.HasSection("S"));
}

TEST(RegistryFile, ByteOrderMarkBlanksAndCarriageReturnsArePassedOver)
{
    const RegistryFile file = RegistryFile::Parse("\xEF\xBB\xBF\t A\t =  1 \r\n [S] \r\nB=2\r\n");
    EXPECT_EQ(1u, Number(file, "A"));
    EXPECT_EQ(2u, Number(file, "B", "S"));
    EXPECT_THAT(file.Problems(), IsEmpty());
}

TEST(RegistryFile, ANumberIsReadWholeOrNotAtAll)
{
    EXPECT_EQ(0u, Number(RegistryFile::Parse("A=0\n"), "A"));
    EXPECT_EQ(4294967295u, Number(RegistryFile::Parse("A=4294967295\n"), "A"));
    for (const char* value : {"", "-1", "+1", "1.5", "0x10", "4294967296", "1 2", "one", "true",
                              "1\"", "\"1\"2", "'1'", "[1]"})
    {
        const RegistryFile file = RegistryFile::Parse(std::string("A = ") + value + "\n");
        EXPECT_EQ(nullptr, file.Find("", "A")) << value;
        ASSERT_EQ(1u, file.Problems().size()) << value;
        EXPECT_EQ(1u, file.Problems()[0].line) << value;
    }
}

TEST(RegistryFile, ALineThatCannotBeReadLeavesTheOthersAsTheyAre)
{
    for (const char* line : {"nonsense", "= 1", "\"\" = 1", "\"a\\q\" = 1", "\"a = 1", "\"a\" 1",
                             "a\\b = 1", "b = \"x", "b = \"\\x\"", "b = \xFF",
                             "b = \"\xED\xA0\x80\"", "b = \"\x01\"", "b\x7F = 1"})
    {
        const RegistryFile file = RegistryFile::Parse(std::string("A = 1\n") + line + "\nC = 3\n");
        EXPECT_EQ(1u, Number(file, "A")) << line;
        EXPECT_EQ(3u, Number(file, "C")) << line;
        ASSERT_EQ(1u, file.Problems().size()) << line;
        EXPECT_EQ(2u, file.Problems()[0].line) << line;
    }
}

TEST(RegistryFile, WhatFollowsABadSectionBelongsToNone)
{
    for (const char* section : {"[", "[]", "[S", "[S//T]", "[/S]", "[S/]", "[\xFF]", "[S] x"})
    {
        const RegistryFile file =
            RegistryFile::Parse(std::string("[Good]\nA = 1\n") + section + "\nA = 2\n");
        EXPECT_EQ(1u, Number(file, "A", "Good")) << section;
        EXPECT_EQ(kMissing, Number(file, "A")) << section;
        EXPECT_EQ(1u, file.Problems().size()) << section;
    }
}

TEST(RegistryFile, OfTwoValuesForOneNameTheLastCounts)
{
    EXPECT_EQ(2u, Number(RegistryFile::Parse("A = 1\nA = 2\n"), "A"));
}

TEST(RegistryFile, AFileCutAnywhereHasARightValueOrNone)
{
    const std::string whole = "MemoryBlocks = 1234\nText = \"h\xC3\xA9\\n\"\n[S]\nOther = 56\n";
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        const RegistryFile file = RegistryFile::Parse(std::string_view(whole).substr(0, size));
        const std::uint32_t blocks = Number(file, "MemoryBlocks");
        const std::string text = Text(file, "Text");
        EXPECT_TRUE(blocks == kMissing || blocks == 1234u) << "cut at " << size;
        EXPECT_TRUE(text == "(missing)" || text == "h\xC3\xA9\n") << "cut at " << size;
        EXPECT_EQ(kMissing, Number(file, "Other", "S")) << "cut at " << size;
    }
    EXPECT_EQ(56u, Number(RegistryFile::Parse(whole), "Other", "S"));
}

TEST(RegistryFile, AFileWithOneByteChangedNeverBreaksTheReader)
{
    const std::string whole = "A = 1\n\"B\" = \"x\\\"y\"\n[S/T]\nC = 2\n";
    for (std::size_t at = 0; at < whole.size(); ++at)
        for (int byte = 0; byte < 256; ++byte)
        {
            std::string damaged = whole;
            damaged[at] = static_cast<char>(byte);
            const RegistryFile file = RegistryFile::Parse(damaged);
            // What is written back reads as the same.
            EXPECT_EQ(file.Text(), RegistryFile::Parse(file.Text()).Text());
        }
}

TEST(RegistryFile, AFileAboveTheLimitHasNoValues)
{
    const RegistryFile file =
        RegistryFile::Parse("A = 1\n" + std::string(ZOR::kMaxRegistryBytes, '\n'));
    EXPECT_EQ(kMissing, Number(file, "A"));
    ASSERT_EQ(1u, file.Problems().size());
    EXPECT_EQ(0u, file.Problems()[0].line);
}

TEST(RegistryFile, OnlyTheFirstProblemsAreListed)
{
    std::string bytes;
    for (int line = 0; line < 1000; ++line)
        bytes += "bad\n";
    EXPECT_EQ(20u, RegistryFile::Parse(bytes).Problems().size());
}

TEST(RegistryFile, SettingAValueKeepsEveryOtherLine)
{
    RegistryFile file = RegistryFile::Parse("# head\r\nA = 1\nbad line\nA = 2\n\n[S]\n# end\n");
    file.Set("", "A", RegistryValue(std::uint32_t{3}));
    file.Set("", "B", RegistryValue(std::string("x")));
    file.Set("S", "C", RegistryValue(std::uint32_t{4}));
    file.Set("T", "D", RegistryValue(std::uint32_t{5}));

    EXPECT_EQ("# head\nA = 1\nbad line\nA = 3\nB = \"x\"\n\n[S]\nC = 4\n# end\n[T]\nD = 5\n",
              file.Text());
}

TEST(RegistryFile, AValueOfTheApplicationIsPutBeforeTheFirstSection)
{
    RegistryFile file = RegistryFile::Parse("[S]\nA = 1\n");
    file.Set("", "B", RegistryValue(std::uint32_t{2}));
    EXPECT_EQ("B = 2\n[S]\nA = 1\n", file.Text());
}

TEST(RegistryFile, ALineThatBecomesTheFirstKeepsItsByteOrderMark)
{
    RegistryFile file = RegistryFile::Parse("A = 1\n\xEF\xBB\xBF"
                                            "A = 2\n");
    file.Remove("", "A");
    EXPECT_EQ(kMissing, Number(RegistryFile::Parse(file.Text()), "A"));
}

TEST(RegistryFile, CarriageReturnsAtALinesEndReadTheSameOnceWrittenBack)
{
    const RegistryFile file = RegistryFile::Parse("\r\r\nA = 1\r\r\r\n");
    EXPECT_EQ("\nA = 1\n", file.Text());
    EXPECT_EQ(1u, Number(file, "A"));
}

TEST(RegistryFile, ARemovedValueIsGoneInEachOfItsLines)
{
    RegistryFile file = RegistryFile::Parse("A = 1\nB = 2\nA = 3\n");
    EXPECT_TRUE(file.Remove("", "A"));
    EXPECT_FALSE(file.Remove("", "A"));
    EXPECT_FALSE(file.Remove("S", "A"));
    EXPECT_EQ("B = 2\n", file.Text());
}

TEST(RegistryFile, EveryNameAndTextReadsBackAsItWasWritten)
{
    RegistryFile file;
    const std::string kNames[] = {"A",     "a b",  " a ",       "a=b", "[a]", "#a",
                                  "\"a\"", "a\\b", "h\xC3\xA9", "a]",  "="};
    for (const std::string& name : kNames)
    {
        ASSERT_TRUE(IsRegistryName(name)) << name;
        file.Set("", name, RegistryValue("text of \"" + name + "\"\\\n\r\t"));
        file.Set("S " + name, name, RegistryValue(std::uint32_t{1}));
    }
    const RegistryFile again = RegistryFile::Parse(file.Text());
    EXPECT_THAT(again.Problems(), IsEmpty());
    for (const std::string& name : kNames)
    {
        EXPECT_EQ("text of \"" + name + "\"\\\n\r\t", Text(again, name)) << name;
        EXPECT_EQ(1u, Number(again, name, "S " + name)) << name;
    }
}

TEST(RegistryFile, NamesHaveNoControlCharacterAndAreUTF8)
{
    for (const char* name : {"", "a\n", "\t", "a\x7F", "\xC3"})
        EXPECT_FALSE(IsRegistryName(name)) << name;
    EXPECT_FALSE(IsRegistryName(std::string_view("a\0b", 3)));
    for (const char* section : {"", "/", "a/", "/a", "a//b", "a/\n"})
        EXPECT_FALSE(IsRegistrySection(section)) << section;
    EXPECT_TRUE(IsRegistrySection("a/b c/."));
}

} // namespace
