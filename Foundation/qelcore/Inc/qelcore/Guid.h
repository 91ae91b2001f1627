#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "qelcore/Export.h"

namespace qelcore
{
namespace utility
{

// 128 bits that identify something, ordered by two 64-bit halves as signed numbers.
// Threads  A value type.
class RK_API Guid
{
public:
    /// All bits zero.
    constexpr Guid() noexcept = default;
    constexpr Guid(std::int64_t inHigh, std::int64_t inLow) noexcept
        : mHigh(inHigh)
        , mLow(inLow)
    {
    }
    /// From the eleven parts of the usual notation: 32 bits, twice 16 bits, eight bytes.
    constexpr Guid(std::uint32_t a, std::uint16_t b, std::uint16_t c, std::uint8_t d0,
                   std::uint8_t d1, std::uint8_t d2, std::uint8_t d3, std::uint8_t d4,
                   std::uint8_t d5, std::uint8_t d6, std::uint8_t d7) noexcept
        : mHigh(static_cast<std::int64_t>((static_cast<std::uint64_t>(a) << 32) |
                                          (static_cast<std::uint64_t>(b) << 16) | c))
        , mLow(static_cast<std::int64_t>(
              (static_cast<std::uint64_t>(d0) << 56) | (static_cast<std::uint64_t>(d1) << 48) |
              (static_cast<std::uint64_t>(d2) << 40) | (static_cast<std::uint64_t>(d3) << 32) |
              (static_cast<std::uint64_t>(d4) << 24) | (static_cast<std::uint64_t>(d5) << 16) |
              (static_cast<std::uint64_t>(d6) << 8) | d7))
    {
    }

    /// A random one (version 4), from the system's generator: 122 bits that nobody guesses. About 2 us.
    /// Raises std::runtime_error if the system gives no random bytes.
    static Guid CreateUnique();
    /// Parses "267A9BAA-13DE-47e7-9652-6067D5212D2E", in either case: 36 characters, no braces, no
    /// blanks. The text need not end with a NUL.
    /// @param inText  null counts as malformed.
    /// @return the Guid; the zero one for any other text.
    static Guid StringToGUID(const char* inText, std::size_t inLength);
    /// @return the same notation, in upper case.
    std::string ToString() const;

    constexpr std::int64_t High() const noexcept { return mHigh; }
    constexpr std::int64_t Low() const noexcept { return mLow; }
    constexpr bool IsNull() const noexcept { return mHigh == 0 && mLow == 0; }

    friend constexpr bool operator==(const Guid& a, const Guid& b) noexcept
    {
        return a.mHigh == b.mHigh && a.mLow == b.mLow;
    }
    friend constexpr bool operator!=(const Guid& a, const Guid& b) noexcept { return !(a == b); }
    friend constexpr bool operator<(const Guid& a, const Guid& b) noexcept
    {
        return a.mHigh != b.mHigh ? a.mHigh < b.mHigh : a.mLow < b.mLow;
    }

    /// For boost::hash. The same in every process.
    friend constexpr std::size_t hash_value(const Guid& inGuid) noexcept
    {
        // Made from random bits mostly, so the halves need little mixing; the odd factor keeps a Guid
        // of two equal halves from hashing to 0.
        return static_cast<std::size_t>(static_cast<std::uint64_t>(inGuid.mHigh) *
                                            0x9E3779B97F4A7C15u ^
                                        static_cast<std::uint64_t>(inGuid.mLow));
    }

private:
    std::int64_t mHigh = 0;
    std::int64_t mLow = 0;
};

} // namespace utility
} // namespace qelcore

template <>
struct std::hash<qelcore::utility::Guid>
{
    std::size_t operator()(const qelcore::utility::Guid& inGuid) const noexcept
    {
        return hash_value(inGuid);
    }
};
