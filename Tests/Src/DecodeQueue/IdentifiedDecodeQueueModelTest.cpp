// The identified queue against a plain model of its rules by Guid, under random interleavings.
//
// The model knows who holds which Guid, who is parked, and in which place each request is; order and limits
// within the stages are those of the plain queue, whose own model holds them. Stages that run at the same
// time are nested: an operation does further steps before it returns.
#include <algorithm>
#include <deque>
#include <map>
#include <memory>
#include <set>

#include "IdentifiedDecodeQueueFixture.h"
#include "IdentifiedDecodeQueueImpl.h"
#include "ModelDriver.h"

using namespace Testing;
using qelcore::utility::Guid;

namespace
{

class InspectedIdentifiedQueue : public RK::IdentifiedDecodeQueueImpl
{
public:
    using IdentifiedDecodeQueueImpl::IdentifiedDecodeQueueImpl;
    using Held = std::vector<std::pair<Guid, RK::DecodeRequest*>>;
    std::function<void(RK::DecodeRequest&, int inStatus)> onRetire;

    using IdentifiedDecodeQueueImpl::Retire;
    void Retire(const RK::DecodeRequestPtr& inRequest, int inStatus, bool inCPUStageDone) override
    {
        onRetire(*inRequest, inStatus);
        IdentifiedDecodeQueueImpl::Retire(inRequest, inStatus, inCPUStageDone);
    }
    Held Primaries() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mIdentifiedRequests); }
    Held Duplicates() RK_NO_THREAD_SAFETY_ANALYSIS { return Copy(mDuplicateRequests); }
    std::int32_t IOCost() RK_NO_THREAD_SAFETY_ANALYSIS { return mCurrentIOCost; }

private:
    static Held Copy(const IdentifiedRequests& inField)
    {
        Held held;
        for (const auto& [guid, request] : inField)
            held.emplace_back(guid, request.get());
        return held;
    }
};

enum class Place
{
    kPendingIO,
    kActiveIO,
    kCancelledIO, // out of the set, and charged
    kPendingCPU,
    kActiveCPU,
    kLeaving, // its I/O has failed, and its retirement is posted
    kParked,
    kToldQueued, // out, and about to be told so
    kCompleting, // its primary has retired, and it is about to be told so
    kGone,
};

class IdentifiedModelRun;
struct IdentifiedModelRequest;
using Requests = std::vector<IdentifiedModelRequest*>;

/// Those who are still to hear of one retirement, in their order.
struct Retirement
{
    std::deque<IdentifiedModelRequest*> waiting;
    IdentifiedModelRequest* primary;
    int status;
};

struct IdentifiedModelRequest : RK::IdentifiedDecodeRequest
{
    IdentifiedModelRun* run = nullptr;
    int number = 0;
    Guid guid;
    int ioCost = 1;
    int cancelStatus = 0;
    unsigned io = 0; // 0 none, 1 fails to start, 2 at once, 3 fails at once, further: later
    Place place = Place::kPendingIO;
    CompletionFunction completion;
    int status = 0; // to retire with
    int endings = 0;
    std::shared_ptr<Retirement> retirement; // to hear of

    Guid GetGuid() override { return guid; }
    void DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus) override;
    int InitiateIO(const CompletionFunction& inCompletion) override;
    int GetIOCost() override { return ioCost; }
    int GetCPUCost() override { return 1; }
    int ProcessCPU() override;
    int CancelQueued() override;
    int CancelDuringCPU() override { return cancelStatus; }
    int CancelDuringIO() override { return cancelStatus; }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        return number > dynamic_cast<IdentifiedModelRequest&>(*inOther).number;
    }
};

class IdentifiedModelRun : public ModelDriver<IdentifiedModelRequest>
{
public:
    IdentifiedModelRun(unsigned inSeed, ManualExecutor& inShared,
                       const boost::shared_ptr<ManualExecutor>& inOwn)
        : ModelDriver(inSeed, inShared, inOwn)
        , mQueue(boost::make_shared<InspectedIdentifiedQueue>(
              inOwn, static_cast<int>(Below(4)), static_cast<int>(Below(7)), Below(2) == 1))
    {
        mQueue->Init();
        mQueue->onRetire = [this](RK::DecodeRequest& inRequest, int inStatus)
        { Retired(dynamic_cast<IdentifiedModelRequest&>(inRequest), inStatus); };
    }

    std::string Describe() const
    {
        return std::to_string(mRequests.size()) + " requests, " + std::to_string(mJoined) +
               " joined, " + std::to_string(mStolen) + " completed by an old request";
    }

