#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/Guid.h"

namespace qelcore
{
namespace utility
{

// A hash over a state of four words, for identities that must be the same in every process and on
// every machine; no protection against somebody who wants collisions. Mixing "ab" is not mixing "a"
// and then "b".
//
// Threads  Free functions without state.
class RK_API MixHash
{
public:
    using HashValue = std::array<std::uint32_t, 4>;

    /// Mixes bytes into the state. The same state and the same bytes always give the same state: the
    /// XXH3 hash of 128 bits over the state's words and the bytes, most significant first. Mixing no
    /// bytes changes the state too.
    /// @param inBytes  may be null if inLength is 0.
    static void MixInData(HashValue& ioValue, const void* inBytes, std::size_t inLength);

    /// The state as a Guid: word 0 is the 32-bit part, the halves of word 1 the 16-bit parts, words 2
    /// and 3 the eight bytes, highest first.
    static Guid ToGuid(const HashValue& inValue) noexcept;
};

} // namespace utility
} // namespace qelcore
