// "rkhost play --analysis": what one run has found out the next one takes from the folder.
#include <filesystem>
#include <fstream>

#include "RkhostFixture.h"

namespace RKHostTests
{
namespace
{

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;

class RkhostAnalysis : public RkhostTest
{
protected:
    Ended Play(const std::vector<std::string>& inMore = {}) const
    {
        std::vector<std::string> arguments = {"play", "--analysis", mAnalyses, mPath};
        arguments.insert(arguments.end(), inMore.begin(), inMore.end());
        return Run(arguments);
    }
    /// "cold warm" counts of the summary: computed, from memory, from disk.
    static std::vector<std::string> Origins(const Ended& inEnded)
    {
        return {Row(inEnded, "analysis computed"), Row(inEnded, "analysis from memory"),
                Row(inEnded, "analysis from disk")};
    }
    std::vector<fs::path> Files() const
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(mAnalyses))
            files.push_back(entry.path());
        return files;
    }

    const std::string mPath = mFolder.WriteFrames("quadrants-420.jpg", "f", {1, 2, 3, 4, 5});
    const std::string mAnalyses = mFolder.Path("analyses");
};

TEST_F(RkhostAnalysis, TheSecondRunStartsFromTheFolder)
{
    const Ended first = Play();
    EXPECT_EQ(0, first.mCode) << first.mError;
    EXPECT_THAT(Origins(first), testing::ElementsAre("5 0", "0 5", "0 0"));
    EXPECT_EQ(5u, Files().size());
    const Ended second = Play();
    EXPECT_EQ(0, second.mCode) << second.mError;
    EXPECT_THAT(Origins(second), testing::ElementsAre("0 0", "0 5", "5 0"));
    EXPECT_THAT(Row(second, "mean colour"), testing::MatchesRegex("#[0-9a-f]+ #[0-9a-f]+"));
    EXPECT_EQ(Row(first, "mean colour"), Row(second, "mean colour"));
}

TEST_F(RkhostAnalysis, AFrameThatChangedIsAnalysedAnew)
{
    Play();
    mFolder.WriteFrames("quadrants.png", "g", {3});
    fs::rename(mFolder.Path("g0003.png"), mFolder.Path("f0003.jpg"));
    const Ended ended = Play();
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(Origins(ended), testing::ElementsAre("1 0", "0 5", "4 0"));
}

TEST_F(RkhostAnalysis, GarbageInTheFolderIsAnalysedAnewAndReplaced)
{
    const Ended first = Play();
    const auto files = Files();
    ASSERT_EQ(5u, files.size());
    std::ofstream(files[0], std::ios::binary | std::ios::trunc) << "garbage";
    std::ofstream(files[1], std::ios::binary | std::ios::trunc).flush();
    std::ofstream(files[2], std::ios::binary | std::ios::app) << "x";
    const Ended ended = Play({"--passes", "1"});
    EXPECT_EQ(0, ended.mCode) << ended.mError;
    EXPECT_THAT(Origins(ended), testing::ElementsAre("3 0", "0 0", "2 0"));
    const Ended healed = Play();
    EXPECT_THAT(Origins(healed), testing::ElementsAre("0 0", "0 5", "5 0"));
    EXPECT_EQ(Row(first, "mean colour"), Row(healed, "mean colour"));
}

TEST_F(RkhostAnalysis, NothingIsToldOrWrittenIfNobodyAsks)
{
    const Ended ended = Run({"play", mPath});
    EXPECT_THAT(ended.mOutput, Not(HasSubstr("analysis")));
    EXPECT_FALSE(fs::exists(mAnalyses));
}

TEST_F(RkhostAnalysis, AFolderThatCannotBeMadeIsAFailure)
{
    mFolder.Write("analyses", std::string("a file"));
    const Ended ended = Play();
    EXPECT_EQ(1, ended.mCode);
    EXPECT_THAT(ended.mError, HasSubstr("cannot open the cache folder '" + mAnalyses + "'"));
}

} // namespace
} // namespace RKHostTests
