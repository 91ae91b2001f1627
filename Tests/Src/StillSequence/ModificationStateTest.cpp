#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <vector>

#include "RKStillSequence.h"
#include "StillText.h"
#include "Support/MemoryFileSystem.h"
#include "qelcore/MixHash.h"
#include "qelcore/Trace.h"

namespace
{

using namespace Testing;
using qelcore::filesupport::Dir;
using qelcore::utility::Guid;
using qelcore::utility::MixHash;
using RK::StillSequence;

const RK::StillSequence::RelatedPathFunction kNoRelated;

class ModificationStateTest : public testing::Test
{
protected:
    MemoryFileSystem mDisk;
    const StillSequence mSequence{Dir(u"/f"), u"a", u".tif", 1, 3, 1, false};

    ModificationStateTest()
    {
        for (const char* name : {"/f/a1.tif", "/f/a2.tif", "/f/a3.tif"})
            mDisk.AddFile(name);
    }
    /// The same content, modified that many seconds after the year 2001 began to be near its end.
    void Touch(const std::string& inPath, int inSeconds, std::uint32_t inNanoseconds = 0)
    {
        mDisk.AddFile(inPath, "x", {1000000000 + inSeconds, inNanoseconds});
    }
    Guid State() const { return mSequence.GetModificationState(kNoRelated); }

    static std::size_t FailuresTraced()
    {
        const std::vector<std::string> lines = qelcore::debug::RecentTraceLines();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(),
            [](const std::string& inLine)
            {
                return inLine.find("<RK::StillSequence> <0> An exception was thrown "
                                   "while generating the mod state guid.\n") != std::string::npos;
            }));
    }
};

TEST_F(ModificationStateTest, StaysTheSameWhileNothingChanges)
{
    const Guid state = State();
    EXPECT_FALSE(state.IsNull());
    EXPECT_EQ(state, State());
}

TEST_F(ModificationStateTest, ChangesWhenAnyFrameIsTouchedByAMicrosecond)
{
    const Guid before = State();
    for (const char* name : {"/f/a1.tif", "/f/a2.tif", "/f/a3.tif"})
    {
        Touch(name, 0, 1000);
        EXPECT_NE(before, State()) << name;
        Touch(name, 0);
        EXPECT_EQ(before, State()) << name;
    }
}

TEST_F(ModificationStateTest, ChangesWhenAFrameIsDeletedOrAppears)
{
    const Guid whole = State();
    mDisk.Vanish("/f/a2.tif");
    const Guid hole = State();
    EXPECT_NE(whole, hole);
    EXPECT_FALSE(hole.IsNull());

    mDisk.Vanish("/f/a3.tif");
    mDisk.AddFile("/f/a2.tif");
    EXPECT_NE(hole, State()) << "which one is missing counts";
    mDisk.AddFile("/f/a3.tif");
    EXPECT_EQ(whole, State());
}

TEST_F(ModificationStateTest, NeitherSizesNorOtherFilesNorTheFoldersNameCount)
{
    const Guid before = State();
    mDisk.AddFile("/f/a1.tif", "much longer than before");
    mDisk.AddFile("/f/a4.tif");
    mDisk.AddFile("/f/b1.tif");
    EXPECT_EQ(before, State());

    for (const char* name : {"/g/a1.tif", "/g/a2.tif", "/g/a3.tif"})
        mDisk.AddFile(name);
    const StillSequence moved(Dir(u"/g/"), u"a", u".tif", 1, 3, 1, false);
    EXPECT_EQ(before, moved.GetModificationState(kNoRelated));
}

// Spelled out, since clients keep the value from one run to the next.
TEST_F(ModificationStateTest, MixesItsNameTheTimesAndTheHolesAndCountsTheBytes)
{
    mDisk.Vanish("/f/a2.tif");
    Touch("/f/a3.tif", 1, 500000);

    MixHash::HashValue value = {0, 0, 0, 25};
    const auto mix = [&value](const void* inBytes, std::size_t inLength)
    {
        MixHash::MixInData(value, inBytes, inLength);
        value[3] += static_cast<std::uint32_t>(inLength);
    };
    mix("RK.StillSequence.ModState", 25);
    mix("2001-Sep-09 01:46:40", 20);
    mix(u"Missing File", 24);
    mix("2001-Sep-09 01:46:41.000500", 27);
    EXPECT_EQ(MixHash::ToGuid(value), State());
}

