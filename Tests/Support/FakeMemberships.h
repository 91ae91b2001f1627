#pragma once

#include <memory>
#include <vector>

#include "Foundation/MemoryBalancer/Src/Membership.h"

namespace Testing
{

/// Balancers that join nothing: they note what they are told, and the test calls back in their name.
class FakeMemberships : public memorybalancer::IMembershipFactory
{
public:
    using Callback = memorybalancer::MemoryBalancer::GrantCallback;

    std::unique_ptr<memorybalancer::IMembership>
    CreateMembership(const qelcore::UTF16String& inClientName, const Callback& inCallback) override
    {
        lastName = inClientName;
        lastCallback = inCallback;
        ++living;
        return std::make_unique<Membership>(*this);
    }

    std::vector<memorybalancer::ApplicationState> told; // by all of them
    qelcore::UTF16String lastName;
    Callback lastCallback;
    int living = 0;

private:
    struct Membership : memorybalancer::IMembership
    {
        explicit Membership(FakeMemberships& inOwner)
            : owner(inOwner)
        {
        }
        ~Membership() override { --owner.living; }
        void SetState(const memorybalancer::ApplicationState& inState) override
        {
            owner.told.push_back(inState);
        }
        FakeMemberships& owner;
    };

    memorybalancer::ScopedMembershipFactory mScope{*this};
};

} // namespace Testing
