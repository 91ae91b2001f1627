// Shared objects made byte by byte, and read without being run.
#include "Foundation/Platform/Src/ElfFile.h"

#include <cerrno>
#include <cstring>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Support/MemoryFileSystem.h"

namespace
{

using Platform::ByteRange;
using Platform::CodeFault;
using testing::HasSubstr;

class MemoryBytes : public Platform::IByteSource
{
public:
    explicit MemoryBytes(const std::string& inBytes)
        : mBytes(inBytes)
    {
    }
    std::uint64_t Size() const override { return mBytes.size(); }
    int Read(std::uint64_t inOffset, void* outBytes, std::size_t inSize) override
    {
        if (inOffset > mBytes.size() || inSize > mBytes.size() - inOffset)
        {
            ADD_FAILURE() << "read past the end: " << inOffset << " + " << inSize;
            return EIO;
        }
        std::memcpy(outBytes, mBytes.data() + inOffset, inSize);
        return 0;
    }

private:
    const std::string mBytes;
};

/// One segment that is the whole file, the sections "", ".names", "mv_properties", symbols and their names.
struct Image
{
    Elf64_Ehdr header{};
    Elf64_Phdr segments[3]{}; // the last is none
    Elf64_Shdr sections[5]{};
    Elf64_Sym symbols[2]{};
    char names[48] = "\0.names\0mv_properties";
    char symbolNames[16] = "\0Object";
    char data[16] = "the properties";
};

Image Sound()
{
    Image image;
    std::memcpy(image.header.e_ident, ELFMAG, SELFMAG);
    image.header.e_ident[EI_CLASS] = ELFCLASS64;
    image.header.e_ident[EI_DATA] = ELFDATA2LSB;
    image.header.e_type = ET_DYN;
    image.header.e_machine = EM_X86_64;
    image.header.e_phoff = offsetof(Image, segments);
    image.header.e_phentsize = sizeof(Elf64_Phdr);
    image.header.e_phnum = 3;
    image.header.e_shoff = offsetof(Image, sections);
    image.header.e_shentsize = sizeof(Elf64_Shdr);
    image.header.e_shnum = 5;
    image.header.e_shstrndx = 1;
    image.segments[0].p_type = PT_LOAD;
    image.segments[0].p_vaddr = 0x1000;
    image.segments[0].p_filesz = image.segments[0].p_memsz = sizeof(Image);
    image.segments[1].p_type = PT_DYNAMIC;
    image.segments[1].p_vaddr = 0x1000;
    const auto section = [&image](int inIndex, unsigned inName, unsigned inType,
                                  std::size_t inOffset, std::size_t inSize)
    {
        image.sections[inIndex].sh_name = inName;
        image.sections[inIndex].sh_type = inType;
        image.sections[inIndex].sh_offset = inOffset;
        image.sections[inIndex].sh_size = inSize;
    };
    section(1, 1, SHT_STRTAB, offsetof(Image, names), sizeof image.names);
    section(2, 8, SHT_PROGBITS, offsetof(Image, data), sizeof image.data);
    section(3, 0, SHT_DYNSYM, offsetof(Image, symbols), sizeof image.symbols);
    section(4, 0, SHT_STRTAB, offsetof(Image, symbolNames), sizeof image.symbolNames);
    image.sections[3].sh_link = 4;
    image.symbols[1].st_name = 1;
    image.symbols[1].st_info = ELF64_ST_INFO(STB_GLOBAL, STT_OBJECT);
    image.symbols[1].st_shndx = 2;
    image.symbols[1].st_value = 0x1000 + offsetof(Image, data) + 4;
    image.symbols[1].st_size = 10;
    return image;
}

std::string BytesOf(const Image& inImage)
{
    return std::string(reinterpret_cast<const char*>(&inImage), sizeof inImage);
}

struct Answer
{
    CodeFault fault = CodeFault::kNone;
    std::string problem;
    std::optional<ByteRange> range;
};

Answer Section(const std::string& inBytes, const std::string& inName = "mv_properties")
{
    MemoryBytes bytes(inBytes);
    Platform::ElfFile elf(bytes);
    Answer answer;
    answer.fault = elf.ReadHeader();
    if (answer.fault == CodeFault::kNone)
        answer.fault = elf.FindSection(inName, answer.range);
    answer.problem = elf.Problem();
    return answer;
}

Answer Object(const Image& inImage, const std::string& inName = "Object")
{
    MemoryBytes bytes(BytesOf(inImage));
    Platform::ElfFile elf(bytes);
    Answer answer;
    answer.fault = elf.ReadHeader();
    if (answer.fault == CodeFault::kNone)
        answer.fault = elf.FindObject(inName, answer.range);
    answer.problem = elf.Problem();
    return answer;
}

CodeFault Loadable(const Image& inImage)
{
    MemoryBytes bytes(BytesOf(inImage));
    Platform::ElfFile elf(bytes);
    const CodeFault fault = elf.ReadHeader();
    return fault == CodeFault::kNone ? elf.CheckLoadable() : fault;
}

TEST(ElfFile, FindsASectionByItsWholeName)
{
    const Answer answer = Section(BytesOf(Sound()));
    ASSERT_TRUE(answer.range) << answer.problem;
    EXPECT_EQ(offsetof(Image, data), answer.range->offset);
    EXPECT_EQ(16u, answer.range->size);
    EXPECT_FALSE(Section(BytesOf(Sound()), "mv_prop").range);
    EXPECT_FALSE(Section(BytesOf(Sound()), "mv_properties2").range);
}

TEST(ElfFile, FindsAnExportedObjectInTheFileByItsAddress)
{
    const Answer answer = Object(Sound());
    ASSERT_TRUE(answer.range) << answer.problem;
    EXPECT_EQ(offsetof(Image, data) + 4, answer.range->offset);
    EXPECT_EQ(10u, answer.range->size);
    EXPECT_FALSE(Object(Sound(), "Obj").range);
}

TEST(ElfFile, AnObjectThatIsOnlyReferredToOrHasNoSizeIsNone)
{
    Image image = Sound();
    image.symbols[1].st_shndx = SHN_UNDEF;
    EXPECT_FALSE(Object(image).range);
    image = Sound();
    image.symbols[1].st_size = 0;
    EXPECT_FALSE(Object(image).range);
    image = Sound();
    image.symbols[1].st_info = ELF64_ST_INFO(STB_GLOBAL, STT_FUNC);
    EXPECT_FALSE(Object(image).range);
}

TEST(ElfFile, AnObjectWithoutBytesInTheFileIsDamaged)
{
    Image image = Sound();
    image.symbols[1].st_size = sizeof(Image);
    EXPECT_EQ(CodeFault::kDamaged, Object(image).fault);
    image = Sound();
    image.symbols[1].st_value = UINT64_MAX - 4;
    EXPECT_EQ(CodeFault::kDamaged, Object(image).fault);
}

TEST(ElfFile, WithoutSectionsThereIsNothingToFind)
{
    Image image = Sound();
    image.header.e_shoff = 0;
    EXPECT_EQ(CodeFault::kNone, Section(BytesOf(image)).fault);
    EXPECT_FALSE(Section(BytesOf(image)).range);
    EXPECT_FALSE(Object(image).range);
}

TEST(ElfFile, ASectionWithoutBytesInTheFileIsNone)
{
    Image image = Sound();
    image.sections[2].sh_type = SHT_NOBITS;
    image.sections[2].sh_size = 1u << 30;
    EXPECT_EQ(CodeFault::kNone, Section(BytesOf(image)).fault);
    EXPECT_FALSE(Section(BytesOf(image)).range);
}

TEST(ElfFile, VeryManySectionsAreCountedInTheFirst)
{
    Image image = Sound();
    image.header.e_shnum = 0;
    image.sections[0].sh_size = 5;
    image.header.e_shstrndx = SHN_XINDEX;
    image.sections[0].sh_link = 1;
    EXPECT_TRUE(Section(BytesOf(image)).range);
    image.sections[0].sh_size = UINT64_MAX / 2;
    EXPECT_EQ(CodeFault::kDamaged, Section(BytesOf(image)).fault);
}

TEST(ElfFile, OffsetsSizesAndIndexesBeyondTheFileAreDamage)
{
    const auto damaged = [](void (*inChange)(Image&))
    {
        Image image = Sound();
        inChange(image);
        return Section(BytesOf(image)).fault == CodeFault::kDamaged;
    };
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_shoff = UINT64_MAX - 8; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_shentsize = 8; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_shnum = 5000; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_shstrndx = 9; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.sections[1].sh_size = UINT64_MAX; }));
    EXPECT_TRUE(
        damaged([](Image& ioImage) { ioImage.sections[2].sh_offset = sizeof(Image) - 15; }));
}