    // What the queue calls, as the model sees it.

    int Initiated(IdentifiedModelRequest& ioRequest)
    {
        if (ioRequest.place == Place::kPendingIO)
        {
            EXPECT_NE(&ioRequest, mStarting) << "the fast path does not wait";
            mIOCost += ioRequest.ioCost;
        }
        else
        {
            EXPECT_EQ(&ioRequest, mStarting); // charged by the fast path
            mStarting = nullptr;
        }
        ioRequest.place = Place::kActiveIO;
        Nested();
        switch (ioRequest.io)
        {
        case 0:
            ioRequest.completion.clear();
            ioRequest.place = Place::kPendingCPU; // cancelled meanwhile or not
            return RK::kDecodeStatusNoIOPending;
        case 1:
            ioRequest.completion.clear();
            ioRequest.place = Place::kLeaving;
            return ioRequest.status = -100 - ioRequest.number;
        case 2:
            Complete(ioRequest, 0);
            return 0;
        case 3:
            Complete(ioRequest, -2000 - ioRequest.number);
            return 0;
        default:
            mReading.push_back(&ioRequest);
            return 1;
        }
    }
    int Processing(IdentifiedModelRequest& ioRequest)
    {
        EXPECT_EQ(Place::kPendingCPU, ioRequest.place);
        ioRequest.place = Place::kActiveCPU;
        Nested();
        return ioRequest.status = static_cast<int>(Below(3)) - 1;
    }
    void Retired(IdentifiedModelRequest& ioRequest, int inStatus)
    {
        EXPECT_TRUE(ioRequest.place == Place::kActiveCPU || ioRequest.place == Place::kLeaving);
        EXPECT_EQ(ioRequest.status, inStatus) << ioRequest.number;
        ++ioRequest.endings;
        ioRequest.place = Place::kGone;
        mIOCost -= ioRequest.ioCost;
        const auto primary = mPrimaries.find(ioRequest.guid);
        const bool isOld = primary != mPrimaries.end() && primary->second != &ioRequest;
        mPrimaries.erase(ioRequest.guid); // whoever it is by now
        const auto retirement = std::make_shared<Retirement>();
        retirement->primary = &ioRequest;
        retirement->status = inStatus;
        for (IdentifiedModelRequest* duplicate : TakeParked(ioRequest.guid))
        {
            duplicate->place = Place::kCompleting;
            duplicate->retirement = retirement;
            retirement->waiting.push_back(duplicate);
            mStolen += isOld ? 1 : 0;
        }
    }
    void Completed(IdentifiedModelRequest& ioRequest, RK::DecodeRequest* inPrimary, int inStatus)
    {
        ASSERT_EQ(Place::kCompleting, ioRequest.place) << ioRequest.number;
        Retirement& retirement = *ioRequest.retirement;
        ASSERT_EQ(retirement.waiting.front(), &ioRequest); // in their order
        retirement.waiting.pop_front();
        EXPECT_EQ(retirement.primary, inPrimary);
        EXPECT_EQ(retirement.status, inStatus);
        ioRequest.place = Place::kGone;
        ++ioRequest.endings;
        Nested();
    }
    int CancelledQueued(IdentifiedModelRequest& ioRequest)
    {
        EXPECT_EQ(Place::kToldQueued, ioRequest.place) << ioRequest.number;
        if (!mToldInOrder.empty())
        {
            EXPECT_EQ(mToldInOrder.front(), &ioRequest);
            mToldInOrder.pop_front();
        }
        ioRequest.place = Place::kGone;
        ++ioRequest.endings;
        return ioRequest.cancelStatus;
    }

private:
    Guid AnyGuid() { return Guid(static_cast<std::int64_t>(Below(6)) - 3, 1); }

