// Files of code from strangers: whatever they say of themselves, nothing is read beyond their bytes, and what is found
// lies within them.
#include "Foundation/Platform/Src/ElfFile.h"

#include <cstdlib>
#include <cstring>

namespace
{

class FuzzBytes : public Platform::IByteSource
{
public:
    FuzzBytes(const uint8_t* inBytes, size_t inSize)
        : mBytes(inBytes)
        , mSize(inSize)
    {
    }
    std::uint64_t Size() const override { return mSize; }
    int Read(std::uint64_t inOffset, void* outBytes, std::size_t inSize) override
    {
        if (inOffset > mSize || inSize > mSize - inOffset)
            std::abort();
        if (inSize > 0)
            std::memcpy(outBytes, mBytes + inOffset, inSize);
        return 0;
    }

private:
    const uint8_t* const mBytes;
    const std::uint64_t mSize;
};

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void RequireWithin(const std::optional<Platform::ByteRange>& inRange, size_t inSize)
{
    if (inRange)
        Require(inRange->offset <= inSize && inRange->size <= inSize - inRange->offset);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* inData, size_t inSize)
{
    using Platform::CodeFault;
    FuzzBytes bytes(inData, inSize);
    Platform::ElfFile elf(bytes);
    if (elf.ReadHeader() != CodeFault::kNone)
    {
        Require(!elf.Problem().empty());
        return 0;
    }
    std::optional<Platform::ByteRange> range;
    const CodeFault section = elf.FindSection("mv_properties", range);
    Require(section == CodeFault::kNone || !elf.Problem().empty());
    RequireWithin(range, inSize);
    elf.FindObject("MVPluginProperties", range);
    RequireWithin(range, inSize);
    elf.CheckLoadable();
    return 0;
}
