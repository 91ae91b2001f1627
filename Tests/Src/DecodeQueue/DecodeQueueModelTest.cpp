// The decode queue against a plain model of its rules, under random interleavings.
//
// The model learns of a step from the call that the queue makes for it, and says whether the queue may make
// it. Stages that run at the same time are nested: an operation does further steps before it returns.
#include <algorithm>
#include <deque>

#include "DecodeQueueFixture.h"
#include "InspectedQueue.h"
#include "ModelDriver.h"

using namespace Testing;

namespace
{

enum class Place
{
    kPendingIO,
    kActiveIO,
    kCancelledIO, // out of the set, and charged
    kPendingCPU,
    kActiveCPU,
    kLeaving,    // its I/O has failed, and its retirement is posted
    kToldQueued, // out, and about to be told so
    kGone,
};

enum class IO
{
    kNone,
    kFailsToStart,
    kAtOnce,
    kFailsAtOnce,
    kLater,
};

class ModelRun;

struct ModelRequest : RK::DecodeRequest
{
    ModelRun* run = nullptr;
    int number = 0;
    int priority = 0;
    int ioCost = 1;
    int cpuCost = 1;
    int cancelStatus = 0;
    IO io = IO::kLater;
    Place place = Place::kPendingIO;
    CompletionFunction completion;
    int reads = 0;
    int decodes = 0;
    int queuedCancels = 0;
    int retirements = 0;
    int expectedStatus = 0; // to retire with

    int InitiateIO(const CompletionFunction& inCompletion) override;
    int GetIOCost() override { return ioCost; }
    int GetCPUCost() override { return cpuCost; }
    int ProcessCPU() override;
    int CancelQueued() override;
    int CancelDuringCPU() override;
    int CancelDuringIO() override;
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        return priority > dynamic_cast<ModelRequest&>(*inOther).priority;
    }
};

using ModelRequestPtr = boost::shared_ptr<ModelRequest>;
using ModelRequests = std::vector<ModelRequest*>;

class ModelRun : public ModelDriver<ModelRequest>
{
public:
    ModelRun(unsigned inSeed, ManualExecutor& inShared, boost::shared_ptr<ManualExecutor> inOwn)
        : ModelDriver(inSeed, inShared, inOwn)
        , mMaxCPUCost(Below(5))
        , mMaxIOCost(Below(9))
        , mUsePriority(Below(2) == 1)
        , mQueue(InspectedQueue::Create(inOwn, mMaxCPUCost, mMaxIOCost, mUsePriority))
    {
        mQueue->onRetire = [this](const RK::DecodeRequestPtr& inRequest, int inStatus, bool inDone)
        { Retired(dynamic_cast<ModelRequest&>(*inRequest), inStatus, inDone); };
    }

    std::string Describe() const
    {
        return "CPU limit " + std::to_string(mMaxCPUCost) + ", I/O limit " +
               std::to_string(mMaxIOCost) + (mUsePriority ? ", by priority" : ", in order") + ", " +
               std::to_string(mRequests.size()) + " requests, " + std::to_string(mDecoded) +
               " decoded";
    }

    // What the queue calls, as the model sees it.

    int Initiated(ModelRequest& ioRequest)
    {
        ++ioRequest.reads;
        ExpectNext(ioRequest, mPendingIO, mIOCost, ioRequest.ioCost, mMaxIOCost);
        Leave(mPendingIO, ioRequest);
        ioRequest.place = Place::kActiveIO;
        mIOCost += ioRequest.ioCost;
        Nested();
        switch (ioRequest.io)
        {
        case IO::kNone:
            ioRequest.completion.clear();
            ioRequest.place = Place::kPendingCPU; // cancelled meanwhile or not
            mPendingCPU.push_back(&ioRequest);
            return RK::kDecodeStatusNoIOPending;
        case IO::kFailsToStart:
            ioRequest.completion.clear();
            ioRequest.place = Place::kLeaving;
            return ioRequest.expectedStatus = -100 - ioRequest.number;
        case IO::kAtOnce:
            Complete(ioRequest, 0);
            return 0;
        case IO::kFailsAtOnce:
            Complete(ioRequest, -200 - ioRequest.number);
            return 0;
        case IO::kLater:
            break;
        }
        mReading.push_back(&ioRequest);
        return static_cast<int>(Below(2));
    }
    int Processing(ModelRequest& ioRequest)
    {
        ++ioRequest.decodes;
        ++mDecoded;
        ExpectNext(ioRequest, mPendingCPU, mCPUCost, ioRequest.cpuCost, mMaxCPUCost);
        Leave(mPendingCPU, ioRequest);
        ioRequest.place = Place::kActiveCPU;
        mCPUCost += ioRequest.cpuCost;
        Nested();
        return ioRequest.expectedStatus = static_cast<int>(Below(3)) - 1;
    }
    int CancelledQueued(ModelRequest& ioRequest)
    {
        ++ioRequest.queuedCancels;
        EXPECT_EQ(Place::kToldQueued, ioRequest.place) << ioRequest.number;
        if (!mToldInOrder.empty())
        {
            EXPECT_EQ(mToldInOrder.front(), &ioRequest);
            mToldInOrder.pop_front();
        }
        ioRequest.place = Place::kGone;
        if (mToldInOrder.empty())
            Nested();
        return ioRequest.cancelStatus;
    }
    int CancelledInStage(ModelRequest& ioRequest)
    {
        Nested();
        return ioRequest.cancelStatus;
    }

private:
    using RequestList = std::vector<ModelRequest*>;

