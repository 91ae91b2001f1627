// What a crash of the machine leaves of files that were given their names just before it.
#include <string>

#include <gtest/gtest.h>

#include "Platform/FileSystem.h"
#include "Support/CrashingVolume.h"
#include "Support/FaultyMount.h"

namespace
{

using namespace Platform;
using Testing::CrashingVolume;

const auto* const sMounts = Testing::UsePrivateMounts();

constexpr int kFiles = 40;

// Of a few bytes to a megabyte, different in each file.
std::string ContentsOf(int inFile)
{
    std::string contents;
    for (std::size_t size = std::size_t{1} << (inFile / 2); contents.size() < size;)
        contents += std::to_string(inFile) + "," + std::to_string(contents.size()) + ";";
    return contents;
}

/// Writes a file under a passing name, and moves it to its own.
void Put(const std::string& inFolder, int inFile, bool inSync)
{
    IFileSystem& files = FileSystem();
    const std::string contents = ContentsOf(inFile);
    const std::string passing = inFolder + "/.passing";
    FileHandle file = kNoFile;
    std::size_t put = 0;
    ASSERT_EQ(0, files.Open(passing, {FileAccess::kWrite, FileCreation::kMustCreate, false}, file));
    ASSERT_EQ(0, files.Write(file, contents.data(), contents.size(), put));
    ASSERT_EQ(contents.size(), put);
    if (inSync)
    {
        ASSERT_EQ(0, files.BeginSyncBytes(file));
        ASSERT_EQ(0, files.SyncBytes(file));
    }
    ASSERT_EQ(0, files.Close(file));
    ASSERT_EQ(
        0, files.Rename(passing, inFolder + "/" + std::to_string(inFile), RenameMode::kNoReplace));
}

/// @return how many files have their name, but not all of their bytes.
int TornFiles(const Testing::TemporaryFolder& inFolder, int& outWhole)
{
    int torn = 0;
    outWhole = 0;
    for (int file = 0; file < kFiles; ++file)
    {
        const std::string name = std::to_string(file);
        if (!std::filesystem::exists(inFolder.Path(name)))
            continue;
        ++(inFolder.Read(name) == ContentsOf(file) ? outWhole : torn);
    }
    return torn;
}

int TornByACrash(const CrashingVolume& inVolume, bool inSync, int& outWhole)
{
    const Testing::TemporaryFolder folder(inVolume.Path());
    for (int file = 0; file < kFiles; ++file)
        Put(folder.Path(), file, inSync);
    inVolume.Crash();
    return TornFiles(folder, outWhole);
}

class RealMachineCrash : public ::testing::TestWithParam<const char*>
{
};

TEST_P(RealMachineCrash, AFileThatWasSyncedBeforeItGotItsNameIsWholeUnderIt)
{
    RK_NEEDS_CRASHING_VOLUME(GetParam());
    const CrashingVolume volume(GetParam());
    int whole = 0;

    EXPECT_EQ(0, TornByACrash(volume, true, whole));
    EXPECT_GT(whole, 0);
}

// Why it is done, and that this crash is one.
TEST_P(RealMachineCrash, AFileThatWasNotSyncedMayHaveItsNameWithoutItsBytes)
{
    RK_NEEDS_CRASHING_VOLUME(GetParam());
    const CrashingVolume volume(GetParam());
    int whole = 0;

    EXPECT_GT(TornByACrash(volume, false, whole), 0);
}

INSTANTIATE_TEST_SUITE_P(Volumes, RealMachineCrash, ::testing::Values("ext4", "xfs"));

} // namespace
