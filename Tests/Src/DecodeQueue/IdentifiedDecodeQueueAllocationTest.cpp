// A program of its own, since it puts an operator new that looks about in the place of everybody's.
#include <string>

#include "IdentifiedDecodeQueueFixture.h"
#include "IdentifiedDecodeQueueImpl.h"
#include "Support/OwnOperatorNew.h"

namespace
{

class OpenQueue : public RK::IdentifiedDecodeQueueImpl
{
public:
    using IdentifiedDecodeQueueImpl::IdentifiedDecodeQueueImpl;
    const char* HolderTag() const { return mMutex.HolderTag(); }
};

// The queue that is looked at, and the name of the lock that it first allocated under.
constinit thread_local const OpenQueue* sQueue = nullptr;
constinit thread_local const char* sTag = nullptr;

} // namespace

bool Testing::OnAllocation() noexcept
{
    if (sQueue && !sTag)
        sTag = sQueue->HolderTag();
    return true;
}

namespace
{

using IdentifiedDecodeQueueAllocation = Testing::IdentifiedDecodeQueueFixture;

// It does nothing under its lock but copy the Guids, into new nodes.
TEST_F(IdentifiedDecodeQueueAllocation, CancellingAllThatIsQueuedLocksUnderItsName)
{
    if (RK_TEST_SANITIZER)
        GTEST_SKIP() << "a sanitizer has the allocator";
    const auto queue = boost::make_shared<OpenQueue>(mOwn, 1, 4, false);
    queue->Init();
    queue->QueueIdentifiedRequest(For(kA, "a"));
    sQueue = queue.get();
    queue->TryToCancelAllQueuedIdentifiedRequests();
    sQueue = nullptr;
    EXPECT_STREQ("IdentifiedDecodeQueueImpl::TryToCancelAllQueuedIdentifiedRequests", sTag);
}

} // namespace
