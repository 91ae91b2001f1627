#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <elf.h>

#include "ByteSource.h"
#include "Platform/CodeFile.h"

namespace Platform
{

/// Where bytes lie in a file, and within it.
struct ByteRange
{
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// What a file of code says of itself, read with every count, size and offset held against the bytes that there
/// are. 64 bits, little-endian. For one thread.
class ElfFile
{
public:
    /// @param inBytes  must outlive this.
    explicit ElfFile(IByteSource& inBytes);

    /// Comes first; the others follow only if it found no fault.
    CodeFault ReadHeader();
    /// Machine, kind of file, and segments.
    CodeFault CheckLoadable();
    /// @param outRange  none if there is no section of that name, or it has no bytes in the file.
    CodeFault FindSection(const std::string& inName, std::optional<ByteRange>& outRange);
    /// Of an exported object whose size is known. @param outRange  none if there is none.
    CodeFault FindObject(const std::string& inName, std::optional<ByteRange>& outRange);

    /// What is wrong, after a fault.
    const std::string& Problem() const { return mProblem; }

private:
    CodeFault Fail(CodeFault inFault, const std::string& inProblem);
    CodeFault ReadSegments();
    CodeFault CheckSegments();
    CodeFault ReadSections();
    CodeFault ReadText(std::uint64_t inSection, std::string& outText);
    CodeFault FindIn(const Elf64_Shdr& inTable, const std::string& inName,
                     std::optional<ByteRange>& outRange);
    bool Holds(std::uint64_t inOffset, std::uint64_t inSize) const;
    std::optional<ByteRange> RangeOf(const Elf64_Sym& inObject) const;
    template <class Record>
    CodeFault ReadRecords(const char* inWhat, std::uint64_t inOffset, std::uint64_t inCount,
                          std::vector<Record>& outRecords);

    IByteSource& mBytes;
    Elf64_Ehdr mHeader{};
    std::vector<Elf64_Phdr> mSegments;
    std::vector<Elf64_Shdr> mSections;
    std::string mProblem;
};

} // namespace Platform
