#include "ZOR/RegistryKey.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/FakeRegistry.h"
#include "Support/TraceCapture.h"
#include "qelcore/ClientName.h"

namespace
{

using namespace ZOR;
using qelcore::kResult_OK;
using qelcore::Result;
using qelcore::UTF16String;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class RegistryKeyTest : public testing::Test
{
protected:
    RegistryKeyTest() { qelcore::config::SetClientName(u"Cutter"); }
    ~RegistryKeyTest() override { qelcore::config::SetClientName(u""); }

    static Result OpenBase(RegistryKey& outKey)
    {
        return outKey.Open(RegistryRoot::kCurrentUser, GetRegistryBaseKey());
    }
    /// The value as the media manager asks for it; 0 if there is none.
    static std::uint32_t Blocks()
    {
        RegistryKey key;
        std::uint32_t blocks = 77;
        if (qelcore::Failed(OpenBase(key)))
            return 0;
        key.GetUInt32Value(u"MemoryBlocks", blocks);
        return blocks;
    }
    Testing::FakeRegistry mRegistry;
    Testing::TraceCapture mTrace{"ZOR::RegistryKey"};
};

TEST_F(RegistryKeyTest, TheBaseKeyIsTheClientsNameMadeAFoldersName)
{
    EXPECT_EQ(u"Cutter", GetRegistryBaseKey());
    qelcore::config::SetClientName(u"a/b\n\u00E9");
    EXPECT_EQ(u"a_b_\u00E9", GetRegistryBaseKey());
    qelcore::config::SetClientName(u"..");
    EXPECT_EQ(u"_..", GetRegistryBaseKey());
}

TEST_F(RegistryKeyTest, AKeyWithoutAFileIsMissing)
{
    RegistryKey key;
    EXPECT_EQ(kResult_RegistryNoKey, OpenBase(key));
    EXPECT_THAT(mTrace.Texts(), IsEmpty());
}

TEST_F(RegistryKeyTest, AKeyWithoutAConfigFolderIsMissing)
{
    mRegistry.folder = "";
    RegistryKey key;
    EXPECT_EQ(kResult_RegistryNoKey, OpenBase(key));
    EXPECT_EQ(kResult_RegistryNoKey,
              key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
}

TEST_F(RegistryKeyTest, AValueIsReadByItsName)
{
    mRegistry.Set("MemoryBlocks", 3);
    EXPECT_EQ(3u, Blocks());
}

TEST_F(RegistryKeyTest, AMissingValueAndOneOfAnotherTypeAreToldApart)
{
    mRegistry.SetFile("Number = 5\nText = \"five\"\nLater = 5.0\n");
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    std::uint32_t number = 77;
    UTF16String text = u"before";

    EXPECT_EQ(kResult_RegistryOtherType, key.GetUInt32Value(u"Text", number));
    EXPECT_EQ(0u, number);
    EXPECT_EQ(kResult_RegistryNoValue, key.GetUInt32Value(u"Later", number));
    EXPECT_EQ(kResult_RegistryNoValue, key.GetUInt32Value(u"number", number));
    EXPECT_EQ(kResult_RegistryOtherType, key.GetTextValue(u"Number", text));
    EXPECT_EQ(u"", text);
    EXPECT_EQ(kResult_OK, key.GetTextValue(u"Text", text));
    EXPECT_EQ(u"five", text);
}

TEST_F(RegistryKeyTest, AnObjectThatHoldsNoKeyFailsEveryCall)
{
    RegistryKey key;
    std::uint32_t number = 77;
    EXPECT_EQ(kResult_RegistryNoKey, key.GetUInt32Value(u"A", number));
    EXPECT_EQ(0u, number);
    EXPECT_EQ(kResult_RegistryNoKey, key.SetUInt32Value(u"A", 1));
    EXPECT_EQ(kResult_RegistryNoKey, key.RemoveValue(u"A"));
}

TEST_F(RegistryKeyTest, AFailedOpenLetsGoOfTheKeyBefore)
{
    mRegistry.Set("A", 3);
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    EXPECT_EQ(kResult_RegistryNoKey, key.Open(RegistryRoot::kCurrentUser, u"Cutter/None"));
    std::uint32_t number = 77;
    EXPECT_EQ(kResult_RegistryNoKey, key.GetUInt32Value(u"A", number));
}

TEST_F(RegistryKeyTest, PathsThatCannotBeAreRefused)
{
    RegistryKey key;
    for (const char16_t* path :
         {u"", u"/", u"/Cutter", u"Cutter/", u"Cutter//A", u".", u"..", u"../A", u"Cutter/\n"})
    {
        EXPECT_EQ(kResult_RegistryBadName, key.Open(RegistryRoot::kCurrentUser, path));
        EXPECT_EQ(kResult_RegistryBadName, key.CreateOrOpen(RegistryRoot::kCurrentUser, path));
    }
    const UTF16String unpaired = UTF16String(u"Cutter/") + char16_t(0xD800);
    EXPECT_EQ(kResult_RegistryBadName, key.Open(RegistryRoot::kCurrentUser, unpaired));
    EXPECT_EQ(0, mRegistry.stamps);
}

TEST_F(RegistryKeyTest, AnUnchangedFileIsReadOnceHoweverOftenItIsOpened)
{
    mRegistry.Set("MemoryBlocks", 3);
    for (int turn = 0; turn < 100; ++turn)
        EXPECT_EQ(3u, Blocks());
    EXPECT_EQ(1, mRegistry.reads);
    EXPECT_EQ(100, mRegistry.stamps);
}

TEST_F(RegistryKeyTest, AChangedFileIsSeenByTheNextOpen)
{
    mRegistry.Set("MemoryBlocks", 3);
    EXPECT_EQ(3u, Blocks());
    mRegistry.Set("MemoryBlocks", 4);
    EXPECT_EQ(4u, Blocks());
    mRegistry.RemoveFile();
    EXPECT_EQ(0u, Blocks());
    mRegistry.Set("MemoryBlocks", 5);
    EXPECT_EQ(5u, Blocks());
}

TEST_F(RegistryKeyTest, AnOpenKeyKeepsTheValuesThatItFound)
{
    mRegistry.Set("A", 1);
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    mRegistry.Set("A", 2);
    std::uint32_t number = 0;
    key.GetUInt32Value(u"A", number);
    EXPECT_EQ(1u, number);
}

TEST_F(RegistryKeyTest, AnUnreadableFileHasNoValuesAndIsTracedOnce)
{
    mRegistry.Set("MemoryBlocks", 3);
    mRegistry.failReads = true;
    EXPECT_EQ(0u, Blocks());
    EXPECT_EQ(0u, Blocks());
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Cannot read /config/Cutter/registry.conf"));
}

TEST_F(RegistryKeyTest, ADamagedLineIsTracedOnceAndTheOthersCount)
{
    mRegistry.SetFile("Bad = -1\nMemoryBlocks = 2\nCut = 1");
    EXPECT_EQ(2u, Blocks());
    EXPECT_EQ(2u, Blocks());
    EXPECT_THAT(mTrace.Texts(), ElementsAre("Passed over in /config/Cutter/registry.conf, line 1: "
                                            "a value that cannot be read",
                                            "Passed over in /config/Cutter/registry.conf, line 3: "
                                            "the last line is cut short"));
}

TEST_F(RegistryKeyTest, AFirstValueMakesTheKey)
{
    RegistryKey key;
    ASSERT_EQ(kResult_OK, key.CreateOrOpen(RegistryRoot::kCurrentUser, u"Cutter/Views/Main"));
    EXPECT_EQ("", mRegistry.File());
    EXPECT_EQ(kResult_OK, key.SetUInt32Value(u"Width", 640));
    EXPECT_EQ(kResult_OK, key.SetTextValue(u"Title", u"caf\u00E9\n"));

    EXPECT_EQ("[Views/Main]\nWidth = 640\nTitle = \"caf\xC3\xA9\\n\"\n", mRegistry.File());
    std::uint32_t width = 0;
    UTF16String title;
    EXPECT_EQ(kResult_OK, key.GetUInt32Value(u"Width", width));
    EXPECT_EQ(kResult_OK, key.GetTextValue(u"Title", title));
    EXPECT_EQ(640u, width);
    EXPECT_EQ(u"caf\u00E9\n", title);
    EXPECT_EQ(kResult_OK, RegistryKey().Open(RegistryRoot::kCurrentUser, u"Cutter/Views/Main"));
}

TEST_F(RegistryKeyTest, AValueThatIsSetReplacesOneOfAnyType)
{
    mRegistry.SetFile("# kept\nA = \"text\"\n");
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    EXPECT_EQ(kResult_OK, key.SetUInt32Value(u"A", 4294967295u));
    EXPECT_EQ("# kept\nA = 4294967295\n", mRegistry.File());
}

TEST_F(RegistryKeyTest, AValueCanBeRemovedOnce)
{
    mRegistry.SetFile("A = 1\nB = 2\n");
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    EXPECT_EQ(kResult_OK, key.RemoveValue(u"A"));
    EXPECT_EQ(kResult_RegistryNoValue, key.RemoveValue(u"A"));
    EXPECT_EQ("B = 2\n", mRegistry.File());
}

TEST_F(RegistryKeyTest, AWriteTakesWhatOthersHaveWrittenSince)
{
    RegistryKey key;
    ASSERT_EQ(kResult_OK, key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
    mRegistry.Set("Others", 1);
    EXPECT_EQ(kResult_OK, key.SetUInt32Value(u"Mine", 2));
    EXPECT_EQ("Others = 1\nMine = 2\n", mRegistry.File());
}

TEST_F(RegistryKeyTest, AFailedWriteLeavesTheFileAndTheKeyAsTheyWere)
{
    mRegistry.Set("A", 1);
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    mRegistry.failWrites = true;
    EXPECT_EQ(kResult_RegistryNotWritten, key.SetUInt32Value(u"A", 2));
    std::uint32_t number = 0;
    key.GetUInt32Value(u"A", number);
    EXPECT_EQ(1u, number);
    EXPECT_EQ("A = 1\n", mRegistry.File());
}

TEST_F(RegistryKeyTest, AFileThatCannotBeReadIsNotWrittenOver)
{
    mRegistry.Set("A", 1);
    RegistryKey key;
    ASSERT_EQ(kResult_OK, OpenBase(key));
    mRegistry.failReads = true;
    EXPECT_EQ(kResult_RegistryNotWritten, key.SetUInt32Value(u"B", 2));
    EXPECT_EQ("A = 1\n", mRegistry.File());
}

TEST_F(RegistryKeyTest, AFileDoesNotGrowBeyondWhatCanBeRead)
{
    RegistryKey key;
    ASSERT_EQ(kResult_OK, key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
    EXPECT_EQ(kResult_RegistryNotWritten,
              key.SetTextValue(u"A", UTF16String(kMaxRegistryBytes, u'x')));
    EXPECT_EQ("", mRegistry.File());
}

TEST_F(RegistryKeyTest, NamesThatCannotBeAreRefusedBeforeAnythingIsWritten)
{
    RegistryKey key;
    ASSERT_EQ(kResult_OK, key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
    EXPECT_EQ(kResult_RegistryBadName, key.SetUInt32Value(u"", 1));
    EXPECT_EQ(kResult_RegistryBadName, key.SetUInt32Value(u"a\nb", 1));
    EXPECT_EQ(kResult_RegistryBadName, key.SetUInt32Value(UTF16String(1, char16_t(0xDC00)), 1));
    EXPECT_EQ("", mRegistry.File());
}

TEST_F(RegistryKeyTest, ATextLosesWhatNoFileCouldHold)
{
    RegistryKey key;
    ASSERT_EQ(kResult_OK, key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
    const UTF16String odd = UTF16String(u"a\x01") + char16_t(0xD800) + u"b";
    ASSERT_EQ(kResult_OK, key.SetTextValue(u"A", odd));
    UTF16String text;
    EXPECT_EQ(kResult_OK, key.GetTextValue(u"A", text));
    EXPECT_EQ(u"a \uFFFDb", text);
}

TEST_F(RegistryKeyTest, AStoreThatComesIntoForceIsReadAfresh)
{
    mRegistry.Set("MemoryBlocks", 3);
    EXPECT_EQ(3u, Blocks());
    {
        Testing::FakeRegistry other;
        other.Set("MemoryBlocks", 4);
        EXPECT_EQ(4u, Blocks());
    }
    EXPECT_EQ(3u, Blocks());
}

} // namespace
