// Analyses in a chain of a store in memory and a real folder.
#include "AnalysisStore.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>

#include <RiverKit/RKInitializer.h>

#include "AnalysisFixture.h"
#include "CacheFolder.h"
#include "HostFixture.h"
#include "SequenceAnalysis.h"

namespace RKHostTests
{
namespace
{

namespace fs = std::filesystem;
using RKHost::AnalysisFigures;
using RKHost::FileVersion;

class AnalysisStoreTest : public testing::Test
{
protected:
    AnalysisStoreTest() { Restart(); }

    /// As another run of the program would find it.
    void Restart()
    {
        if (mStore)
        {
            EXPECT_TRUE(RKHost::AwaitWrites(mStore->Chain()));
        }
        mStore.reset();
        mStore = std::make_unique<RKHost::AnalysisStore>(
            mImporter, RKHost::CacheFolder::OpenOrMake(mFolder.Path()).mStore);
    }
    AnalysisFigures Analyse(const std::string& inName, const RKHost::Frame& inFrame)
    {
        mStore->Analyse(inName, inFrame);
        return mStore->Finish();
    }
    std::string FileOf(const std::string& inName) const
    {
        return mFolder.Path(inName + ".analysis.rkdc");
    }
    /// Puts an analysis into the folder, and then other bytes into its file.
    void Damage(const std::string& inName, const std::string& inBytes)
    {
        Analyse(inName, mFrame);
        Restart();
        ASSERT_TRUE(fs::exists(FileOf(inName)));
        std::ofstream(FileOf(inName), std::ios::binary | std::ios::trunc) << inBytes;
    }
    /// The damaged analysis is computed, once, and the next run has it from the folder.
    void ExpectHealed(const std::string& inName)
    {
        EXPECT_EQ(1, Analyse(inName, mFrame).mComputed);
        EXPECT_EQ(1, Analyse(inName, mFrame).mFromMemory);
        Restart();
        EXPECT_EQ(1, Analyse(inName, mFrame).mFromDisk);
    }

    const Testing::TemporaryFolder mFolder;
    const RK::Initializer mLibrary;
    const RKHost::ImporterModule mImporter = LoadBuiltImporter();
    const RKHost::Frame mFrame = FlatFrame(8, 4, {10, 20, 30});
    std::unique_ptr<RKHost::AnalysisStore> mStore;
};

TEST_F(AnalysisStoreTest, IsComputedOnceThenComesFromMemoryAndInTheNextRunFromDisk)
{
    const AnalysisFigures computed = Analyse("a", mFrame);
    EXPECT_EQ(1, computed.mComputed);
    EXPECT_EQ(1, computed.Count());
    EXPECT_EQ(10 * 256u, computed.mMeanColorSums[0]);
    EXPECT_EQ(1, Analyse("a", mFrame).mFromMemory);
    Restart();
    const AnalysisFigures read = Analyse("a", mFrame);
    EXPECT_EQ(1, read.mFromDisk);
    EXPECT_EQ(computed.mMeanColorSums, read.mMeanColorSums);
    EXPECT_EQ(1, Analyse("a", mFrame).mFromMemory);
}

TEST_F(AnalysisStoreTest, ManyAtATimeAreEachComputedAndKept)
{
    constexpr int kMany = 200;
    for (int i = 0; i < kMany; ++i)
        mStore->Analyse("f" + std::to_string(i), mFrame);
    EXPECT_EQ(kMany, mStore->Finish().mComputed);
    Restart();
    for (int i = 0; i < kMany; ++i)
        mStore->Analyse("f" + std::to_string(i), mFrame);
    EXPECT_EQ(kMany, mStore->Finish().mFromDisk);
}

TEST_F(AnalysisStoreTest, WithoutANameItIsComputedEachTimeAndNotKept)
{
    EXPECT_EQ(1, Analyse("", mFrame).mComputed);
    EXPECT_EQ(1, Analyse("", mFrame).mComputed);
    Restart();
    EXPECT_TRUE(fs::is_empty(mFolder.Path()));
}

TEST_F(AnalysisStoreTest, GarbageInTheFolderIsComputedAnewAndReplaced)
{
    Damage("a", std::string(5000, 'x'));
    ExpectHealed("a");
}

TEST_F(AnalysisStoreTest, AnEmptyFileOfWhichNoReadIsDeliveredIsComputedAnewAndReplaced)
{
    Damage("a", "");
    ExpectHealed("a");
}

TEST_F(AnalysisStoreTest, TheAnalysisOfAnotherFrameUnderTheNameIsComputedAnewAndReplaced)
{
    Analyse("b", FlatFrame(8, 4, {1, 1, 1}));
    Restart();
    std::ifstream file(FileOf("b"), std::ios::binary);
    const std::string other{std::istreambuf_iterator<char>(file), {}};
    ASSERT_FALSE(other.empty());
    Damage("a", other);
    ExpectHealed("a");
}

TEST_F(AnalysisStoreTest, AnAnalysisThatIsOfAnotherSizeThanTheFrameIsComputedAnew)
{
    Analyse("a", FlatFrame(4, 8, {10, 20, 30}));
    EXPECT_EQ(1, Analyse("a", mFrame).mComputed);
    EXPECT_EQ(1, Analyse("a", mFrame).mFromMemory);
}

TEST_F(AnalysisStoreTest, WhatWasDeletedBehindItsBackIsComputedAnew)
{
    Analyse("a", mFrame);
    Restart();
    fs::remove(FileOf("a"));
    ExpectHealed("a");
}

TEST_F(AnalysisStoreTest, AFrameThatCannotBeAnalysedIsCountedAsAFailure)
{
    RKHost::Frame frame = mFrame;
    frame.mInfo.mLayout = 77;
    const AnalysisFigures figures = Analyse("a", frame);
    EXPECT_EQ(1, figures.mFailed);
    EXPECT_EQ(0, figures.Count());
}

TEST(FileVersion, TheNameIsADigestThatCannotLeaveAFolder)
{
    const Testing::TemporaryFolder folder;
    const std::string path = folder.Write("..a.png", "x");
    const std::string name = FileVersion::Of(path).Name(path);
    EXPECT_EQ(32u, name.size());
    EXPECT_EQ(std::string::npos, name.find_first_not_of("0123456789abcdef"));
}

TEST(FileVersion, TheNameChangesWithPathSizeAndTime)
{
    const Testing::TemporaryFolder folder;
    const std::string path = folder.Write("a.png", "x");
    const FileVersion version = FileVersion::Of(path);
    const std::string name = version.Name(path);
    EXPECT_EQ(name, FileVersion::Of(path).Name(path));
    EXPECT_NE(name, version.Name(folder.Path("b.png")));
    FileVersion other = version;
    other.mSize += 1;
    EXPECT_NE(name, other.Name(path));
    other = version;
    other.mSeconds += 1;
    EXPECT_NE(name, other.Name(path));
    other = version;
    other.mNanoseconds += 1;
    EXPECT_NE(name, other.Name(path));
}

TEST(FileVersion, OneFileHasOneNameHoweverItsPathIsWritten)
{
    const Testing::TemporaryFolder folder;
    const std::string path = folder.Write("a.png", "x");
    const FileVersion version = FileVersion::Of(path);
    EXPECT_EQ(version.Name(path), version.Name(folder.Path() + "/./x/../a.png"));
    EXPECT_EQ(version.Name(path), version.Name(fs::relative(path).string()));
}

TEST(FileVersion, AFileThatIsNotThereHasNoName)
{
    const Testing::TemporaryFolder folder;
    EXPECT_EQ("", FileVersion::Of(folder.Path("a.png")).Name(folder.Path("a.png")));
}

class SilentAudience : public RKHost::IAudience
{
public:
    void OnFrame(int, const RKHost::Frame&, bool) override { ++mFrames; }
    void OnFailure(int, const std::string&) override { ++mFailures; }
    int mFrames = 0;
    int mFailures = 0;
};

class SequenceAnalysisTest : public testing::Test
{
protected:
    std::string Folder() const { return mFolder.Path("analyses"); }
    std::size_t KeptCount() const
    {
        std::size_t count = 0;
        for ([[maybe_unused]] const auto& entry : fs::directory_iterator(Folder()))
            ++count;
        return count;
    }
    void MakeAnalysis()
    {
        mAnalysis.reset();
        mAnalysis = std::make_unique<RKHost::SequenceAnalysis>(Folder(), mSequence, 1, mImporter);
    }
    /// A pass over the one frame. @param inMeanwhile  what happens while it is decoded.
    AnalysisFigures Pass(bool inHit, const std::function<void()>& inMeanwhile = [] {})
    {
        RKHost::IAudience& ears = mAnalysis->BeginPass(mAudience);
        inMeanwhile();
        ears.OnFrame(0, mFrame, inHit);
        return mAnalysis->EndPass();
    }
    void ChangeFile() const
    {
        fs::last_write_time(mPath, fs::last_write_time(mPath) + std::chrono::seconds(1));
    }

