#include "Suite.h"

#include "qelcore/ClientName.h"
#include "qelcore/MixHash.h"
#include "qelcore/Mutex.h"

namespace memorybalancer
{
namespace
{

using qelcore::threads::Lock;
using qelcore::threads::Mutex;

constinit Mutex sSuiteNameMutex; // a leaf

qelcore::UTF16String& SuiteName() RK_REQUIRES(sSuiteNameMutex)
{
    static auto* const sName = new qelcore::UTF16String; // outlives all statics
    return *sName;
}

} // namespace

void SetSuiteName(const qelcore::UTF16String& inName)
{
    Lock lock(sSuiteNameMutex);
    SuiteName() = inName;
}

qelcore::UTF16String GetSuiteName()
{
    {
        Lock lock(sSuiteNameMutex);
        if (!SuiteName().empty())
            return SuiteName();
    }
    return qelcore::config::GetClientName();
}

std::string SegmentNameOf(const qelcore::UTF16String& inSuite)
{
    qelcore::utility::MixHash::HashValue state = {};
    qelcore::utility::MixHash::MixInData(state, inSuite.data(), inSuite.size() * sizeof(char16_t));
    constexpr char kDigits[] = "0123456789abcdef";
    std::string name = "RiverKit.balance.1.";
    for (const std::uint32_t word : state)
    {
        for (int shift = 28; shift >= 0; shift -= 4)
            name += kDigits[(word >> shift) & 15];
    }
    return name;
}

Platform::SegmentResult OpenSuite(const qelcore::UTF16String& inSuite, bool inCreate,
                                  std::unique_ptr<Platform::SharedSegment>& outSegment)
{
    return Platform::SharedSegment::Open(SegmentNameOf(inSuite), sizeof(BalanceImage), inCreate,
                                         outSegment);
}

ImageCondition ReadImage(const Platform::SharedSegment& inSegment, BalanceImage& outImage)
{
    return inSegment.Read(&outImage) ? Judge(outImage) : ImageCondition::kDamaged;
}

Balance GetBalance()
{
    Balance balance;
    std::unique_ptr<Platform::SharedSegment> segment;
    BalanceImage image;
    if (OpenSuite(GetSuiteName(), false, segment) != Platform::SegmentResult::kOpened ||
        !segment->Lock(kTableLock, kTableLockTimeoutMilliseconds) ||
        ReadImage(*segment, image) != ImageCondition::kSound)
        return balance;
    for (std::uint32_t i = 0; i < kSlotCount; ++i)
    {
        if (image.slots[i].taken != 0 && segment->IsLockedByOthers(SlotLock(i)))
            balance.members.push_back(ToMember(image.slots[i]));
    }
    balance.capacity = balance.members.empty() ? 0 : image.capacity;
    return balance;
}

} // namespace memorybalancer
