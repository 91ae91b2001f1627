#pragma once

#include <cstddef>
#include <limits>
#include <new>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

// A pool for the nodes of containers and other small blocks.
//
// Threads  Any thread may allocate, and any other dispose of the block. Usable before main() and
//          during exit: it has no constructor or destructor that anything could come too early or too
//          late for.
// Errors   Allocate throws std::bad_alloc.
class RK_API SmallBlockAllocator
{
public:
    /// @param inSize  bytes; 0 counts as 1. Large sizes go to the system's allocator.
    /// @return a block aligned for any fundamental type, never null.
    static void* Allocate(std::size_t inSize);

    /// Gives a block back.
    /// @param inBlock  from Allocate; null is ignored.
    /// @param inSize   the very size that Allocate was asked for.
    static void Dispose(void* inBlock, std::size_t inSize) noexcept;
};

} // namespace utility

/// SmallBlockAllocator as a standard allocator. It has no state, so any two compare equal.
template <class T>
class STLAllocator
{
public:
    using value_type = T;

    STLAllocator() noexcept = default;
    template <class U>
    STLAllocator(const STLAllocator<U>&) noexcept
    {
    }

    T* allocate(std::size_t inCount)
    {
        if (inCount > std::numeric_limits<std::size_t>::max() / sizeof(T))
            throw std::bad_alloc();
        return static_cast<T*>(utility::SmallBlockAllocator::Allocate(inCount * sizeof(T)));
    }
    void deallocate(T* inBlock, std::size_t inCount) noexcept
    {
        utility::SmallBlockAllocator::Dispose(inBlock, inCount * sizeof(T));
    }

    template <class U>
    friend bool operator==(const STLAllocator&, const STLAllocator<U>&) noexcept
    {
        return true;
    }
    template <class U>
    friend bool operator!=(const STLAllocator&, const STLAllocator<U>&) noexcept
    {
        return false;
    }
};

} // namespace qelcore