    void ExpectNext(const ModelRequest& inRequest, const RequestList& inPending, int inCurrent,
                    int inCost, int inLimit)
    {
        ASSERT_FALSE(inPending.empty());
        const ModelRequest* next = inPending.front();
        if (mUsePriority)
            next = *std::max_element(inPending.begin(), inPending.end(),
                                     [](const ModelRequest* a, const ModelRequest* b)
                                     { return a->priority < b->priority; });
        EXPECT_EQ(next->number, inRequest.number);
        EXPECT_TRUE(inCurrent == 0 || inCurrent + inCost <= inLimit)
            << inCurrent << " + " << inCost << " > " << inLimit;
    }
    static void Leave(RequestList& ioList, ModelRequest& inRequest)
    {
        ioList.erase(std::remove(ioList.begin(), ioList.end(), &inRequest), ioList.end());
    }

    void Retired(ModelRequest& ioRequest, int inStatus, bool inDone)
    {
        ++ioRequest.retirements;
        EXPECT_EQ(inDone ? Place::kActiveCPU : Place::kLeaving, ioRequest.place);
        EXPECT_EQ(ioRequest.expectedStatus, inStatus) << ioRequest.number;
        ioRequest.place = Place::kGone;
        mIOCost -= ioRequest.ioCost;
        if (inDone)
            mCPUCost -= ioRequest.cpuCost;
    }

    void Step() override
    {
        switch (Below(12))
        {
        case 0:
        case 1:
        case 2:
            return Queue();
        case 3:
        case 4:
            mShared.RunOne();
            return;
        case 5:
        case 6:
        case 7:
            mOwn->RunOne();
            return;
        case 8:
        case 9:
            return CompleteAny(Below(4) == 0 ? -300 : static_cast<int>(Below(2)));
        case 10:
            return CancelAny();
        default:
            if (Below(25) == 0)
                CancelAll();
        }
    }
    void Queue()
    {
        if (mRequests.size() > 30 && Below(3) == 0) // let it run empty now and then
            return;
        const auto request = boost::make_shared<ModelRequest>();
        request->run = this;
        request->number = static_cast<int>(mRequests.size());
        // Distinct, so that the next request is never in doubt.
        request->priority = static_cast<int>(Below(1000) * 100000 + mRequests.size());
        request->ioCost = static_cast<int>(Below(10) == 0 ? 20 : Below(5));
        request->cpuCost = static_cast<int>(Below(10) == 0 ? 20 : Below(4));
        request->cancelStatus = static_cast<int>(Below(3)) - 1;
        const IO kinds[] = {IO::kNone,  IO::kFailsToStart, IO::kAtOnce, IO::kFailsAtOnce,
                            IO::kLater, IO::kLater,        IO::kLater,  IO::kNone};
        request->io = kinds[Below(8)];
        mRequests.push_back(request);
        mPendingIO.push_back(request.get());
        EXPECT_EQ(0, mQueue->QueueRequest(request));
    }
    void Complete(ModelRequest& ioRequest, int inStatus) override
    {
        const bool wasCancelled = ioRequest.place == Place::kCancelledIO;
        if (inStatus < 0 || wasCancelled)
        {
            ioRequest.place = Place::kLeaving;
            ioRequest.expectedStatus = inStatus < 0 ? inStatus : RK::kDecodeErrorRequestCancelled;
        }
        else
        {
            ioRequest.place = Place::kPendingCPU;
            mPendingCPU.push_back(&ioRequest);
        }
        RK::DecodeRequest::CompletionFunction once;
        once.swap(ioRequest.completion);
        once(inStatus);
    }
    void CancelAny()
    {
        if (mRequests.empty())
            return;
        // Mostly one of the latest, since the old ones are gone.
        const unsigned size = static_cast<unsigned>(mRequests.size());
        ModelRequest& request = *mRequests[size - 1 - Below(std::min(size, 20u))];
        int expected = request.cancelStatus;
        switch (request.place)
        {
        case Place::kPendingIO:
            Leave(mPendingIO, request);
            request.place = Place::kToldQueued;
            break;
        case Place::kPendingCPU:
            Leave(mPendingCPU, request);
            mIOCost -= request.ioCost;
            request.place = Place::kToldQueued;
            break;
        case Place::kActiveIO:
            request.place = Place::kCancelledIO;
            break;
        case Place::kActiveCPU:
            break;
        default:
            expected = RK::kDecodeErrorRequestNotFound;
        }
        const ModelRequestPtr shared = mRequests[static_cast<std::size_t>(request.number)];
        EXPECT_EQ(expected, mQueue->TryToCancelRequest(shared)) << request.number;
    }
    void CancelAll()
    {
        if (!mToldInOrder.empty())
            return;
        bool complete = true;
        // What waits for the I/O stage comes first. In priority mode the order within is the heap's.
        for (RequestList* pending : {&mPendingIO, &mPendingCPU})
        {
            for (ModelRequest* request : *pending)
            {
                mIOCost -= pending == &mPendingCPU ? request->ioCost : 0;
                request->place = Place::kToldQueued;
                complete = complete && request->cancelStatus >= 0;
                if (!mUsePriority)
                    mToldInOrder.push_back(request);
            }
            pending->clear();
        }
        for (const ModelRequestPtr& request : mRequests)
            complete = complete && request->place != Place::kActiveIO &&
                       request->place != Place::kActiveCPU;
        EXPECT_EQ(complete ? 0 : RK::kDecodeErrorCancelIncomplete,
                  mQueue->TryToCancelAllRequests());
        EXPECT_TRUE(mToldInOrder.empty());
    }

