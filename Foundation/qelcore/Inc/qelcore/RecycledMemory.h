#pragma once

#include <cstddef>

#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

class RecycledMemory;
using RecycledMemoryPtr = boost::shared_ptr<RecycledMemory>;

// A block of bytes shared by pointer: its own, given back to MemoryRecycler at its end, or the bytes
// of another owner that it keeps alive.
//
// Threads  A value: many may read at a time, who changes it must be alone. The bytes are the callers'.
// Errors   What allocates throws std::bad_alloc, and then everything is as it was.
class RK_API RecycledMemory
{
public:
    RecycledMemory() noexcept;
    ~RecycledMemory();
    RecycledMemory(const RecycledMemory&) = delete;
    RecycledMemory& operator=(const RecycledMemory&) = delete;

    /// @return a new block of inSize usable bytes, their content undefined.
    static RecycledMemoryPtr Create(std::size_t inSize);
    /// @return a new block over the bytes of inOwner.
    static RecycledMemoryPtr AdaptAsRecycledMemory(const boost::shared_ptr<void>& inOwner,
                                                   void* inData, std::size_t inSize);

    /// Releases what the object holds, then refers to the given bytes and keeps inOwner alive.
    /// An empty inOwner stands for the object's own block from MemoryRecycler: then inData must be one,
    /// and inSize all of it. Bytes of the object's own block, and the object itself as inOwner, are
    /// allowed: the block then lives on below the object.
    template <class T>
    void AttachToExternalBuffer(const boost::shared_ptr<T>& inOwner, void* inData,
                                std::size_t inSize)
    {
        Attach(boost::shared_ptr<void>(inOwner), inData, inSize);
    }

    void* Data() noexcept { return data; }
    const void* Data() const noexcept { return data; }
    std::size_t Size() const noexcept { return size; }
    std::size_t Capacity() const noexcept { return capacity; }
    /// Makes fewer bytes usable, or more again.
    /// @param inSize  at most Capacity(); more is a violated contract.
    void SetSize(std::size_t inSize);

private:
    void Attach(boost::shared_ptr<void> inOwner, void* inData, std::size_t inSize);
    void Release() noexcept;
    bool Owns(const void* inData) const noexcept;
    boost::shared_ptr<RecycledMemory> MoveOut();

    void* data;
    std::size_t size;     // the bytes usable
    std::size_t capacity; // the bytes allocated
    boost::shared_ptr<void> externalOwner;
};

} // namespace utility
} // namespace qelcore
