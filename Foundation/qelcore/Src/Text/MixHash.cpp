#include "qelcore/MixHash.h"

#include <cstring>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace qelcore
{
namespace utility
{
namespace
{

void StoreBigEndian(std::uint32_t inWord, unsigned char* outBytes)
{
    for (int i = 0; i < 4; ++i)
        outBytes[i] = static_cast<unsigned char>(inWord >> (24 - 8 * i));
}

std::uint32_t LoadBigEndian(const unsigned char* inBytes)
{
    std::uint32_t word = 0;
    for (int i = 0; i < 4; ++i)
        word = (word << 8) | inBytes[i];
    return word;
}

constexpr std::size_t kStateLength = 16;
constexpr std::size_t kShortLength =
    240; // up to here one shot costs a fraction of a stream's set-up

XXH128_hash_t HashShort(const unsigned char* inState, const void* inBytes, std::size_t inLength)
{
    unsigned char joined[kShortLength];
    std::memcpy(joined, inState, kStateLength);
    if (inLength != 0)
        std::memcpy(joined + kStateLength, inBytes, inLength);
    return XXH3_128bits(joined, kStateLength + inLength);
}

XXH128_hash_t HashLong(const unsigned char* inState, const void* inBytes, std::size_t inLength)
{
    XXH3_state_t hash;
    XXH3_128bits_reset(&hash);
    XXH3_128bits_update(&hash, inState, kStateLength);
    XXH3_128bits_update(&hash, inBytes, inLength);
    return XXH3_128bits_digest(&hash);
}

} // namespace

void MixHash::MixInData(HashValue& ioValue, const void* inBytes, std::size_t inLength)
{
    unsigned char state[kStateLength];
    for (std::size_t i = 0; i < ioValue.size(); ++i)
        StoreBigEndian(ioValue[i], state + 4 * i);
    XXH128_canonical_t canonical;
    XXH128_canonicalFromHash(&canonical, inLength <= kShortLength - kStateLength
                                             ? HashShort(state, inBytes, inLength)
                                             : HashLong(state, inBytes, inLength));
    for (std::size_t i = 0; i < ioValue.size(); ++i)
        ioValue[i] = LoadBigEndian(canonical.digest + 4 * i);
}

Guid MixHash::ToGuid(const HashValue& inValue) noexcept
{
    const auto half = [&inValue](std::size_t inFirst)
    {
        return static_cast<std::int64_t>((static_cast<std::uint64_t>(inValue[inFirst]) << 32) |
                                         inValue[inFirst + 1]);
    };
    return Guid(half(0), half(2));
}

} // namespace utility
} // namespace qelcore
