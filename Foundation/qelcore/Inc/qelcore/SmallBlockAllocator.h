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
// Up to 512 bytes come from lists that each thread keeps for itself, in steps of 16 bytes; larger sizes
// from operator new. A thread keeps at most 16 KiB of free blocks of one step, and gives them to the
// other threads when it ends; memory that was once cut into small blocks stays with the pool. Under
// the sanitizers every block comes from operator new, so that they see each.
//
// Threads  Any thread may allocate, and any other dispose of the block. Usable before main() and
//          during exit, and from the destructors of a thread's own objects while it ends.
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
        if constexpr (alignof(T) > alignof(std::max_align_t))
            return static_cast<T*>(
                ::operator new(inCount * sizeof(T), std::align_val_t{alignof(T)}));
        return static_cast<T*>(utility::SmallBlockAllocator::Allocate(inCount * sizeof(T)));
    }
    void deallocate(T* inBlock, std::size_t inCount) noexcept
    {
        if constexpr (alignof(T) > alignof(std::max_align_t))
            return ::operator delete(inBlock, std::align_val_t{alignof(T)});
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
