#pragma once

#include <cstddef>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

// A pool of large blocks: giving one back and taking it again saves the page faults.
// Threads  Any function from any thread.
class RK_API MemoryRecycler
{
public:
    /// @param outActual  the bytes that the block really has, at least inSize; tell Recycle this number.
    static void* Allocate(std::size_t inSize, std::size_t& outActual);
    static void Recycle(void* inBlock, std::size_t inActual) noexcept;
    /// Frees up to inSize bytes from the pool. @return the bytes freed.
    static std::size_t PurgeBytes(std::size_t inSize);
    static void SetPoolLimit(std::size_t inBytes);
    static std::size_t GetPoolLimit();
    static std::size_t GetCurrentPoolSize();
    /// Brings the pool to its limit.
    static void ReconcileSize();
    /// Frees what has lain unused for long.
    static void ReconcileStaleEntries();
    /// On by default: Recycle itself brings the pool to its limit.
    static void SetReconcileSizeAutomatically(bool inAutomatically);
};

} // namespace utility
} // namespace qelcore
