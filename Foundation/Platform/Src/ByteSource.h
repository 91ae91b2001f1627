#pragma once

#include <cstddef>
#include <cstdint>

namespace Platform
{

/// Bytes that can be read from any place: a file's, or those of memory.
class IByteSource
{
public:
    virtual ~IByteSource() = default;
    virtual std::uint64_t Size() const = 0;
    /// Reads all of them; they lie within Size(). @return 0 or one of the numbers of <cerrno>
    virtual int Read(std::uint64_t inOffset, void* outBytes, std::size_t inSize) = 0;
};

} // namespace Platform