TEST(ElfFile, ANameThatBeginsBeyondTheNamesOrHasNoEndIsNobodys)
{
    Image image = Sound();
    image.sections[2].sh_name = UINT32_MAX;
    EXPECT_FALSE(Section(BytesOf(image)).range);
    image = Sound();
    image.sections[1].sh_size = 8 + 13; // up to the last letter, without its NUL
    EXPECT_FALSE(Section(BytesOf(image)).range);
}

TEST(ElfFile, WhatIsCutShortAnywhereIsReadWithoutGoingPastItsEnd)
{
    const std::string whole = BytesOf(Sound());
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_NE(CodeFault::kUnreadable, Section(whole.substr(0, size)).fault) << size;
}

TEST(ElfFile, MayBeLoadedWhenMachineKindAndSegmentsAreRight)
{
    EXPECT_EQ(CodeFault::kNone, Loadable(Sound()));
    Image image = Sound();
    image.header.e_machine = EM_AARCH64;
    EXPECT_EQ(CodeFault::kWrongArchitecture, Loadable(image));
    image = Sound();
    image.header.e_type = ET_EXEC;
    EXPECT_EQ(CodeFault::kNoCode, Loadable(image));
}

TEST(ElfFile, SegmentsThatCannotBeAreDamage)
{
    const auto damaged = [](void (*inChange)(Image&))
    {
        Image image = Sound();
        inChange(image);
        return Loadable(image) == CodeFault::kDamaged;
    };
    EXPECT_TRUE(damaged(
        [](Image& ioImage)
        { ioImage.segments[0].p_filesz = ioImage.segments[0].p_memsz = sizeof(Image) + 1; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.segments[0].p_offset = UINT64_MAX; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.segments[0].p_memsz = 8; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.segments[0].p_vaddr = UINT64_MAX - 8; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.segments[0].p_type = PT_NULL; }));
    EXPECT_TRUE(
        damaged([](Image& ioImage) { ioImage.segments[1].p_vaddr = 0x1000 + sizeof(Image) + 1; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_phentsize = 1; }));
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.header.e_phnum = 60000; }));
    // twice at one place
    EXPECT_TRUE(damaged([](Image& ioImage) { ioImage.segments[2] = ioImage.segments[0]; }));
}

