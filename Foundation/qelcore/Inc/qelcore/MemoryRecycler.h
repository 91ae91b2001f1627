#pragma once

#include <cstddef>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

// A pool of large blocks: giving one back and taking it again saves the page faults, which cost more
// than anything else about a large block.
//
// Sizes    Up to 32 KiB a block comes from malloc, rounded up to 16 bytes, and is never pooled. Above
//          that it has pages of its own, and its size is rounded up to the next of eight equal steps
//          between two powers of two (36, 40, ... 64 KiB, 72 KiB ...): at most one eighth more than
//          asked for, and pages that nobody touches cost no memory.
// Pool     A block that comes back waits in the pool for the next request of its rounded size. The
//          pool has a limit in bytes, 128 MiB at first. Blocks leave it unused longest first: to keep
//          the limit, when asked to purge, and when they have lain there for 60 seconds on the clock
//          of the platform edge.
// Threads  Any function from any thread. Memory is returned to the system on the calling thread with
//          no lock held. Usable before main() and during exit.
class RK_API MemoryRecycler
{
public:
    /// @param inSize     bytes; 0 counts as 1.
    /// @param outActual  the bytes that the block really has, at least inSize; tell Recycle this number.
    /// @return a block aligned for any fundamental type, page-aligned above 32 KiB, its content
    ///         undefined; never null.
    /// @throws std::bad_alloc, and then outActual is as it was. The pool was emptied before that.
    static void* Allocate(std::size_t inSize, std::size_t& outActual);

    /// Takes a block back into the pool. @param inBlock from Allocate; null is ignored.
    static void Recycle(void* inBlock, std::size_t inActual) noexcept;

    /// Frees up to inSize bytes from the pool, in whole blocks: a block that is larger than what is
    /// still to be freed is passed over. @return the bytes freed.
    static std::size_t PurgeBytes(std::size_t inSize);

    /// Sets the pool's bound; takes effect at the next reconciling, at once if that is automatic.
    static void SetPoolLimit(std::size_t inBytes);
    static std::size_t GetPoolLimit();
    /// Bytes that wait in the pool, at some moment during the call.
    static std::size_t GetCurrentPoolSize();

    /// Brings the pool to its limit.
    static void ReconcileSize();
    /// Frees what has lain unused for 60 seconds.
    static void ReconcileStaleEntries();
    /// On by default: Recycle and SetPoolLimit bring the pool to its limit themselves. Off, the pool
    /// grows until somebody calls ReconcileSize.
    static void SetReconcileSizeAutomatically(bool inAutomatically);
};

} // namespace utility
} // namespace qelcore
