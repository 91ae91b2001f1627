#pragma once

#include <cstdint>

#include "qelcore/Export.h"

// Fault injection for modules: code around a module's calls asks here whether this call is to fail. Nothing
// in the library asks.
//
// Threads  Any function from any thread. Draws come from the C library's one generator, which whoever uses
//          it shares.
// Errors   A random type with inStressArgument at 0 or below violates the contract "stressArgument > 0".
namespace RK
{
namespace ModuleStressTester
{

enum StressType : std::int32_t
{
    kStressType_None = 0,
    kStressType_Random = 1,     ///< about one call in inStressArgument, by a draw
    kStressType_AtCount = 2,    ///< the call whose inCount is inStressArgument
    kStressType_AboveCount = 3, ///< each call whose inCount is greater than inStressArgument
    kStressType_AtCountRarely =
        4 ///< as kStressType_AtCount, and by a draw only one in ten of these
};

enum CallbackStressType : std::int32_t
{
    kCallbackStressType_None = 0,
    kCallbackStressType_Random = 1,  ///< about one call in inStressArgument, by a draw
    kCallbackStressType_AtCount = 2, ///< the call whose inCount is inStressArgument
    kCallbackStressType_Always = 3
};

/// Whether the caller is to fail now. Never for a type that is none of the above; only random types draw.
/// The first draw seeds the generator with the time of day.
/// @param inCount  the number of this call, which the caller counts.
/// @return all bits set to fail, 0 to go on.
RK_API std::int32_t DoStressTest(int inCount, StressType inType, int inStressArgument);

/// The same for callbacks, told by an exception. Seeds for itself.
/// @throws int  -1, to fail.
RK_API void DoCallbackStressTest(CallbackStressType inType, int inStressArgument, int inCount);

} // namespace ModuleStressTester
} // namespace RK
