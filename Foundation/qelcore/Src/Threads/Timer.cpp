#include "Timer.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <map>
#include <thread>

#include "Platform/Clock.h"
#include "Platform/Thread.h"
#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{

TimerClient::~TimerClient() = default;

namespace
{

// A condition variable's clock stands still while the machine sleeps, and ours does not: no wait is
// longer than this, so that what became due during a sleep is at most so late.
constexpr std::uint64_t kLongestWait = 60 * 1000000000ull;

class Timer final : public Platform::IClockListener
{
public:
    Timer()
    {
        std::thread([this] { Run(); }).detach();
        Platform::AddClockListener(*this);
    }

    void Add(std::uint64_t inDue, const std::weak_ptr<TimerClient>& inClient) RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        const bool first = mCalls.empty() || inDue < mCalls.begin()->first;
        mCalls.emplace(inDue, inClient);
        if (first)
            mChanged.NotifyOne();
    }

    void OnClockMoved() override RK_EXCLUDES(mMutex)
    {
        Lock lock(mMutex);
        mChanged.NotifyOne();
    }

private:
    using Calls = std::multimap<std::uint64_t, std::weak_ptr<TimerClient>>;

    [[noreturn]] void Run() RK_EXCLUDES(mMutex)
    {
        Platform::SetCurrentThreadName("RK.timer");
        for (;;)
        {
            Calls due;
            {
                Lock lock(mMutex);
                TakeDueOrWait(due);
            }
            for (auto& call : due)
            {
                if (const std::shared_ptr<TimerClient> client = call.second.lock())
                    client->OnTimer();
            }
        }
    }

    // The clock is read under the lock, see IClockListener.
    void TakeDueOrWait(Calls& outDue) RK_REQUIRES(mMutex)
    {
        Platform::IClock& clock = Platform::Clock();
        const std::uint64_t now = clock.NowNanoseconds();
        const auto end = mCalls.upper_bound(now);
        while (mCalls.begin() != end)
            outDue.insert(mCalls.extract(mCalls.begin()));
        if (!outDue.empty())
            return;
        if (mCalls.empty() || !clock.RunsByItself())
            return mChanged.Wait(mMutex);
        const std::uint64_t wait = std::min(mCalls.begin()->first - now, kLongestWait);
        mChanged.WaitFor(mMutex, std::chrono::nanoseconds(wait));
    }

    Mutex mMutex;
    Condition mChanged;
    Calls mCalls RK_GUARDED_BY(mMutex);
};

Timer& TheTimer()
{
    static Timer* const sTimer = new Timer; // its thread outlives all statics
    return *sTimer;
}

} // namespace

bool TimerIsThere() noexcept
{
    try
    {
        TheTimer();
        return true;
    }
    catch (const std::exception&)
    {
        return false; // no memory, or no thread to be had
    }
}

void CallAt(std::uint64_t inDueNanoseconds, const std::weak_ptr<TimerClient>& inClient)
{
    TheTimer().Add(inDueNanoseconds, inClient);
}

} // namespace threads
} // namespace qelcore
