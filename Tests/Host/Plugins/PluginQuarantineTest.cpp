#include "PluginQuarantine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostError.h"
#include "Support/TemporaryFolder.h"

namespace RKHostTests
{
namespace
{

using RKHost::PluginCandidate;
using RKHost::PluginQuarantine;
using testing::Pointee;

class PluginQuarantineTest : public testing::Test
{
protected:
    PluginCandidate Candidate(const std::string& inName)
    {
        PluginCandidate candidate;
        candidate.mPath = mFolder.Write(inName, "code");
        EXPECT_TRUE(RKHost::StampPlugin(candidate.mPath, candidate.mStamp));
        return candidate;
    }
    const Testing::TemporaryFolder mFolder;
    const std::string mFile = mFolder.Path("deep/er/quarantine");
};

TEST_F(PluginQuarantineTest, WhatIsPutInIsThereForTheNextProcessWithItsReason)
{
    const PluginCandidate odd = Candidate("a\tb\nc\\x41.so");
    {
        PluginQuarantine quarantine(mFile);
        EXPECT_EQ(nullptr, quarantine.ReasonFor(odd));
        quarantine.Add(odd, "SIGSEGV,\n\tand \\ more");
        quarantine.Save();
    }
    PluginQuarantine quarantine(mFile);
    EXPECT_THAT(quarantine.ReasonFor(odd), Pointee(std::string("SIGSEGV,\n\tand \\ more")));
    EXPECT_FALSE(quarantine.WasLifted(odd.mPath));
    EXPECT_EQ(nullptr, quarantine.ReasonFor(Candidate("other.so")));
}

TEST_F(PluginQuarantineTest, AnyChangeOfTheStampLetsOneOut)
{
    const PluginCandidate before = Candidate("a.so");
    for (int field = 0; field < 4; ++field)
    {
        PluginQuarantine quarantine(mFile);
        quarantine.Add(before, "crashed");
        PluginCandidate after = before;
        after.mStamp.mBytes += field == 0 ? 1 : 0;
        after.mStamp.mSeconds += field == 1 ? 1 : 0;
        after.mStamp.mNanoseconds += field == 2 ? 1 : 0;
        after.mStamp.mInode += field == 3 ? 1 : 0;
        EXPECT_EQ(nullptr, quarantine.ReasonFor(after)) << field;
        EXPECT_TRUE(quarantine.WasLifted(before.mPath));
        EXPECT_EQ(nullptr, quarantine.ReasonFor(before)) << "it is out for good";
        quarantine.Save();
        EXPECT_EQ(nullptr, PluginQuarantine(mFile).ReasonFor(before));
    }
}

TEST_F(PluginQuarantineTest, WhatHasGoneIsForgotten)
{
    const PluginCandidate gone = Candidate("gone.so");
    const PluginCandidate kept = Candidate("kept.so");
    PluginQuarantine quarantine(mFile);
    quarantine.Add(gone, "crashed");
    quarantine.Add(kept, "crashed");
    std::filesystem::remove(gone.mPath);
    quarantine.Save();
    EXPECT_EQ(std::string::npos, mFolder.Read("deep/er/quarantine").find("gone.so"));
    EXPECT_THAT(PluginQuarantine(mFile).ReasonFor(kept), Pointee(std::string("crashed")));
}

TEST_F(PluginQuarantineTest, DamagedLinesAreLeftOutAndTheOthersCount)
{
    const PluginCandidate candidate = Candidate("a.so");
    {
        PluginQuarantine quarantine(mFile);
        quarantine.Add(candidate, "crashed");
        quarantine.Save();
    }
    const std::string text = mFolder.Read("deep/er/quarantine");
    const std::size_t heading = text.find('\n') + 1;
    mFolder.Write("deep/er/quarantine", text.substr(0, heading) + "x\n\n1\t2\t3\n\t\t\t\t\t\n" +
                                            "-1\t1\t1x\t1\t/p\treason\n" + text.substr(heading) +
                                            std::string("1\t1\0\xff", 5));
    EXPECT_THAT(PluginQuarantine(mFile).ReasonFor(candidate), Pointee(std::string("crashed")));
}

TEST_F(PluginQuarantineTest, AFileOfSomebodyElseIsRefused)
{
    EXPECT_THROW(PluginQuarantine(mFolder.Write("other", "x")), RKHost::HostError);
    EXPECT_THROW(PluginQuarantine(mFolder.Write("empty", "")), RKHost::HostError);
    EXPECT_THROW(PluginQuarantine(mFolder.Path()), RKHost::HostError);
}

TEST_F(PluginQuarantineTest, NothingNewWritesNothing)
{
    PluginQuarantine quarantine(mFile);
    quarantine.Save();
    EXPECT_FALSE(std::filesystem::exists(mFile));
}

} // namespace
} // namespace RKHostTests
