#pragma once

#include <memory>
#include <thread>

#include "Membership.h"

namespace memorybalancer
{

// A membership with a thread that takes this process's turns in its suite: when the bell rings, and once
// a second in any case, since those who were killed ring no bell.
class MemberThread : public IMembership
{
public:
    MemberThread(const qelcore::UTF16String& inClientName,
                 const MemoryBalancer::GrantCallback& inCallback);
    ~MemberThread() override;

    void SetState(const ApplicationState& inState) override;

private:
    struct Core;

    bool IsInherited() const;

    const unsigned mForkCount;
    const std::shared_ptr<Core> mCore; // shared with the thread, which may outlive this
};

} // namespace memorybalancer
