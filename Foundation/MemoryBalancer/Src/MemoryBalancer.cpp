#include "MemoryBalancer/MemoryBalancer.h"

#include <atomic>

#include "MemberThread.h"
#include "Membership.h"

namespace memorybalancer
{
namespace
{

constinit std::atomic<IMembershipFactory*> sFactory{nullptr}; // null for the real thing

std::unique_ptr<IMembership> CreateMembership(const qelcore::UTF16String& inClientName,
                                              const MemoryBalancer::GrantCallback& inCallback)
{
    if (IMembershipFactory* const factory = sFactory.load())
        return factory->CreateMembership(inClientName, inCallback);
    return std::make_unique<MemberThread>(inClientName, inCallback);
}

} // namespace

IMembership::~IMembership() = default;
IMembershipFactory::~IMembershipFactory() = default;

ScopedMembershipFactory::ScopedMembershipFactory(IMembershipFactory& inFactory)
    : mBefore(sFactory.exchange(&inFactory))
{
}

ScopedMembershipFactory::~ScopedMembershipFactory()
{
    sFactory.exchange(mBefore);
}

MemoryBalancer::MemoryBalancer(const qelcore::UTF16String& inClientName,
                               const GrantCallback& inCallback)
    : mMembership(CreateMembership(inClientName, inCallback))
{
}

MemoryBalancer::~MemoryBalancer() = default;

void MemoryBalancer::SetApplicationState(const std::uint64_t& inMinimum,
                                         const std::uint64_t& inMaximum,
                                         const std::uint64_t& inUsed,
                                         const MemoryPriority& inPriority)
{
    mMembership->SetState({inMinimum, inMaximum, inUsed, inPriority});
}

} // namespace memorybalancer
