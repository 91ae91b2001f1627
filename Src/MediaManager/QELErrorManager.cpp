#include "RKQELErrorManager.h"

#include <cstdint>
#include <new>

#include "RKFileManager.h"
#include "RKMediaManager.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/MemoryRecycler.h"
#include "qelcore/Trace.h"

namespace RK
{

namespace
{

/// What the step freed. One that finds no memory to work with has freed nothing.
template <class Step>
auto FreedBy(const Step& inStep) -> decltype(inStep())
{
    try
    {
        return inStep();
    }
    catch (const std::bad_alloc&)
    {
        return {};
    }
}

} // namespace

QELErrorManager::~QELErrorManager() = default;

bool QELErrorManager::PurgeMemory(std::size_t inBytes)
{
    RK_TRACE("QELErrorManager.PurgeMemory(A)", 0, "Purge: " << inBytes);
    if (inBytes == 0) // a purge of no bytes would still drop what is stale
        return false;
    std::uint64_t purged =
        FreedBy([inBytes] { return MM::Purge(inBytes, kPurgeUrgency_Immediate); });
    if (purged < inBytes)
    {
        RK_TRACE("QELErrorManager.PurgeMemory(B)", 0, "Purge: " << inBytes);
        purged += qelcore::utility::MemoryRecycler::PurgeBytes(inBytes);
    }
    if (purged < inBytes && FreedBy([] { return FileManager::FlushOpenFilesToTemporaryLimit(0); }))
        purged = inBytes;
    if (purged < inBytes && FreedBy(&qelcore::utility::ImmutableString::PurgeUnusedStrings))
        purged = inBytes;
    return purged != 0;
}

} // namespace RK
