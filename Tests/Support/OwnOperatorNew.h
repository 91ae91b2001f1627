// Puts an operator new of the program's own in the place of everybody's, the library's too. For a program of one
// source, which defines OnAllocation(). A build with a sanitizer has that of the sanitizer: RK_TEST_SANITIZER.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <new>

#include "Support/Sanitizers.h"

namespace Testing
{

/// Told of each allocation, on its thread. @return false if there is no memory for it.
bool OnAllocation() noexcept;

inline void* Allocated(void* inBlock)
{
    if (!inBlock)
        throw std::bad_alloc();
    return inBlock;
}

} // namespace Testing

#if !RK_TEST_SANITIZER
void* operator new(std::size_t inSize)
{
    return Testing::Allocated(Testing::OnAllocation() ? std::malloc(inSize) : nullptr);
}
void* operator new(std::size_t inSize, std::align_val_t inAlignment)
{
    const auto alignment = static_cast<std::size_t>(inAlignment);
    const std::size_t size = (inSize + alignment - 1) / alignment * alignment;
    return Testing::Allocated(Testing::OnAllocation() ? std::aligned_alloc(alignment, size)
                                                      : nullptr);
}
void operator delete(void* inBlock) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::size_t) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::align_val_t) noexcept
{
    std::free(inBlock);
}
void operator delete(void* inBlock, std::size_t, std::align_val_t) noexcept
{
    std::free(inBlock);
}
#endif