    FrameFolder mFolder;
    const std::string mPath = mFolder.WriteFrames("quadrants.png", "f", {1});
    const RK::Initializer mLibrary;
    const RKHost::ImporterModule mImporter = LoadBuiltImporter();
    const RKHost::Sequence mSequence = RKHost::Sequence::FromExampleFile(mPath);
    const RKHost::Frame mFrame = FlatFrame(8, 4, {10, 20, 30});
    SilentAudience mAudience;
    std::unique_ptr<RKHost::SequenceAnalysis> mAnalysis;
};

TEST_F(SequenceAnalysisTest, PassesFramesAndFailuresOn)
{
    MakeAnalysis();
    RKHost::IAudience& ears = mAnalysis->BeginPass(mAudience);
    ears.OnFrame(0, mFrame, false);
    ears.OnFailure(0, "broken");
    EXPECT_EQ(1, mAudience.mFrames);
    EXPECT_EQ(1, mAudience.mFailures);
}

TEST_F(SequenceAnalysisTest, TheNextRunStartsFromTheFolder)
{
    MakeAnalysis();
    EXPECT_EQ(1, Pass(false).mComputed);
    EXPECT_EQ(1, Pass(true).mFromMemory);
    MakeAnalysis();
    EXPECT_EQ(1u, KeptCount());
    EXPECT_EQ(1, Pass(false).mFromDisk);
}

TEST_F(SequenceAnalysisTest, AChangedFileIsAnalysedAnew)
{
    MakeAnalysis();
    Pass(false);
    ChangeFile();
    MakeAnalysis();
    EXPECT_EQ(1, Pass(false).mComputed);
}

TEST_F(SequenceAnalysisTest, AFrameWhoseFileChangedWhileItWasReadIsNotKept)
{
    MakeAnalysis();
    EXPECT_EQ(1, Pass(false, [this] { ChangeFile(); }).mComputed);
    MakeAnalysis();
    EXPECT_EQ(0u, KeptCount());
}

TEST_F(SequenceAnalysisTest, AFrameFromTheCacheIsKeptUnderTheFileThatItWasReadFrom)
{
    MakeAnalysis();
    Pass(false);
    ChangeFile();
    EXPECT_EQ(1, Pass(true).mFromMemory) << "the old pixels have the old file's analysis";
    MakeAnalysis();
    EXPECT_EQ(1u, KeptCount());
}

} // namespace
} // namespace RKHostTests
