#include "ElfFile.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <system_error>

namespace Platform
{
namespace
{

// More than any shared object has of headers, names or symbols.
constexpr std::uint64_t kMaxTableBytes = 64u << 20;

#if defined(__x86_64__)
constexpr unsigned kMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kMachine = EM_AARCH64;
#else
#error "which machine's code does this one run?"
#endif

bool IsNamed(std::string_view inNames, std::uint64_t inPlace, const std::string& inName)
{
    if (inPlace >= inNames.size())
        return false;
    const std::string_view here = inNames.substr(inPlace, inName.size() + 1);
    return here.size() == inName.size() + 1 && here.back() == '\0' &&
           here.substr(0, inName.size()) == inName;
}

// A place in memory, relative to where the code is put: whether the first holds the second.
bool HoldsAddresses(const Elf64_Phdr& inSegment, std::uint64_t inAddress, std::uint64_t inSize,
                    std::uint64_t inBytes)
{
    return inAddress >= inSegment.p_vaddr && inSize <= inBytes &&
           inAddress - inSegment.p_vaddr <= inBytes - inSize;
}

} // namespace

ElfFile::ElfFile(IByteSource& inBytes)
    : mBytes(inBytes)
{
}

CodeFault ElfFile::Fail(CodeFault inFault, const std::string& inProblem)
{
    mProblem = inProblem;
    return inFault;
}

bool ElfFile::Holds(std::uint64_t inOffset, std::uint64_t inSize) const
{
    return inOffset <= mBytes.Size() && inSize <= mBytes.Size() - inOffset;
}

template <class Record>
CodeFault ElfFile::ReadRecords(const char* inWhat, std::uint64_t inOffset, std::uint64_t inCount,
                               std::vector<Record>& outRecords)
{
    outRecords.clear();
    if (inCount > kMaxTableBytes / sizeof(Record) || !Holds(inOffset, inCount * sizeof(Record)))
        return Fail(CodeFault::kDamaged, std::string("damaged: its ") + inWhat +
                                             " do not lie within its " +
                                             std::to_string(mBytes.Size()) + " bytes");
    outRecords.resize(inCount);
    const int error = mBytes.Read(inOffset, outRecords.data(), inCount * sizeof(Record));
    if (error == 0)
        return CodeFault::kNone;
    outRecords.clear();
    return Fail(CodeFault::kUnreadable, std::generic_category().message(error));
}

CodeFault ElfFile::ReadHeader()
{
    std::vector<unsigned char> ident;
    if (mBytes.Size() < EI_NIDENT)
        return Fail(CodeFault::kNoCode, "no shared object: too short");
    if (const CodeFault fault = ReadRecords("first bytes", 0, EI_NIDENT, ident);
        fault != CodeFault::kNone)
        return fault;
    if (std::memcmp(ident.data(), ELFMAG, SELFMAG) != 0)
        return Fail(CodeFault::kNoCode, "no shared object: it has no ELF header");
    if (ident[EI_CLASS] != ELFCLASS64)
        return Fail(CodeFault::kWrongArchitecture, ident[EI_CLASS] == ELFCLASS32
                                                       ? "wrong architecture: 32 bits"
                                                       : "wrong architecture: unknown width");
    if (ident[EI_DATA] != ELFDATA2LSB)
        return Fail(CodeFault::kWrongArchitecture, "wrong architecture: other byte order");
    std::vector<Elf64_Ehdr> header;
    const CodeFault fault = ReadRecords("ELF header", 0, 1, header);
    if (fault == CodeFault::kNone)
        mHeader = header.front();
    return fault;
}

CodeFault ElfFile::CheckLoadable()
{
    if (mHeader.e_machine != kMachine)
        return Fail(CodeFault::kWrongArchitecture,
                    "wrong architecture: machine " + std::to_string(mHeader.e_machine) +
                        ", and this one is " + std::to_string(kMachine));
    if (mHeader.e_type != ET_DYN)
        return Fail(CodeFault::kNoCode,
                    "no shared object: ELF type " + std::to_string(mHeader.e_type));
    const CodeFault fault = ReadSegments();
    return fault == CodeFault::kNone ? CheckSegments() : fault;
}

CodeFault ElfFile::ReadSegments()
{
    if (!mSegments.empty())
        return CodeFault::kNone;
    if (mHeader.e_phnum != 0 && mHeader.e_phentsize != sizeof(Elf64_Phdr))
        return Fail(CodeFault::kDamaged, "damaged: its program headers have another size");
    return ReadRecords("program headers", mHeader.e_phoff, mHeader.e_phnum, mSegments);
}

// A segment that reaches beyond the file's end is mapped all the same, and the first touch of it kills. The loader
// takes segments in ascending order for granted, and reads what is dynamic without asking where it lies.
CodeFault ElfFile::CheckSegments()
{
    const auto dynamic =
        std::find_if(mSegments.begin(), mSegments.end(),
                     [](const Elf64_Phdr& inSegment) { return inSegment.p_type == PT_DYNAMIC; });
    std::uint64_t end = 0;
    bool dynamicLies = false;
    for (const Elf64_Phdr& segment : mSegments)
    {
        if (segment.p_type != PT_LOAD)
            continue;
        if (!Holds(segment.p_offset, segment.p_filesz))
            return Fail(CodeFault::kDamaged, "damaged: a segment of it ends at byte " +
                                                 std::to_string(segment.p_offset) + " + " +
                                                 std::to_string(segment.p_filesz) + " of " +
                                                 std::to_string(mBytes.Size()));
        if (segment.p_filesz > segment.p_memsz || segment.p_vaddr < end ||
            segment.p_memsz > UINT64_MAX - segment.p_vaddr)
            return Fail(CodeFault::kDamaged, "damaged: its segments lie across each other");
        end = segment.p_vaddr + segment.p_memsz;
        dynamicLies = dynamicLies || (dynamic != mSegments.end() &&
                                      HoldsAddresses(segment, dynamic->p_vaddr, dynamic->p_memsz,
                                                     segment.p_filesz));
    }
    if (!dynamicLies)
        return Fail(CodeFault::kDamaged, "damaged: no segment of it says what it needs");
    return CodeFault::kNone;
}

CodeFault ElfFile::ReadSections()
{
    if (!mSections.empty() || mHeader.e_shoff == 0)
        return CodeFault::kNone;
    if (mHeader.e_shentsize != sizeof(Elf64_Shdr))
        return Fail(CodeFault::kDamaged, "damaged: its section headers have another size");
    // With very many sections the first one tells how many.
    std::vector<Elf64_Shdr> first;
    if (const CodeFault fault = ReadRecords("section headers", mHeader.e_shoff, 1, first);
        fault != CodeFault::kNone)
        return fault;
    const std::uint64_t count = mHeader.e_shnum != 0 ? mHeader.e_shnum : first.front().sh_size;
    return ReadRecords("section headers", mHeader.e_shoff, count, mSections);
}

CodeFault ElfFile::ReadText(std::uint64_t inSection, std::string& outText)
{
    if (inSection >= mSections.size() || mSections[inSection].sh_type != SHT_STRTAB)
        return Fail(CodeFault::kDamaged, "damaged: it has no names for its sections or symbols");
    const Elf64_Shdr& section = mSections[inSection];
    std::vector<char> text;
    const CodeFault fault = ReadRecords("names", section.sh_offset, section.sh_size, text);
    outText.assign(text.begin(), text.end());
    return fault;
}

CodeFault ElfFile::FindSection(const std::string& inName, std::optional<ByteRange>& outRange)
{
    outRange.reset();
    if (const CodeFault fault = ReadSections(); fault != CodeFault::kNone || mSections.empty())
        return fault;
    const std::uint64_t namesSection =
        mHeader.e_shstrndx == SHN_XINDEX ? mSections.front().sh_link : mHeader.e_shstrndx;
    if (namesSection == SHN_UNDEF)
        return CodeFault::kNone;
    std::string names;
    if (const CodeFault fault = ReadText(namesSection, names); fault != CodeFault::kNone)
        return fault;
    for (const Elf64_Shdr& section : mSections)
    {
        if (section.sh_type == SHT_NOBITS || section.sh_type == SHT_NULL ||
            !IsNamed(names, section.sh_name, inName))
            continue;
        if (!Holds(section.sh_offset, section.sh_size))
            return Fail(CodeFault::kDamaged,
                        "damaged: section " + inName + " does not lie within it");
        outRange = ByteRange{section.sh_offset, section.sh_size};
        break;
    }
    return CodeFault::kNone;
}

CodeFault ElfFile::FindObject(const std::string& inName, std::optional<ByteRange>& outRange)
{
    outRange.reset();
    if (const CodeFault fault = ReadSections(); fault != CodeFault::kNone)
        return fault;
    if (const CodeFault fault = ReadSegments(); fault != CodeFault::kNone)
        return fault;
    for (const Elf64_Shdr& section : mSections)
    {
        if (section.sh_type == SHT_DYNSYM)
            return FindIn(section, inName, outRange);
    }
    return CodeFault::kNone;
}

CodeFault ElfFile::FindIn(const Elf64_Shdr& inTable, const std::string& inName,
                          std::optional<ByteRange>& outRange)
{
    std::string names;
    if (const CodeFault fault = ReadText(inTable.sh_link, names); fault != CodeFault::kNone)
        return fault;
    std::vector<Elf64_Sym> symbols;
    if (const CodeFault fault =
            ReadRecords("symbols", inTable.sh_offset, inTable.sh_size / sizeof(Elf64_Sym), symbols);
        fault != CodeFault::kNone)
        return fault;
    for (const Elf64_Sym& symbol : symbols)
    {
        const int type = ELF64_ST_TYPE(symbol.st_info);
        if (symbol.st_shndx == SHN_UNDEF || symbol.st_size == 0 ||
            (type != STT_OBJECT && type != STT_NOTYPE) || !IsNamed(names, symbol.st_name, inName))
            continue;
        outRange = RangeOf(symbol);
        return outRange
                   ? CodeFault::kNone
                   : Fail(CodeFault::kDamaged, "damaged: " + inName + " does not lie within it");
    }
    return CodeFault::kNone;
}

std::optional<ByteRange> ElfFile::RangeOf(const Elf64_Sym& inObject) const
{
    for (const Elf64_Phdr& segment : mSegments)
    {
        if (segment.p_type != PT_LOAD ||
            !HoldsAddresses(segment, inObject.st_value, inObject.st_size, segment.p_filesz))
            continue;
        const std::uint64_t within = inObject.st_value - segment.p_vaddr;
        if (segment.p_offset <= UINT64_MAX - within &&
            Holds(segment.p_offset + within, inObject.st_size))
            return ByteRange{segment.p_offset + within, inObject.st_size};
    }
    return std::nullopt;
}

} // namespace Platform
