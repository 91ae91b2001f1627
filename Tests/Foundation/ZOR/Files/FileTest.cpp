#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include "Support/ChildProcess.h"
#include "Support/TemporaryFolder.h"
#include "ZOR/DiskUtils.h"
#include "ZOR/File.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"

namespace
{

using namespace ZOR;
using qelcore::kResult_OK;
using qelcore::Result;
using qelcore::UTF16String;
using qelcore::utility::FileNameToUTF16;

class ZORFileTest : public ::testing::Test
{
protected:
    UTF16String At(const std::string& inName) const
    {
        return FileNameToUTF16(mFolder.Path(inName));
    }
    static Result OpenToRead(File& ioFile, const UTF16String& inPath)
    {
        return ioFile.Create(inPath, kFileAccess_Read, kFileShareMode_Read,
                             kFileCreate_OpenExisting, kFileAttributes_Sequential, false);
    }
    static Result OpenToWrite(File& ioFile, const UTF16String& inPath,
                              FileCreateDispositionFlags inDisposition = kFileCreate_New)
    {
        return ioFile.Create(inPath, kFileAccess_Write, kFileShareMode_None, inDisposition,
                             kFileAttributes_Normal, false);
    }
    void WriteFile(const std::string& inName, const std::string& inText)
    {
        File file;
        std::size_t put = 0;
        ASSERT_EQ(kResult_OK, OpenToWrite(file, At(inName)));
        ASSERT_EQ(kResult_OK, file.Write(inText.data(), inText.size(), put));
        ASSERT_EQ(inText.size(), put);
        ASSERT_EQ(kResult_OK, file.Close());
    }

