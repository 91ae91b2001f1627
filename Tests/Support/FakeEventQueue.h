#pragma once

#include <cerrno>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Platform/EventQueue.h"

namespace Testing
{

// An event queue whose events the test tells, and whose thread the test turns: each step stands for one return of
// Wait. One thread.
class FakeEventQueue : public Platform::IEventQueue
{
public:
    using Record = Platform::QueueRecord;
    /// What one Wait answers, given the changes that came in.
    using Step = std::function<int(const std::vector<Record>&, Record&)>;

    FakeEventQueue() = default;
    /// A thread that the test did not turn quits now, and frees what it was made with.
    ~FakeEventQueue() override
    {
        mSteps.clear();
        if (HasThread())
            RunThread();
    }
    FakeEventQueue(const FakeEventQueue&) = delete;
    FakeEventQueue& operator=(const FakeEventQueue&) = delete;

    int CreatePipe(int (&outEnds)[2]) override
    {
        ++pipeCount;
        if (mustFailPipe)
            return -1;
        outEnds[0] = kReadEnd + 10 * (pipeCount - 1);
        outEnds[1] = outEnds[0] + 1;
        return 0;
    }
    std::ptrdiff_t Read(int, void* outBytes, std::size_t inSize) override
    {
        const std::size_t size = std::min(inSize, mPipe.size());
        std::copy(mPipe.begin(), mPipe.begin() + static_cast<std::ptrdiff_t>(size),
                  static_cast<char*>(outBytes));
        mPipe.erase(mPipe.begin(), mPipe.begin() + static_cast<std::ptrdiff_t>(size));
        return static_cast<std::ptrdiff_t>(size);
    }
    std::ptrdiff_t Write(int inEnd, const void* inBytes, std::size_t inSize) override
    {
        writes.emplace_back(inEnd, std::string(static_cast<const char*>(inBytes), inSize));
        if (inEnd < 0)
            return -1;
        mPipe.insert(mPipe.end(), writes.back().second.begin(), writes.back().second.end());
        return static_cast<std::ptrdiff_t>(inSize);
    }

    int Open(const std::string& inPath) override
    {
        opened.push_back(inPath);
        return refused.count(inPath) != 0 ? -1 : mIdents[inPath] = mNextIdent++;
    }
    int Close(int inIdent) override
    {
        closed.push_back(inIdent);
        errno = closeError;
        return closeError == 0 ? 0 : -1;
    }
    int CreateQueue() override { return mustFailQueue ? -1 : 7; }
    void CloseQueue(int) override { ++closedQueueCount; }

    int Wait(int, const std::vector<Record>& inChanges, Record& outEvent) override
    {
        submitted.push_back(inChanges);
        if (mSteps.empty())
        {
            // The script is over: the thread is told to quit, as nobody else would.
            const std::uint16_t quit[] = {2, 2, 0};
            mPipe.insert(mPipe.begin(), reinterpret_cast<const char*>(quit),
                         reinterpret_cast<const char*>(quit) + sizeof quit);
            return TakeRequestStep()(inChanges, outEvent);
        }
        const Step step = mSteps.front();
        mSteps.pop_front();
        return step(inChanges, outEvent);
    }
    int StartThread(void (*inWork)(void*), void* inArgument) override
    {
        ++threadCount;
        if (threadError == 0)
            mWork = [inWork, inArgument] { inWork(inArgument); };
        return threadError;
    }
    std::uint64_t LossCount() override { return lossCount; }

    int IdentOf(const std::string& inPath) const { return mIdents.at(inPath); }
    bool HasThread() const { return static_cast<bool>(mWork); }
    std::size_t BytesInPipe() const { return mPipe.size(); }

    // Steps of the script.
    Step TakeRequestStep() const
    {
        return [](const std::vector<Record>& inChanges, Record& outEvent)
        {
            outEvent = inChanges.at(0);
            return 1;
        };
    }
    void ThenTakeRequest() { mSteps.push_back(TakeRequestStep()); }
    void ThenFire(const std::string& inPath, std::uint16_t inFlags = 0, std::int64_t inData = 0)
    {
        Then(
            [this, inPath, inFlags, inData](const std::vector<Record>&, Record& outEvent)
            {
                outEvent = Record();
                outEvent.mIdent = static_cast<std::uint64_t>(IdentOf(inPath));
                outEvent.mFilter = Platform::kQueueFilter_Folder;
                outEvent.mFlags = inFlags;
                outEvent.mData = inData;
                return 1;
            });
    }
    void Then(const Step& inStep) { mSteps.push_back(inStep); }
    /// Runs the thread through the script and one request to quit.
    void RunThread()
    {
        const std::function<void()> work = std::exchange(mWork, nullptr);
        work();
    }

    static constexpr int kReadEnd = 40;

    bool mustFailPipe = false;
    bool mustFailQueue = false;
    int threadError = 0;
    int closeError = 0;
    std::uint64_t lossCount = 0;
    std::set<std::string> refused;
    std::vector<std::string> opened;
    std::vector<int> closed;
    std::vector<std::pair<int, std::string>> writes;
    std::vector<std::vector<Record>> submitted;
    int pipeCount = 0;
    int threadCount = 0;
    int closedQueueCount = 0;

private:
    std::deque<char> mPipe;
    std::deque<Step> mSteps;
    std::map<std::string, int> mIdents;
    int mNextIdent = 100;
    std::function<void()> mWork;

    Platform::ScopedEventQueue mScope{*this};
};

} // namespace Testing
