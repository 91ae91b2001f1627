#pragma once

#include <functional>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "RiverKit/RKDecodeQueue.h"
#include "Support/ManualExecutor.h"

namespace Testing
{

// A request that does what the test tells it to, and writes down what it was asked. Base is the kind of
// request.
template <class Base>
class BasicScriptedRequest : public Base
{
public:
    std::string name;
    std::vector<std::string>* log = nullptr;
    int ioCost = 1;
    int cpuCost = 1;
    int priority = 0; // the greater goes first
    int initiateResult = 0;
    int processResult = 0;
    int cancelQueuedResult = 0;
    int cancelDuringIOResult = 0;
    int cancelDuringCPUResult = 0;
    int comparisons = 0;
    std::function<void()> onInitiate; // runs before InitiateIO returns
    std::function<void()> onProcess;
    std::function<void()> onCancel; // runs in each of the three
    using CompletionFunction = RK::DecodeRequest::CompletionFunction;
    CompletionFunction completion; // of an I/O under way

    int InitiateIO(const CompletionFunction& inCompletion) override
    {
        Note("initiate");
        completion = inCompletion;
        Run(onInitiate);
        if (initiateResult < 0 || initiateResult == RK::kDecodeStatusNoIOPending)
            completion.clear();
        return initiateResult;
    }
    int GetIOCost() override { return ioCost; }
    int GetCPUCost() override { return cpuCost; }
    int ProcessCPU() override
    {
        Note("process");
        Run(onProcess);
        return processResult;
    }
    int CancelQueued() override { return Cancelled("cancel queued", cancelQueuedResult); }
    int CancelDuringCPU() override { return Cancelled("cancel during CPU", cancelDuringCPUResult); }
    int CancelDuringIO() override { return Cancelled("cancel during IO", cancelDuringIOResult); }
    bool HasPriorityOver(const RK::DecodeRequestPtr& inOther) override
    {
        ++comparisons;
        return priority > dynamic_cast<BasicScriptedRequest&>(*inOther).priority;
    }

    /// Ends the I/O under way, and drops the completion as a client would.
    void Complete(int inStatus)
    {
        CompletionFunction once;
        once.swap(completion);
        once(inStatus);
    }

    /// Drops all that may hold the request itself, and what the test has lent it.
    void Forget()
    {
        log = nullptr;
        CompletionFunction dropped;
        dropped.swap(completion);
        onInitiate = onProcess = onCancel = nullptr;
    }

protected:
    static void Run(const std::function<void()>& inFunction)
    {
        if (inFunction)
            inFunction();
    }
    int Cancelled(const char* inWhat, int inResult)
    {
        Note(inWhat);
        Run(onCancel);
        return inResult;
    }
    void Note(const std::string& inWhat)
    {
        if (log)
            log->push_back(name + ": " + inWhat);
    }
};

using ScriptedRequest = BasicScriptedRequest<RK::DecodeRequest>;
using ScriptedRequestPtr = boost::shared_ptr<ScriptedRequest>;
using Log = std::vector<std::string>;

// mShared turns the starting of I/O, mOwn the CPU stage.
class DecodeQueueFixture : public ::testing::Test
{
protected:
    ManualExecutorFactory mFactory;
    qelcore::threads::ScopedExecutorFactory mScope{mFactory};
    ManualExecutor& mShared = *mFactory.cpu;
    boost::shared_ptr<ManualExecutor> mOwn = boost::make_shared<ManualExecutor>(8);
    Log mLog;

    // A request whose I/O never ends holds its completion, which holds the request; and a job that
    // never runs holds its view on an executor, which holds the executor.
    ~DecodeQueueFixture() override
    {
        for (const auto& forget : mMade)
            forget();
        RunAll();
    }
    RK::DecodeQueuePtr Create(int inMaxCPUCost, int inMaxIOCost, bool inUsePriority = false)
    {
        return RK::CreateDecodeQueue(mOwn, inMaxCPUCost, inMaxIOCost, inUsePriority);
    }
    ScriptedRequestPtr Request(const std::string& inName, int inIOCost = 1, int inCPUCost = 1)
    {
        const auto request = Made(boost::make_shared<ScriptedRequest>());
        request->name = inName;
        request->log = &mLog;
        request->ioCost = inIOCost;
        request->cpuCost = inCPUCost;
        return request;
    }
    /// Has a request cleaned up at the end of the test.
    template <class Request>
    boost::shared_ptr<Request> Made(const boost::shared_ptr<Request>& inRequest)
    {
        mMade.push_back(
            [made = boost::weak_ptr<Request>(inRequest)]
            {
                if (const auto request = made.lock())
                    request->Forget();
            });
        return inRequest;
    }
    ScriptedRequestPtr Prioritised(int inPriority)
    {
        const auto request = Request(std::to_string(inPriority));
        request->priority = inPriority;
        return request;
    }
    ScriptedRequestPtr WithoutIO(ScriptedRequestPtr inRequest)
    {
        inRequest->initiateResult = RK::kDecodeStatusNoIOPending;
        return inRequest;
    }
    /// Turns both executors until nothing is due.
    void RunAll()
    {
        while (mShared.RunOne() || mOwn->RunOne())
        {
        }
    }
    /// Forgets the log so far, and gives it.
    Log TakeLog()
    {
        Log log;
        log.swap(mLog);
        return log;
    }

private:
    std::vector<std::function<void()>> mMade;
};

} // namespace Testing
