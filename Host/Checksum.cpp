#include "Checksum.h"

#include <cstring>

namespace RKHost
{

namespace
{

constexpr std::size_t kWord = sizeof(std::uint64_t);
constexpr std::size_t kPage = 4096;

std::uint64_t WordAt(const std::uint8_t* inBytes)
{
    std::uint64_t word;
    std::memcpy(&word, inBytes, kWord);
    return word;
}

// Multiplying by an odd number and adding a word are both reversible, so a change of one word always
// changes the sum.
std::uint64_t Mix(std::uint64_t inSum, std::uint64_t inWord)
{
    return inSum * UINT64_C(0x9e3779b97f4a7c15) + inWord;
}

std::uint64_t MixStrided(const std::uint8_t* inBytes, std::size_t inSize, std::size_t inStride)
{
    // Four sums, so that one word's multiplication does not wait for the one before it.
    std::uint64_t sums[4] = {inSize, 1, 2, 3};
    std::size_t lane = 0;
    for (std::size_t at = 0; at + kWord <= inSize; at += inStride)
    {
        sums[lane] = Mix(sums[lane], WordAt(inBytes + at));
        lane = (lane + 1) % 4;
    }
    return Mix(Mix(Mix(sums[0], sums[1]), sums[2]), sums[3]);
}

} // namespace

std::uint64_t ChecksumOf(const void* inBytes, std::size_t inSize, bool inEveryByte)
{
    const auto* bytes = static_cast<const std::uint8_t*>(inBytes);
    std::uint64_t sum = MixStrided(bytes, inSize, inEveryByte ? kWord : kPage);
    // What the words leave over at the end, and of a small frame everything.
    const std::size_t tail = inSize < kWord ? inSize : kWord;
    for (std::size_t i = inSize - tail; i < inSize; ++i)
        sum = Mix(sum, bytes[i]);
    return sum;
}

} // namespace RKHost
