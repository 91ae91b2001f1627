#include "BalanceImage.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "Distribute.h"
#include "qelcore/MixHash.h"

namespace memorybalancer
{
namespace
{

constexpr std::uint64_t kMagic = 0x65636e616c61424b;
constexpr std::uint32_t kVersion = 1;

std::uint64_t ChecksumOf(const BalanceImage& inImage)
{
    constexpr std::size_t kBegin = offsetof(BalanceImage, capacity);
    qelcore::utility::MixHash::HashValue state = {0, 0, 0, kVersion};
    qelcore::utility::MixHash::MixInData(
        state, reinterpret_cast<const unsigned char*>(&inImage) + kBegin, sizeof inImage - kBegin);
    return std::uint64_t{state[0]} << 32 | state[1];
}

bool IsBlank(const BalanceImage& inImage)
{
    static const BalanceImage sBlank;
    constexpr std::size_t kBegin = offsetof(BalanceImage, version);
    return std::memcmp(reinterpret_cast<const unsigned char*>(&inImage) + kBegin,
                       reinterpret_cast<const unsigned char*>(&sBlank) + kBegin,
                       sizeof inImage - kBegin) == 0;
}

// What its own process wrote into a slot is its own affair; these are what others rely on.
bool IsSound(const Slot& inSlot)
{
    if (inSlot.taken == 0)
        return inSlot == Slot();
    return inSlot.taken == 1 && inSlot.processID > 0 && inSlot.total > 0 && inSlot.name.back() == 0;
}

bool GrantsAreWithin(const BalanceImage& inImage)
{
    std::uint64_t rest = inImage.capacity;
    for (const Slot& slot : inImage.slots)
    {
        if (slot.grant > rest || slot.grant > slot.maximum)
            return false;
        rest -= slot.grant;
    }
    return true;
}

ContainedDemand DemandOf(const Slot& inSlot)
{
    return {{inSlot.minimum, inSlot.maximum, inSlot.priority},
            inSlot.total,
            inSlot.free,
            inSlot.used,
            inSlot.turn};
}

} // namespace

ImageCondition Judge(const BalanceImage& inImage)
{
    if (IsBlank(inImage))
        return ImageCondition::kBlank;
    const bool sound = inImage.magic == kMagic && inImage.version == kVersion &&
                       inImage.checksum == ChecksumOf(inImage) &&
                       std::all_of(inImage.slots.begin(), inImage.slots.end(), IsSound) &&
                       GrantsAreWithin(inImage);
    return sound ? ImageCondition::kSound : ImageCondition::kDamaged;
}

void Seal(BalanceImage& ioImage)
{
    ioImage.magic = kMagic;
    ioImage.version = kVersion;
    ioImage.checksum = ChecksumOf(ioImage);
}

bool Rebalance(BalanceImage& ioImage)
{
    std::vector<Slot*> taken;
    std::vector<ContainedDemand> demands;
    std::vector<std::uint64_t> grants;
    for (Slot& slot : ioImage.slots)
    {
        if (slot.taken == 0)
            continue;
        taken.push_back(&slot);
        demands.push_back(DemandOf(slot));
        grants.push_back(slot.grant);
    }
    ioImage.capacity = CapacityOf(demands);
    if (MayStay(grants, demands))
        return false;
    const std::vector<std::uint64_t> now = DistributeInContainers(demands);
    for (std::size_t i = 0; i < taken.size(); ++i)
        taken[i]->grant = now[i];
    return now != grants;
}

std::array<char16_t, kNameUnits> ToSlotName(const qelcore::UTF16String& inName)
{
    std::array<char16_t, kNameUnits> name{};
    std::copy_n(inName.begin(), std::min(inName.size(), kNameUnits - 1), name.begin());
    return name;
}

Member ToMember(const Slot& inSlot)
{
    Member member;
    member.processID = inSlot.processID;
    member.clientName = inSlot.name.data();
    member.minimum = inSlot.minimum;
    member.maximum = inSlot.maximum;
    member.used = inSlot.used;
    member.priority = inSlot.priority;
    member.grant = inSlot.grant;
    return member;
}

} // namespace memorybalancer
