#pragma once

#include <cstddef>

#include "ZOR/QELErrorManager.h"
#include "qelcore/Export.h"

// What can still be given back when memory has run out: decoded media, pooled blocks, what owners
// of open files keep for them, strings that nobody uses. A host that wants all of that puts both in
// force at its start, after the library's:
//
//     RK::Initializer library;
//     qelcore::config::SetErrorManager(boost::make_shared<RK::QELErrorManager>());
//     RK::PurgingNewHandler newHandler;
namespace RK
{

// The library's error manager, which knows what to free.
class RK_API QELErrorManager : public ZOR::QELErrorManager
{
public:
    ~QELErrorManager() override;

    /// Frees inBytes if it can, each step only if those before were not enough: media under the
    /// budget; the recycler's pool; open files, every owner of which is asked to close; unused
    /// interned strings. The last two count as enough if they freed anything. Steps of parts that
    /// are not running are left out, and a step that finds no memory for itself counts as having
    /// freed nothing.
    ///
    /// Takes the media manager's lock, and calls maps and owners of files. So it is not for a
    /// std::new_handler: the allocation that failed may be in the middle of a change of the very
    /// map that is purged, or hold a lock that comes later in the order. PurgingNewHandler is.
    /// Traces "Purge: <bytes>" under "QELErrorManager.PurgeMemory(A)", and under "...(B)" if the
    /// media were not enough.
    /// @return true if anything was freed. Of 0 bytes: nothing is freed, and false.
    bool PurgeMemory(std::size_t inBytes) override;
};

// While it lives, an allocation by new that fails has the error manager in force purge memory, and
// is tried again; std::bad_alloc flies only when nothing could be freed in time.
//
// Thread    The purge runs on a thread of its own, made with the object, since the allocating
//           thread may hold any lock. It waits for the purge one second at most. Once one has
//           waited in vain (for a lock of its own, most likely) allocations fail at once until that
//           purge has ended. The thread's own allocations fail at once, so nothing recurses. In a
//           child after fork there is no such thread: the first failure waits in vain, and all
//           later ones fail at once.
// Amount    inPurgeBytes, and twice as much each time that it was not enough, in at most 16 purges
//           within 100 ms of each other: owners that promise to let go, and do not, cannot make new
//           wait for ever.
// Lifetime  One at a time, by contract. The handler in force before comes back at the end. Not
//           destroyed with a lock held that a purge takes.
// Limits    Only new calls it: not malloc, and not MemoryRecycler, which empties its own pool.
class RK_API PurgingNewHandler
{
public:
    explicit PurgingNewHandler(std::size_t inPurgeBytes = std::size_t{64} << 20);
    ~PurgingNewHandler();
    PurgingNewHandler(const PurgingNewHandler&) = delete;
    PurgingNewHandler& operator=(const PurgingNewHandler&) = delete;

private:
    void (*const mBefore)();
};

} // namespace RK
