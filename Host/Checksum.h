#pragma once

#include <cstddef>
#include <cstdint>

namespace RKHost
{

/// What playing a frame does to it, in place of a screen.
/// @param inEveryByte  true reads all bytes; false reads 8 bytes of every 4096 and the last 8, so that
///                     each page of the frame is touched.
std::uint64_t ChecksumOf(const void* inBytes, std::size_t inSize, bool inEveryByte);

} // namespace RKHost
