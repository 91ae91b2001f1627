#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "MemoryBalancer/MemoryBalancer.h"

// What the segment of a suite holds, as one process reads it whole and writes it whole, under the lock.
namespace memorybalancer
{

constexpr std::uint32_t kSlotCount = 64;
constexpr std::size_t kNameUnits = 48; // with the zeros at the end, of which there is one at least

struct Slot
{
    std::uint32_t taken = 0; // 0 or 1; all else of a free slot is 0
    std::int32_t priority = 0;
    std::int64_t processID = 0;
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    std::uint64_t used = 0;
    std::uint64_t total = 0; // memory of the container, down to the machine
    std::uint64_t free = 0;  // of it
    std::uint64_t turn = 0;  // the image's count when the process told this
    std::uint64_t grant = 0;
    std::array<char16_t, kNameUnits> name{};

    bool operator==(const Slot&) const = default;
};

struct BalanceImage
{
    std::uint32_t bell = 0; // the segment's own
    std::uint32_t version = 0;
    std::uint64_t magic = 0;
    std::uint64_t checksum = 0; // of all that follows
    std::uint64_t capacity = 0; // all grants together are not above it
    std::uint64_t turns = 0;    // counts the turns that processes have taken
    std::array<Slot, kSlotCount> slots{};
};
static_assert(std::is_trivially_copyable_v<BalanceImage>);
static_assert(std::has_unique_object_representations_v<BalanceImage>, "no padding in the checksum");

enum class ImageCondition
{
    kBlank,   ///< nothing but zeros: nobody has written yet
    kSound,   ///< may be used; the demands in it may be any figures all the same
    kDamaged, ///< must not be used
};

/// Judges bytes that anybody may have written.
ImageCondition Judge(const BalanceImage& inImage);

/// Makes an image sound that its writer has changed.
void Seal(BalanceImage& ioImage);

/// Takes the capacity and all grants from what the slots tell. @return whether any grant has changed.
bool Rebalance(BalanceImage& ioImage);

std::array<char16_t, kNameUnits> ToSlotName(const qelcore::UTF16String& inName);
/// @param inSlot  of a sound image.
Member ToMember(const Slot& inSlot);

} // namespace memorybalancer
