#pragma once

#include <cstdint>
#include <memory>

#include "MemoryBalancer/MemoryBalancer.h"

namespace memorybalancer
{

/// What a process tells of itself. Sizes are bytes.
struct ApplicationState
{
    std::uint64_t minimum = 0;
    std::uint64_t maximum = 0;
    std::uint64_t used = 0;
    MemoryPriority priority = 0;
};

/// What stands behind a MemoryBalancer; its contract is told there.
class IMembership
{
public:
    virtual ~IMembership();
    virtual void SetState(const ApplicationState& inState) = 0;
};

class IMembershipFactory
{
public:
    virtual ~IMembershipFactory();
    virtual std::unique_ptr<IMembership>
    CreateMembership(const qelcore::UTF16String& inClientName,
                     const MemoryBalancer::GrantCallback& inCallback) = 0;
};

/// Puts a factory in the place of the real one for its life, so that tests meet neither threads nor other
/// processes. One at a time.
class ScopedMembershipFactory
{
public:
    explicit ScopedMembershipFactory(IMembershipFactory& inFactory);
    ~ScopedMembershipFactory();
    ScopedMembershipFactory(const ScopedMembershipFactory&) = delete;
    ScopedMembershipFactory& operator=(const ScopedMembershipFactory&) = delete;

private:
    IMembershipFactory* mBefore;
};

} // namespace memorybalancer