    Requests TakeParked(const Guid& inGuid)
    {
        Requests taken;
        for (IdentifiedModelRequest* request : mParked)
        {
            if (request->guid == inGuid)
                taken.push_back(request);
        }
        for (IdentifiedModelRequest* request : taken)
            mParked.erase(std::find(mParked.begin(), mParked.end(), request));
        return taken;
    }
    void Step() override
    {
        switch (Below(14))
        {
        case 0:
        case 1:
        case 2:
        case 3:
            return Queue();
        case 4:
        case 5:
            mShared.RunOne();
            return;
        case 6:
        case 7:
        case 8:
            mOwn->RunOne();
            return;
        case 9:
        case 10:
            return CompleteAny(Below(4) == 0 ? -300 : static_cast<int>(Below(2)));
        case 11:
            return CancelOne();
        case 12:
            return CancelAllOf();
        default:
            if (Below(12) == 0)
                CancelAllQueued();
        }
    }
    void Queue()
    {
        if (mRequests.size() > 30 && Below(3) == 0) // let it run empty now and then
            return;
        const auto request = boost::make_shared<IdentifiedModelRequest>();
        request->run = this;
        request->number = static_cast<int>(mRequests.size());
        request->guid = AnyGuid();
        request->ioCost = static_cast<int>(Below(4));
        request->cancelStatus = static_cast<int>(Below(3)) - 1;
        request->io = Below(8);
        mRequests.push_back(request);
        if (mPrimaries.count(request->guid) != 0)
        {
            request->place = Place::kParked;
            mParked.push_back(request.get());
            ++mJoined;
            EXPECT_EQ(0, mQueue->QueueIdentifiedRequest(request));
            return;
        }
        mPrimaries[request->guid] = request.get();
        if (mIOCost != 0)
        {
            EXPECT_EQ(0, mQueue->QueueIdentifiedRequest(request));
            return;
        }
        mIOCost += request->ioCost;
        request->place = Place::kActiveIO;
        mStarting = request.get();
        const int status = mQueue->QueueIdentifiedRequest(request);
        const unsigned io = request->io;
        EXPECT_EQ(io == 0   ? RK::kDecodeStatusNoIOPending
                  : io == 1 ? -100 - request->number
                            : (io < 4 ? 0 : 1),
                  status);
        EXPECT_NE(mStarting, request.get()) << "the I/O begins before the queueing returns";
    }
    void Complete(IdentifiedModelRequest& ioRequest, int inStatus) override
    {
        if (inStatus < 0 || ioRequest.place == Place::kCancelledIO)
        {
            ioRequest.place = Place::kLeaving;
            ioRequest.status = inStatus < 0 ? inStatus : RK::kDecodeErrorRequestCancelled;
        }
        else
        {
            ioRequest.place = Place::kPendingCPU;
        }
        RK::DecodeRequest::CompletionFunction once;
        once.swap(ioRequest.completion);
        once(inStatus);
    }
    /// What a cancel of the request itself returns; moves it to where that leaves it.
    int PredictCancel(IdentifiedModelRequest& ioRequest)
    {
        switch (ioRequest.place)
        {
        case Place::kPendingCPU:
            mIOCost -= ioRequest.ioCost;
            ioRequest.place = Place::kToldQueued;
            return ioRequest.cancelStatus;
        case Place::kPendingIO:
            ioRequest.place = Place::kToldQueued;
            return ioRequest.cancelStatus;
        case Place::kActiveIO:
            ioRequest.place = Place::kCancelledIO;
            return ioRequest.cancelStatus;
        case Place::kActiveCPU:
            return ioRequest.cancelStatus;
        default:
            return RK::kDecodeErrorRequestNotFound;
        }
    }
    int PredictCancelPrimary(const Guid& inGuid)
    {
        const auto found = mPrimaries.find(inGuid);
        if (found == mPrimaries.end())
            return 0;
        IdentifiedModelRequest& primary = *found->second;
        mPrimaries.erase(found);
        const int status = PredictCancel(primary);
        if (primary.place == Place::kToldQueued)
            mToldInOrder.push_back(&primary);
        return status;
    }
    int PredictCancelAll(const Guid& inGuid)
    {
        bool complete = true;
        for (IdentifiedModelRequest* duplicate : TakeParked(inGuid))
        {
            duplicate->place = Place::kToldQueued;
            mToldInOrder.push_back(duplicate);
            complete = complete && duplicate->cancelStatus >= 0;
        }
        complete = PredictCancelPrimary(inGuid) >= 0 && complete;
        return complete ? 0 : RK::kDecodeErrorCancelIncomplete;
    }
    void CancelOne()
    {
        const Guid guid = AnyGuid();
        const auto newest =
            std::find_if(mParked.rbegin(), mParked.rend(),
                         [&](const auto* inRequest) { return inRequest->guid == guid; });
        int expected = 0;
        if (newest != mParked.rend())
        {
            IdentifiedModelRequest& duplicate = **newest;
            mParked.erase(std::next(newest).base());
            duplicate.place = Place::kToldQueued;
            mToldInOrder.push_back(&duplicate);
            expected = duplicate.cancelStatus;
        }
        else
        {
            expected = PredictCancelPrimary(guid);
        }
        EXPECT_EQ(expected, mQueue->TryToCancelOneIdentifiedRequest(guid));
        EXPECT_TRUE(mToldInOrder.empty());
    }
    void CancelAllOf()
    {
        const Guid guid = AnyGuid();
        const int expected = PredictCancelAll(guid);
        EXPECT_EQ(expected, mQueue->TryToCancelAllIdentifiedRequests(guid));
        EXPECT_TRUE(mToldInOrder.empty());
    }
    void CancelAllQueued()
    {
        bool everyOneFailed = true;
        std::set<Guid> guids;
        for (const auto& [guid, primary] : mPrimaries)
            guids.insert(guid);
        for (const Guid& guid : guids)
            everyOneFailed = PredictCancelAll(guid) != 0 && everyOneFailed;
        EXPECT_EQ(everyOneFailed ? 0 : RK::kDecodeErrorCancelIncomplete,
                  mQueue->TryToCancelAllQueuedIdentifiedRequests());
        EXPECT_TRUE(mToldInOrder.empty());
    }