class CodeBytesTest : public testing::Test
{
protected:
    CodeFault Read(const std::string& inSection, const std::string& inObject,
                   std::size_t inMaxBytes = 100)
    {
        return Platform::ReadCodeBytes("/a.so", inSection, inObject, inMaxBytes, mBytes, mText);
    }

    Testing::MemoryFileSystem mFiles;
    Platform::ScopedFileSystem mScope{mFiles};
    std::string mBytes;
    std::string mText;
};

TEST_F(CodeBytesTest, ComeFromTheSectionOrElseFromTheObject)
{
    mFiles.AddFile("/a.so", BytesOf(Sound()));
    EXPECT_EQ(CodeFault::kNone, Read("mv_properties", "Object"));
    EXPECT_EQ(std::string("the properties\0", 16), mBytes);
    EXPECT_EQ(CodeFault::kNone, Read("other", "Object"));
    EXPECT_EQ("properties", mBytes);
    EXPECT_EQ(CodeFault::kNone, Read("other", "others"));
    EXPECT_EQ("", mBytes);
}

TEST_F(CodeBytesTest, AreReadFromCodeForOtherMachinesToo)
{
    Image image = Sound();
    image.header.e_machine = EM_AARCH64;
    mFiles.AddFile("/a.so", BytesOf(image));
    EXPECT_EQ(CodeFault::kNone, Read("mv_properties", "Object"));
    EXPECT_EQ(16u, mBytes.size());
}

TEST_F(CodeBytesTest, AreNotMoreThanAllowed)
{
    mFiles.AddFile("/a.so", BytesOf(Sound()));
    EXPECT_EQ(CodeFault::kDamaged, Read("mv_properties", "Object", 15));
    EXPECT_EQ("", mBytes);
    EXPECT_THAT(mText, HasSubstr("/a.so: damaged"));
}

TEST_F(CodeBytesTest, AFaultIsToldWithTheFile)
{
    EXPECT_EQ(CodeFault::kMissing, Read("mv_properties", "Object"));
    EXPECT_EQ("/a.so: No such file or directory", mText);
    mFiles.AddFile("/a.so", "something else that is long enough");
    EXPECT_EQ(CodeFault::kNoCode, Read("mv_properties", "Object"));
    EXPECT_EQ("/a.so: no shared object: it has no ELF header", mText);
    mFiles.Fail(Testing::FileOperation::kRead, "/a.so", EIO);
    EXPECT_EQ(CodeFault::kUnreadable, Read("mv_properties", "Object"));
    EXPECT_EQ("/a.so: Input/output error", mText);
}

} // namespace
