// What the identified queue calls with its lock held, and under which name it holds it.
#include <algorithm>
#include <thread>

#include "IdentifiedDecodeQueueFixture.h"
#include "IdentifiedDecodeQueueImpl.h"
#include "Platform/Clock.h"

using namespace Testing;

namespace
{

class OpenQueue : public RK::IdentifiedDecodeQueueImpl
{
public:
    using IdentifiedDecodeQueueImpl::IdentifiedDecodeQueueImpl;
    const char* HolderTag() const { return mMutex.HolderTag(); }
    /// Seen from another thread.
    bool IsLocked()
    {
        bool locked = false;
        std::thread(
            [&]() RK_NO_THREAD_SAFETY_ANALYSIS
            {
                locked = !mMutex.TryLock("OpenQueue::IsLocked");
                if (!locked)
                    mMutex.Unlock();
            })
            .join();
        return locked;
    }
};

// Notes in which of its operations the queue was locked, and the names of the lock.
class ProbingRequest : public ScriptedIdentifiedRequest
{
public:
    OpenQueue* queue = nullptr;
    std::vector<std::string> lockedIn;
    std::vector<std::string> tags;

    qelcore::utility::Guid GetGuid() override
    {
        Probe("GetGuid");
        return ScriptedIdentifiedRequest::GetGuid();
    }
    void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override
    {
        Probe("DuplicateCompleted");
        ScriptedIdentifiedRequest::DuplicateCompleted(inPrimary, inStatus);
    }
    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        Probe("InitiateIO");
        return ScriptedIdentifiedRequest::InitiateIO(inCompletion);
    }
    int GetIOCost() override
    {
        if (const char* const tag = queue->HolderTag())
            tags.emplace_back(tag);
        return ScriptedIdentifiedRequest::GetIOCost();
    }
    int CancelQueued() override
    {
        Probe("CancelQueued");
        return ScriptedIdentifiedRequest::CancelQueued();
    }
    int CancelDuringIO() override
    {
        Probe("CancelDuringIO");
        return ScriptedIdentifiedRequest::CancelDuringIO();
    }

private:
    void Probe(const char* inWhere)
    {
        if (queue->IsLocked())
            lockedIn.emplace_back(inWhere);
    }
};

/// Writes down under which names the queue is locked when it asks for the time.
class ProbingClock : public Platform::IClock
{
public:
    explicit ProbingClock(const OpenQueue& inQueue)
        : mQueue(inQueue)
    {
    }
    std::uint64_t NowNanoseconds() override
    {
        if (const char* const tag = mQueue.HolderTag())
            mTags.emplace_back(tag);
        return ++mNow;
    }
    bool RunsByItself() override { return false; }
    /// The first since the last call.
    std::string FirstTag() const
    {
        std::vector<std::string> tags;
        tags.swap(mTags);
        return tags.empty() ? "" : tags[0];
    }

private:
    const OpenQueue& mQueue;
    mutable std::vector<std::string> mTags;
    std::uint64_t mNow = 1000000000;
    const Platform::ScopedClock mScope{*this};
};

class IdentifiedDecodeQueueLocks : public IdentifiedDecodeQueueFixture
{
protected:
    const boost::shared_ptr<OpenQueue> mQueue = boost::make_shared<OpenQueue>(mOwn, 1, 4, false);

    IdentifiedDecodeQueueLocks() { mQueue->Init(); }
    boost::shared_ptr<ProbingRequest> Probing(const Guid& inGuid)
    {
        const auto request = Made(boost::make_shared<ProbingRequest>());
        request->guid = inGuid;
        request->queue = mQueue.get();
        request->log = &mLog;
        return request;
    }
};

TEST_F(IdentifiedDecodeQueueLocks, NothingButCostsIsAskedForUnderTheLock)
{
    const auto primary = Probing(kA);
    const auto duplicate = Probing(kA);
    const auto cancelled = Probing(kA);
    const auto other = Probing(kB);
    for (const auto& request : {primary, duplicate, cancelled, other})
        mQueue->QueueIdentifiedRequest(request);
    mQueue->TryToCancelOneIdentifiedRequest(kA);
    mShared.RunQueued();
    mQueue->TryToCancelAllIdentifiedRequests(kB);
    primary->Complete(0);
    other->Complete(0);
    RunAll();
    mQueue->TryToCancelAllQueuedIdentifiedRequests();
    EXPECT_EQ(6u, mLog.size());
    for (const auto& request : {primary, duplicate, cancelled, other})
        EXPECT_EQ(std::vector<std::string>(), request->lockedIn);
}

TEST_F(IdentifiedDecodeQueueLocks, QueueingAndRetiringLockUnderTheirNames)
{
    const auto request = Probing(kA);
    mQueue->QueueIdentifiedRequest(request);
    EXPECT_EQ((std::vector<std::string>{"IdentifiedDecodeQueueImpl::QueueIdentifiedRequest"}),
              request->tags);
    request->tags.clear();
    request->Complete(-1);
    RunAll();
    EXPECT_EQ((std::vector<std::string>{"IdentifiedDecodeQueueImpl::Retire"}), request->tags);
}

// What an operation counts it stamps with the time, under its lock: so whoever brings the clock sees the name.
TEST_F(IdentifiedDecodeQueueLocks, CancellingTellsItsNamesToo)
{
    for (int i = 0; i < 3; ++i) // a primary and two that are parked behind it
        mQueue->QueueIdentifiedRequest(Probing(kA));
    const ProbingClock clock(*mQueue);
    mQueue->TryToCancelOneIdentifiedRequest(kA);
    EXPECT_EQ("IdentifiedDecodeQueueImpl::TryToCancelOneIdentifiedRequest", clock.FirstTag());
    mQueue->TryToCancelAllIdentifiedRequests(kA);
    EXPECT_EQ("IdentifiedDecodeQueueImpl::TryToCancelAllIdentifiedRequests", clock.FirstTag());
}

} // namespace