TEST_F(ModificationStateTest, LaysTheWordsOutFromTheHighestByte)
{
    EXPECT_EQ(Guid(0x01234567, 0x89AB, 0xCDEF, 0xFE, 0xDC, 0xBA, 0x98, 0x76, 0x54, 0x32, 0x10),
              MixHash::ToGuid({0x01234567, 0x89ABCDEF, 0xFEDCBA98, 0x76543210}));
}

TEST_F(ModificationStateTest, ARelatedFileOfTheFirstFrameThatExistsCountsToo)
{
    mDisk.Vanish("/f/a1.tif");
    std::vector<UTF16String> asked;
    const auto toRelated = [&asked](const UTF16String& inPath)
    {
        asked.push_back(inPath);
        return UTF16String(u"/elsewhere/look.cube");
    };
    const Guid without = mSequence.GetModificationState(toRelated);
    EXPECT_EQ(State(), without) << "a related file that is not there counts as none";

    mDisk.AddFile("/elsewhere/look.cube");
    const Guid with = mSequence.GetModificationState(toRelated);
    EXPECT_NE(without, with);
    Touch("/elsewhere/look.cube", 5);
    EXPECT_NE(with, mSequence.GetModificationState(toRelated));
    EXPECT_EQ(std::vector<UTF16String>(3, u"/f/a2.tif"), asked);
}

TEST_F(ModificationStateTest, IsUnknownWithoutASequenceOrFramesOrFiles)
{
    EXPECT_TRUE(StillSequence().GetModificationState(kNoRelated).IsNull());
    const StillSequence noFrames(Dir(u"/f"), std::vector<UTF16String>(), u"x");
    EXPECT_TRUE(noFrames.GetModificationState(kNoRelated).IsNull());
    const StillSequence noFiles(Dir(u"/f"), u"zzz", u".tif", 1, 3, 1, false);
    EXPECT_TRUE(noFiles.GetModificationState(kNoRelated).IsNull());
    const StillSequence reversed(Dir(u"/f"), u"a", u".tif", 3, 1, 1, false);
    EXPECT_TRUE(reversed.GetModificationState(kNoRelated).IsNull());
    EXPECT_EQ(0u, FailuresTraced());
}

TEST_F(ModificationStateTest, ServesTheOtherTypesAsWell)
{
    const Guid state = State();
    const StillSequence classic(Dir(u"/f"), u"a1.tif");
    EXPECT_EQ(state, classic.GetModificationState(kNoRelated));
    const StillSequence alpha(Dir(u"/f"), {u"a1.tif", u"a2.tif", u"a3.tif"});
    EXPECT_EQ(state, alpha.GetModificationState(kNoRelated));
    const StillSequence list(Dir(u"/f"), {u"/f/a1.tif", u"/f/a2.tif", u"/f/a3.tif"}, u"x");
    EXPECT_EQ(state, list.GetModificationState(kNoRelated));

    mDisk.AddFile("/g/a4.tif");
    const StillSequence outside(Dir(u"/f"), {u"/f/a1.tif", u"/g/a4.tif"}, u"x");
    const StillSequence missing(Dir(u"/f"), {u"/f/a1.tif", u"/f/none.tif"}, u"x");
    EXPECT_EQ(missing.GetModificationState(kNoRelated), outside.GetModificationState(kNoRelated))
        << "a path outside of the folder counts as missing";
}

TEST_F(ModificationStateTest, IsUnknownAndTracedWhenTheFolderCannotBeListed)
{
    const StillSequence nowhere(Dir(u"/none"), u"a", u".tif", 1, 3, 1, false);
    EXPECT_TRUE(nowhere.GetModificationState(kNoRelated).IsNull());
    EXPECT_EQ(1u, FailuresTraced());

    mDisk.Fail(FileOperation::kNext, "/f", EIO);
    EXPECT_TRUE(State().IsNull());
    EXPECT_EQ(2u, FailuresTraced());
}

TEST_F(ModificationStateTest, IsUnknownAndTracedWhenTheRelatedPathRaises)
{
    const std::size_t before = FailuresTraced();
    const auto raise = [](const UTF16String&) -> UTF16String { throw 7; };
    EXPECT_TRUE(mSequence.GetModificationState(raise).IsNull());
    EXPECT_EQ(before + 1, FailuresTraced());
}

TEST_F(ModificationStateTest, AFolderThatVanishesMidwayLeavesOnlyKnownOrUnknownStates)
{
    const Guid whole = State();
    for (std::size_t entries = 0; entries <= 3; ++entries)
    {
        for (const char* name : {"/f/a1.tif", "/f/a2.tif", "/f/a3.tif"})
            mDisk.AddFile(name);
        mDisk.VanishAfter("/f", entries);
        EXPECT_NE(whole, State()) << entries;
    }
}

} // namespace