    Testing::TemporaryFolder mFolder;
};

TEST_F(ZORFileTest, TheFlagsHaveTheValuesThatCallersPass)
{
    EXPECT_EQ(1u, kFileAccess_Read);
    EXPECT_EQ(2u, kFileAccess_Write);
    EXPECT_EQ(1u, kFileShareMode_Read);
    EXPECT_EQ(0u, kFileShareMode_None);
    EXPECT_EQ(8u, kFileCreate_OpenExisting);
    EXPECT_EQ(2u, kFileCreate_New);
    EXPECT_EQ(4u, kFileAttributes_Sequential);
    EXPECT_EQ(1u, kFileAttributes_Normal);
    EXPECT_EQ(static_cast<Result>(0xA00F000Au), kFileResult_AlreadyExists);
    EXPECT_GT(0, kFileResult_AlreadyExists);
}

TEST_F(ZORFileTest, WhatWasWrittenIsReadBackWithItsLength)
{
    WriteFile("f", "12345");
    File file;
    char bytes[64] = {};
    std::size_t got = 99;

    ASSERT_EQ(kResult_OK, OpenToRead(file, At("f")));
    EXPECT_EQ(kResult_OK, file.Read(bytes, sizeof(bytes), got));
    EXPECT_EQ("12345", std::string(bytes, got));
    EXPECT_EQ(kResult_OK, file.Read(bytes, sizeof(bytes), got));
    EXPECT_EQ(0u, got);
    EXPECT_EQ(kResult_OK, file.Close());
}

TEST_F(ZORFileTest, EachDispositionDoesWhatItSays)
{
    mFolder.Write("there", "abc");
    const auto open = [&](const std::string& inName, FileCreateDispositionFlags inDisposition)
    {
        File file;
        return OpenToWrite(file, At(inName), inDisposition);
    };

    EXPECT_EQ(kFileResult_AlreadyExists, open("there", kFileCreate_New));
    EXPECT_EQ(kFileResult_NotFound, open("none", kFileCreate_OpenExisting));
    EXPECT_EQ(kFileResult_NotFound, open("none", kFileCreate_Truncate));
    EXPECT_EQ(kResult_OK, open("there", kFileCreate_OpenAlways));
    EXPECT_EQ("abc", mFolder.Read("there"));
    EXPECT_EQ(kResult_OK, open("there", kFileCreate_Truncate));
    EXPECT_EQ("", mFolder.Read("there"));
    EXPECT_EQ(kResult_OK, open("new1", kFileCreate_OpenAlways));
    EXPECT_EQ(kResult_OK, open("new2", kFileCreate_Always));
    EXPECT_EQ(kResult_OK, open("new2", kFileCreate_Always));
}

TEST_F(ZORFileTest, FlagsThatMakeNoSenseAreRefused)
{
    mFolder.Write("f", "kept");
    File file;
    const auto create = [&](unsigned inAccess, unsigned inDisposition)
    {
        return file.Create(At("f"), static_cast<FileAccessFlags>(inAccess), kFileShareMode_None,
                           static_cast<FileCreateDispositionFlags>(inDisposition),
                           kFileAttributes_Normal, false);
    };

    EXPECT_EQ(kFileResult_BadArgument, create(0, 8));
    EXPECT_EQ(kFileResult_BadArgument, create(4, 8));
    EXPECT_EQ(kFileResult_BadArgument, create(1, 0));
    EXPECT_EQ(kFileResult_BadArgument, create(2, 3));
    EXPECT_EQ(kFileResult_BadArgument, create(1, 1)); // would empty what can only be read
    EXPECT_EQ(kFileResult_BadArgument, create(1, 16));
    EXPECT_EQ("kept", mFolder.Read("f"));
}

TEST_F(ZORFileTest, AnOpenObjectIsNotOpenedAgain)
{
    mFolder.Write("f", "x");
    File file;
    ASSERT_EQ(kResult_OK, OpenToRead(file, At("f")));

    EXPECT_EQ(kFileResult_AlreadyOpen, OpenToRead(file, At("f")));
    EXPECT_TRUE(file.IsOpen());
}

TEST_F(ZORFileTest, AClosedObjectIsNeitherReadNorWrittenNorClosed)
{
    File file;
    char byte = 0;
    std::size_t count = 99;

    EXPECT_EQ(kFileResult_NotOpen, file.Read(&byte, 1, count));
    EXPECT_EQ(0u, count);
    EXPECT_EQ(kFileResult_NotOpen, file.Write(&byte, 1, count));
    EXPECT_EQ(kFileResult_NotOpen, file.BeginSyncBytes());
    EXPECT_EQ(kFileResult_NotOpen, file.SyncBytes());
    EXPECT_EQ(kFileResult_NotOpen, file.Close());
}

TEST_F(ZORFileTest, MovingAnObjectMovesWhatIsOpen)
{
    mFolder.Write("f", "x");
    File first;
    ASSERT_EQ(kResult_OK, OpenToRead(first, At("f")));

    File second(std::move(first));
    EXPECT_TRUE(second.IsOpen());
    first = std::move(second);
    EXPECT_TRUE(first.IsOpen());
    EXPECT_FALSE(second.IsOpen());
    EXPECT_EQ(kResult_OK, first.Close());
}

TEST_F(ZORFileTest, TheReasonsOfFailureAreToldApart)
{
    mFolder.Write("f", "x");
    mFolder.MakeFolder("d");
    ASSERT_EQ(0, symlink("loop", mFolder.Path("loop").c_str()));
    File file;

    EXPECT_EQ(kFileResult_NotFound, OpenToRead(file, At("none")));
    EXPECT_EQ(kFileResult_NotDirectory, OpenToRead(file, At("f/below")));
    EXPECT_EQ(kFileResult_IsDirectory, OpenToWrite(file, At("d"), kFileCreate_OpenExisting));
    EXPECT_EQ(kFileResult_LinkLoop, OpenToRead(file, At("loop")));
    EXPECT_EQ(kFileResult_NameTooLong, OpenToRead(file, At(std::string(256, 'n'))));
    EXPECT_EQ(kFileResult_BadArgument, OpenToRead(file, At("f") + UTF16String(u"\0x", 2)));
    EXPECT_EQ(kFileResult_NotFound, OpenToRead(file, u""));
}

TEST_F(ZORFileTest, MissingRightsAreToldApart)
{
    mFolder.Write("f", "x");
    ASSERT_EQ(0, chmod(mFolder.Path().c_str(), 0755));
    ASSERT_EQ(0, chmod(mFolder.Path("f").c_str(), 0000));

    EXPECT_EQ(0, Testing::RunWithoutRights(
                     [&]
                     {
                         File file;
                         return OpenToRead(file, At("f")) == kFileResult_AccessDenied ? 0 : 1;
                     }));
}

TEST_F(ZORFileTest, TooManyOpenFilesIsToldApart)
{
    mFolder.Write("f", "x");
    EXPECT_EQ(0, Testing::RunInChild(
                     [&]
                     {
                         const rlimit few = {20, 20};
                         setrlimit(RLIMIT_NOFILE, &few);
                         std::vector<File> files(50);
                         for (File& file : files)
                         {
                             const Result result = OpenToRead(file, At("f"));
                             if (result != kResult_OK)
                                 return result == kFileResult_TooManyOpenFiles ? 0 : 1;
                         }
                         return 2;
                     }));
}

TEST_F(ZORFileTest, AMoveNeverTakesATakenName)
{
    mFolder.Write("a", "mine");
    mFolder.Write("b", "yours");

    EXPECT_EQ(kFileResult_AlreadyExists, File::Move(At("a"), At("b")));
    EXPECT_EQ("yours", mFolder.Read("b"));
    EXPECT_EQ(kResult_OK, File::Move(At("a"), At("c")));
    EXPECT_EQ("mine", mFolder.Read("c"));
    EXPECT_EQ(kFileResult_NotFound, File::Move(At("a"), At("d")));
}

TEST_F(ZORFileTest, ARemovalTakesFilesAlone)
{
    mFolder.Write("a", "x");
    mFolder.MakeFolder("d");

    EXPECT_EQ(kResult_OK, File::Delete(At("a")));
    EXPECT_EQ(kFileResult_NotFound, File::Delete(At("a")));
    EXPECT_EQ(kFileResult_IsDirectory, File::Delete(At("d")));
}

TEST_F(ZORFileTest, TheSizeIsThatOfWhatALinkLeadsTo)
{
    mFolder.Write("f", "12345");
    mFolder.MakeFolder("d");
    ASSERT_EQ(0, symlink("f", mFolder.Path("link").c_str()));
    std::uint64_t size = 99;

    EXPECT_EQ(kFileResult_NotFound, File::SizeOnDisk(At("none"), size));
    EXPECT_EQ(kFileResult_IsDirectory, File::SizeOnDisk(At("d"), size));
    EXPECT_EQ(99u, size);
    EXPECT_EQ(kResult_OK, File::SizeOnDisk(At("link"), size));
    EXPECT_EQ(5u, size);
}

TEST_F(ZORFileTest, ASizeBeyond32BitsIsTold)
{
    const std::string path = mFolder.Write("f", "");
    ASSERT_EQ(0, truncate(path.c_str(), (off_t{1} << 33) + 1)); // takes no space
    std::uint64_t size = 0;

    EXPECT_EQ(kResult_OK, File::SizeOnDisk(At("f"), size));
    EXPECT_EQ((std::uint64_t{1} << 33) + 1, size);
}

TEST_F(ZORFileTest, ATemporaryPathIsNewHiddenAndInTheSameFolder)
{
    std::set<UTF16String> paths;
    for (int i = 0; i < 100; ++i)
    {
        const UTF16String path = File::MakeUniqueTempPath(At("key.sub.rkdc"));
        EXPECT_EQ(At(""), PathUtils::GetFullDirectoryPart(path));
        EXPECT_EQ(u'.', PathUtils::GetFullFilePart(path)[0]);
        EXPECT_EQ(u".tmp", PathUtils::GetExtensionPart(path));
        EXPECT_TRUE(File::IsTempPath(path));
        EXPECT_FALSE(PathUtils::ExistsOnDisk(path));
        paths.insert(path);
    }
    EXPECT_EQ(100u, paths.size());
}

TEST_F(ZORFileTest, ATemporaryPathFitsBesideTheLongestName)
{
    File file;

    EXPECT_EQ(kResult_OK, OpenToWrite(file, File::MakeUniqueTempPath(At(std::string(255, 'n')))));
}

TEST_F(ZORFileTest, OtherNamesAreNotTakenForTemporaryOnes)
{
    const UTF16String path = File::MakeUniqueTempPath(At("x"));

    EXPECT_FALSE(File::IsTempPath(u""));
    EXPECT_FALSE(File::IsTempPath(u"/a/.tmp"));
    EXPECT_FALSE(File::IsTempPath(u"/a/.RK-.tmp"));
    EXPECT_FALSE(File::IsTempPath(path + u"x"));
    EXPECT_FALSE(File::IsTempPath(path + u"/x"));
    UTF16String damaged = path;
    damaged[damaged.size() - 5] = u'g';
    EXPECT_FALSE(File::IsTempPath(damaged));
}

TEST_F(ZORFileTest, NamesThatAreNoTextAndNamesBeyondTheBMPAreWrittenReadAndMoved)
{
    for (const std::string name : {"bad\xff\xfe", "\xf0\x9f\x8e\xac", "e\xcc\x81"})
    {
        WriteFile(name, name);
        EXPECT_EQ(name, mFolder.Read(name));
        EXPECT_EQ(kResult_OK, File::Move(At(name), At(name + "2")));
        EXPECT_EQ(name, mFolder.Read(name + "2"));
    }
}

TEST_F(ZORFileTest, TheUnitOfTheDiskIsASmallPowerOfTwo)
{
    std::uint32_t unit = 0;
    ASSERT_EQ(kResult_OK, DiskUtils::GetEfficientDiskBufferSizeFromPath(At("."), unit));
    EXPECT_LE(512u, unit);
    EXPECT_GE(65536u, unit);
    EXPECT_EQ(0u, unit & (unit - 1));
    EXPECT_EQ(kFileResult_NotFound,
              DiskUtils::GetEfficientDiskBufferSizeFromPath(At("none"), unit));
}

} // namespace