    std::uint64_t CountIn(Place inPlace) const
    {
        return static_cast<std::uint64_t>(std::count_if(mRequests.begin(), mRequests.end(),
                                                        [&](const auto& inRequest)
                                                        { return inRequest->place == inPlace; }));
    }
    void Compare() override
    {
        InspectedIdentifiedQueue::Held primaries;
        for (const auto& [guid, request] : mPrimaries)
            primaries.emplace_back(guid, request);
        ASSERT_EQ(primaries, mQueue->Primaries());
        std::multimap<Guid, RK::DecodeRequest*> parked; // of one Guid in order of arrival
        for (IdentifiedModelRequest* request : mParked)
            parked.emplace(request->guid, request);
        const InspectedIdentifiedQueue::Held duplicates(parked.begin(), parked.end());
        ASSERT_EQ(duplicates, mQueue->Duplicates());
        ASSERT_EQ(mIOCost, mQueue->IOCost());
        const ItemCount count = CountItems(*mQueue);
        ASSERT_EQ((ItemCount{CountIn(Place::kPendingIO), CountIn(Place::kActiveIO),
                             CountIn(Place::kPendingCPU), CountIn(Place::kActiveCPU)}),
                  count);
        const RK::DecodeQueueCounters counters = mQueue->Counters();
        ASSERT_EQ(count, (ItemCount{counters.pendingIO.present, counters.activeIO.present,
                                    counters.pendingCPU.present, counters.activeCPU.present}));
        ASSERT_EQ(mParked.size(), counters.parked.present);
        ASSERT_EQ(mJoined, counters.parked.entered);
        ASSERT_EQ(mRequests.size(), counters.queued + counters.parked.entered);
    }
    void ExpectNothingIsLeft() override
    {
        EXPECT_TRUE(mPrimaries.empty());
        EXPECT_TRUE(mParked.empty());
        EXPECT_EQ(0, mQueue->IOCost());
        for (const auto& request : mRequests)
        {
            EXPECT_EQ(Place::kGone, request->place) << request->number;
            EXPECT_EQ(1, request->endings) << request->number;
            EXPECT_EQ(1, request.use_count()) << request->number;
        }
        EXPECT_EQ(1, mQueue.use_count());
    }

    const boost::shared_ptr<InspectedIdentifiedQueue> mQueue;
    std::vector<boost::shared_ptr<IdentifiedModelRequest>> mRequests;
    std::map<Guid, IdentifiedModelRequest*> mPrimaries;
    Requests mParked; // in order of arrival
    std::deque<IdentifiedModelRequest*> mToldInOrder;
    IdentifiedModelRequest* mStarting = nullptr; // on the fast path, and not yet told to start
    int mIOCost = 0;
    std::uint64_t mJoined = 0;
    int mStolen = 0;
};

void IdentifiedModelRequest::DuplicateCompleted(const RK::DecodeRequestPtr& inPrimary, int inStatus)
{
    run->Completed(*this, inPrimary.get(), inStatus);
}
int IdentifiedModelRequest::InitiateIO(const CompletionFunction& inCompletion)
{
    completion = inCompletion;
    return run->Initiated(*this);
}
int IdentifiedModelRequest::ProcessCPU()
{
    return run->Processing(*this);
}
int IdentifiedModelRequest::CancelQueued()
{
    return run->CancelledQueued(*this);
}

TEST(IdentifiedDecodeQueueModel, AgreesWithThePlainRulesUnderRandomInterleavings)
{
    RunModelWithEachSeed<IdentifiedModelRun>(1500);
}

} // namespace
