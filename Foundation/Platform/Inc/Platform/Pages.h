#pragma once

#include <cstddef>

namespace Platform
{

/// @return fresh zeroed memory of inSize bytes at the start of a page, or null if there is none.
/// @param inSize  a multiple of kPageSize, above 0.
void* AllocatePages(std::size_t inSize) noexcept;
/// Gives back exactly what AllocatePages gave. May take milliseconds for large sizes.
void FreePages(void* inPages, std::size_t inSize) noexcept;

constexpr std::size_t kPageSize = 4096;

} // namespace Platform
