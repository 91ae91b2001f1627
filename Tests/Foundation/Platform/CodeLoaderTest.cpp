// Real shared objects through the real loader: see Tests/Support/Code.
#include "Platform/CodeLoader.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <elf.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "Platform/CodeFile.h"
#include "Support/ChildProcess.h"
#include "Support/FakeCodeLoader.h"
#include "Support/TemporaryFolder.h"

namespace
{

using testing::HasSubstr;
using Testing::TemporaryFolder;

std::string Sample(const std::string& inName)
{
    return RK_TEST_CODE "/" + inName + ".so";
}

std::string BytesOf(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// Where the last segment of a shared object ends in its file.
std::size_t EndOfSegments(const std::string& inBytes)
{
    Elf64_Ehdr header;
    std::memcpy(&header, inBytes.data(), sizeof header);
    std::size_t end = 0;
    for (int i = 0; i < header.e_phnum; ++i)
    {
        Elf64_Phdr segment;
        std::memcpy(&segment, inBytes.data() + header.e_phoff + i * sizeof segment, sizeof segment);
        if (segment.p_type == PT_LOAD)
            end = segment.p_offset + segment.p_filesz;
    }
    return end;
}

class CodeLoaderTest : public testing::Test
{
protected:
    void* Load(const std::string& inPath) { return Platform::CodeLoader().Load(inPath, mError); }
    void* FindEntry(void* inCode, const std::string& inName)
    {
        return Platform::CodeLoader().FindEntry(inCode, inName, mError);
    }
    int Call(void* inCode, const std::string& inName)
    {
        void* const entry = FindEntry(inCode, inName);
        return entry == nullptr ? -1 : reinterpret_cast<int (*)()>(entry)();
    }
    /// A copy of the sample with some bytes replaced.
    std::string Patched(const std::string& inName, std::size_t inOffset, const std::string& inBytes)
    {
        std::string bytes = BytesOf(Sample("PluginMain"));
        bytes.replace(inOffset, inBytes.size(), inBytes);
        return mFolder.Write(inName, bytes);
    }

    TemporaryFolder mFolder;
    std::string mError;
};

TEST_F(CodeLoaderTest, AnEntryIsFoundByItsName)
{
    void* const code = Load(Sample("MainOnly"));
    ASSERT_NE(nullptr, code) << mError;
    EXPECT_EQ("", mError);
    EXPECT_EQ(11, Call(code, "main"));
    EXPECT_EQ("", mError);
}

TEST_F(CodeLoaderTest, AMissingEntryIsToldByTheSystemsWords)
{
    void* const code = Load(Sample("MainOnly"));
    EXPECT_EQ(nullptr, FindEntry(code, "PluginMain"));
    EXPECT_THAT(mError, HasSubstr("undefined symbol: PluginMain"));
}

TEST_F(CodeLoaderTest, AVariableIsNoEntry)
{
    void* const code = Load(Sample("NoEntry"));
    ASSERT_NE(nullptr, code) << mError;
    EXPECT_EQ(nullptr, FindEntry(code, "PluginMain"));
    EXPECT_THAT(mError, HasSubstr("is no function"));
}

TEST_F(CodeLoaderTest, TheEntryOfWhatTheFileDependsOnIsNotItsOwn)
{
    void* const code = Load(Sample("Dependent"));
    ASSERT_NE(nullptr, code) << mError;
    EXPECT_EQ(nullptr, FindEntry(code, "PluginMain"));
    EXPECT_THAT(mError, HasSubstr("another file's"));
    EXPECT_EQ(5, Call(code, "Other"));
}

TEST_F(CodeLoaderTest, AMissingDependencyIsNamed)
{
    std::string bytes = BytesOf(Sample("Dependent"));
    const std::string name = "librk_code_dependency.so";
    bytes.replace(bytes.find(name), name.size(), "librk_code_nobody_has.so");
    EXPECT_EQ(nullptr, Load(mFolder.Write("Dependent.so", bytes)));
    EXPECT_THAT(mError, HasSubstr("librk_code_nobody_has.so: cannot open shared object file"));
}

TEST_F(CodeLoaderTest, AnUnresolvedReferenceIsFoundAtTheLoadAndNotAtTheCall)
{
    EXPECT_EQ(nullptr, Load(Sample("Unresolved")));
    EXPECT_THAT(mError, HasSubstr("undefined symbol: rk_there_is_no_such_function"));
}

TEST_F(CodeLoaderTest, ALinkAndAnotherSpellingAreTheSameCode)
{
    const std::string link = mFolder.Path("Link.so");
    std::filesystem::create_symlink(Sample("PluginMain"), link);
    void* const code = Load(Sample("PluginMain"));
    EXPECT_EQ(code, Load(link)) << mError;
    EXPECT_EQ(code, Load(RK_TEST_CODE "/./PluginMain.so"));
}

TEST_F(CodeLoaderTest, APathMayHoldAnyCharacters)
{
    const std::string path =
        mFolder.Write("Пла гин – プラグイン.so", BytesOf(Sample("PluginMain")));
    EXPECT_EQ(101, Call(Load(path), "PluginMain")) << mError;
}

TEST_F(CodeLoaderTest, APathWithoutALeadingSlashIsOneOfTheCurrentDirectory)
{
    const std::string path = mFolder.Write("Near.so", BytesOf(Sample("MainOnly")));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(mFolder.Path());
    void* const code = Load("Near.so");
    std::filesystem::current_path(before);
    EXPECT_NE(nullptr, code) << mError;
    EXPECT_EQ(code, Load(path));
}

TEST_F(CodeLoaderTest, WhatIsNotThereIsToldByItsPath)
{
    EXPECT_EQ(nullptr, Load(mFolder.Path("Nothing.so")));
    EXPECT_EQ(mFolder.Path("Nothing.so") + ": No such file or directory", mError);
}

TEST_F(CodeLoaderTest, CodeForAnotherMachineIsTheWrongArchitecture)
{
    const std::string machine(1, static_cast<char>(EM_AARCH64));
    EXPECT_EQ(nullptr, Load(Patched("Machine.so", offsetof(Elf64_Ehdr, e_machine), machine)));
    EXPECT_THAT(mError, HasSubstr("Machine.so: wrong architecture: machine 183"));
}

TEST_F(CodeLoaderTest, CodeOf32BitsIsTheWrongArchitecture)
{
    EXPECT_EQ(nullptr, Load(Patched("Narrow.so", EI_CLASS, std::string(1, ELFCLASS32))));
    EXPECT_THAT(mError, HasSubstr("Narrow.so: wrong architecture: 32 bits"));
}

TEST_F(CodeLoaderTest, CodeOfTheOtherByteOrderIsTheWrongArchitecture)
{
    EXPECT_EQ(nullptr, Load(Patched("Big.so", EI_DATA, std::string(1, ELFDATA2MSB))));
    EXPECT_THAT(mError, HasSubstr("Big.so: wrong architecture"));
}

TEST_F(CodeLoaderTest, WhatIsNoSharedObjectIsRefused)
{
    EXPECT_EQ(nullptr, Load(mFolder.Write("Text.so", "#!/bin/sh\necho this is no code\n")));
    EXPECT_THAT(mError, HasSubstr("Text.so: no shared object: it has no ELF header"));
    EXPECT_EQ(nullptr, Load(mFolder.Write("Empty.so", "")));
    EXPECT_THAT(mError, HasSubstr("Empty.so: no shared object: too short"));
    const std::string object(1, static_cast<char>(ET_REL));
    EXPECT_EQ(nullptr, Load(Patched("Object.so", offsetof(Elf64_Ehdr, e_type), object)));
    EXPECT_THAT(mError, HasSubstr("Object.so: no shared object: ELF type 1"));
}

TEST_F(CodeLoaderTest, AProgramIsNoCodeToLoad)
{
    EXPECT_EQ(nullptr, Load("/bin/sh"));
    EXPECT_THAT(mError, testing::StartsWith("/bin/sh: "));
}

// In the loader it would be the death of the process, at the first touch of a page that is not there.
TEST_F(CodeLoaderTest, AFileCutShortAnywhereIsRefusedOrLoadsButNeverKills)
{
    const std::string whole = BytesOf(Sample("PluginMain"));
    for (std::size_t size = 0; size < whole.size(); size += 509)
    {
        const std::string path = mFolder.Write("Cut.so", whole.substr(0, size));
        const int answer = Testing::RunInChild(
            [&path]
            {
                std::string error;
                void* const code = Platform::CodeLoader().Load(path, error);
                return code != nullptr ? 0 : error.find(path) != std::string::npos ? 1 : 2;
            });
        EXPECT_LE(answer, 1) << "of " << size << " bytes";
        EXPECT_TRUE(answer == 1 || size >= EndOfSegments(whole)) << "of " << size << " bytes";
    }
}

TEST_F(CodeLoaderTest, AFileWithoutItsLastSegmentIsDamaged)
{
    const std::string whole = BytesOf(Sample("PluginMain"));
    EXPECT_EQ(nullptr, Load(mFolder.Write("Cut.so", whole.substr(0, EndOfSegments(whole) - 1))));
    EXPECT_THAT(mError, HasSubstr("Cut.so: damaged: a segment of it ends at byte"));
}

TEST_F(CodeLoaderTest, APipeIsNotWaitedFor)
{
    const std::string pipe = mFolder.Path("Pipe.so");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    EXPECT_EQ(nullptr, Load(pipe));
    EXPECT_THAT(mError, HasSubstr("Pipe.so: no shared object: it is no regular file"));
}

TEST_F(CodeLoaderTest, ABundleHasItsCodeInTheFolderOfTheSystem)
{
    mFolder.Write("Blur.plugin/Contents/Linux/Blur.so", BytesOf(Sample("MainOnly")));
    EXPECT_EQ(11, Call(Load(mFolder.Path("Blur.plugin")), "main")) << mError;
    EXPECT_EQ(11, Call(Load(mFolder.Path("Blur.plugin/")), "main")) << mError;
}

TEST_F(CodeLoaderTest, CodeForThisMachineComesBeforeThatForAny)
{
    mFolder.Write("Blur.plugin/Contents/Linux/Blur.so", "no code");
    mFolder.Write("Blur.plugin/Contents/Linux-x86_64/Blur.so", BytesOf(Sample("MainOnly")));
    EXPECT_NE(nullptr, Load(mFolder.Path("Blur.plugin"))) << mError;
}

TEST_F(CodeLoaderTest, AFolderWithoutCodeIsSaidToBeOne)
{
    mFolder.Write("Blur.plugin/Contents/Linux/Other.so", BytesOf(Sample("MainOnly")));
    EXPECT_EQ(nullptr, Load(mFolder.Path("Blur.plugin")));
    EXPECT_EQ(mFolder.Path("Blur.plugin") +
                  ": a folder without code: there is no Contents/Linux/Blur.so",
              mError);
}

TEST_F(CodeLoaderTest, AScopePutsAFakeInTheRealOnesPlace)
{
    {
        Testing::FakeCodeLoader fake;
        fake.AddEntry("/a", "Entry", +[] { return 3; });
        EXPECT_EQ(3, Call(Load("/a"), "Entry"));
        EXPECT_EQ(nullptr, Load(Sample("MainOnly")));
    }
    EXPECT_NE(nullptr, Load(Sample("MainOnly")));
}

} // namespace