    static ModelRequests Sorted(ModelRequests inRequests)
    {
        std::sort(inRequests.begin(), inRequests.end(),
                  [](const ModelRequest* a, const ModelRequest* b)
                  { return a->number < b->number; });
        return inRequests;
    }
    static ModelRequests Plain(const InspectedQueue::Requests& inRequests)
    {
        ModelRequests plain;
        for (const auto& request : inRequests)
            plain.push_back(dynamic_cast<ModelRequest*>(request.get()));
        return plain;
    }
    ModelRequests In(Place inPlace) const
    {
        ModelRequests found;
        for (const auto& request : mRequests)
        {
            if (request->place == inPlace)
                found.push_back(request.get());
        }
        return found;
    }
    void Compare() override
    {
        ASSERT_EQ(mIOCost, mQueue->CurrentIOCost());
        ASSERT_EQ(mCPUCost, mQueue->CurrentCPUCost());
        const ModelRequests pendingIO = Plain(mQueue->PendingIO());
        const ModelRequests pendingCPU = Plain(mQueue->PendingCPU());
        if (mUsePriority)
        {
            ASSERT_EQ(Sorted(mPendingIO), Sorted(pendingIO));
            ASSERT_EQ(Sorted(mPendingCPU), Sorted(pendingCPU));
        }
        else
        {
            ASSERT_EQ(mPendingIO, pendingIO);
            ASSERT_EQ(mPendingCPU, pendingCPU);
        }
        ASSERT_EQ(In(Place::kActiveIO), Sorted(Plain(mQueue->ActiveIO())));
        ASSERT_EQ(In(Place::kActiveCPU), Sorted(Plain(mQueue->ActiveCPU())));
        if (mShared.DueCount() == 0 && mOwn->DueCount() == 0)
        {
            // Nothing scheduled: only something charged may still bring the waiting ones forward.
            ASSERT_TRUE(mPendingIO.empty() || mIOCost > 0);
            ASSERT_TRUE(mPendingCPU.empty() || mCPUCost > 0);
        }
    }
    void ExpectNothingIsLeft() override
    {
        EXPECT_EQ(0, mQueue->CurrentIOCost());
        EXPECT_EQ(0, mQueue->CurrentCPUCost());
        for (const auto& request : mRequests)
        {
            EXPECT_EQ(Place::kGone, request->place) << request->number;
            EXPECT_LE(request->reads, 1);
            EXPECT_LE(request->decodes, 1);
            EXPECT_EQ(1, request->queuedCancels + request->retirements) << request->number;
            EXPECT_EQ(1, request.use_count()) << request->number;
        }
        EXPECT_EQ(1, mQueue.use_count());
    }

    const int mMaxCPUCost;
    const int mMaxIOCost;
    const bool mUsePriority;
    const boost::shared_ptr<InspectedQueue> mQueue;
    std::vector<ModelRequestPtr> mRequests;
    RequestList mPendingIO; // in order of arrival
    RequestList mPendingCPU;
    std::deque<ModelRequest*> mToldInOrder;
    int mIOCost = 0;
    int mCPUCost = 0;
    int mDecoded = 0;
};

int ModelRequest::InitiateIO(const CompletionFunction& inCompletion)
{
    completion = inCompletion;
    return run->Initiated(*this);
}
int ModelRequest::ProcessCPU()
{
    return run->Processing(*this);
}
int ModelRequest::CancelQueued()
{
    return run->CancelledQueued(*this);
}
int ModelRequest::CancelDuringCPU()
{
    return run->CancelledInStage(*this);
}
int ModelRequest::CancelDuringIO()
{
    return run->CancelledInStage(*this);
}

TEST(DecodeQueueModel, AgreesWithThePlainRulesUnderRandomInterleavings)
{
    RunModelWithEachSeed<ModelRun>(2000);
}

} // namespace
