#include "MemberThread.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <system_error>

#include "Platform/MachineFigures.h"
#include "Platform/Process.h"
#include "Platform/Thread.h"
#include "SuiteSeat.h"
#include "qelcore/Mutex.h"
#include "qelcore/Trace.h"

namespace memorybalancer
{
namespace
{

using Platform::SharedSegment;
using qelcore::threads::Condition;
using qelcore::threads::Lock;
using qelcore::threads::Mutex;

constexpr int kTurnMilliseconds = 1000;

SeatFigures FiguresFor(const ApplicationState& inState)
{
    Platform::IMachineFigures& machine = Platform::MachineFigures();
    SeatFigures figures;
    figures.state = inState;
    // What was told grows old while the process works; taken for true it would look as if the memory that
    // the process has used since had been lost.
    figures.state.used = std::max(inState.used, machine.ProcessMemory());
    figures.total = machine.TotalPhysicalMemory();
    figures.free = machine.FreePhysicalMemory();
    figures.processID = Platform::CurrentProcessID();
    return figures;
}

} // namespace

struct MemberThread::Core
{
    Core(const qelcore::UTF16String& inClientName, const MemoryBalancer::GrantCallback& inCallback)
        : clientName(inClientName)
        , callback(inCallback)
    {
    }

    const qelcore::UTF16String clientName;
    const MemoryBalancer::GrantCallback callback;

    Mutex mutex; // guards all below; a leaf
    Condition changed;
    ApplicationState state RK_GUARDED_BY(mutex);
    bool hasNews RK_GUARDED_BY(mutex) = false;
    bool stopped RK_GUARDED_BY(mutex) = false;
    std::shared_ptr<SharedSegment> segment RK_GUARDED_BY(mutex); // whose bell the thread waits for
    // Not an object but a pointer: a child of fork() must not end what it has not got.
    std::unique_ptr<std::thread> thread RK_GUARDED_BY(mutex);

    /// Makes the thread look at what has changed.
    void Wake();
    /// Takes turns until it is stopped.
    void Run();
    bool TakeState(ApplicationState& outState);
    std::optional<std::uint64_t> TakeTurn(SuiteSeat& ioSeat, const ApplicationState& inState);
    /// @return false if it was stopped before.
    bool Tell(std::uint64_t inGrant);
    void WaitForTurn(const std::shared_ptr<SharedSegment>& inSegment, std::uint32_t inBellCount);
};

void MemberThread::Core::Wake()
{
    std::shared_ptr<SharedSegment> bell;
    {
        Lock lock(mutex);
        bell = segment;
    }
    changed.NotifyAll();
    if (bell)
        bell->Ring();
}

void MemberThread::Core::Run()
{
    Platform::SetCurrentThreadName("RK::MemoryBalancer");
    SuiteSeat seat(GetSuiteName(), clientName);
    std::optional<std::uint64_t> told;
    ApplicationState now;
    while (TakeState(now))
    {
        const std::shared_ptr<SharedSegment> before = seat.Segment();
        const std::uint32_t bellCount = before ? before->BellCount() : 0;
        const std::optional<std::uint64_t> grant = TakeTurn(seat, now);
        if (grant && grant != told)
        {
            if (!Tell(*grant))
                return;
            told = grant;
        }
        // In another segment the count tells nothing, so the next turn comes at once.
        if (seat.Segment() == before)
            WaitForTurn(before, bellCount);
    }
}

bool MemberThread::Core::TakeState(ApplicationState& outState)
{
    Lock lock(mutex);
    outState = state;
    hasNews = false;
    return !stopped;
}

std::optional<std::uint64_t> MemberThread::Core::TakeTurn(SuiteSeat& ioSeat,
                                                          const ApplicationState& inState)
{
    std::optional<std::uint64_t> grant;
    try
    {
        grant = ioSeat.TakeTurn(FiguresFor(inState));
    }
    catch (const std::exception& failure)
    {
        RK_TRACE("MemoryBalancer", 0, "A turn was left out: " << failure.what());
    }
    Lock lock(mutex);
    segment = ioSeat.Segment();
    return grant;
}

bool MemberThread::Core::Tell(std::uint64_t inGrant)
{
    {
        Lock lock(mutex);
        if (stopped)
            return false;
    }
    RK_TRACE("MemoryBalancer", 1, "Granted: " << inGrant << " bytes");
    try
    {
        callback(inGrant);
    }
    catch (const std::exception& failure)
    {
        RK_TRACE("MemoryBalancer", 0, "The callback has raised: " << failure.what());
    }
    return true;
}

void MemberThread::Core::WaitForTurn(const std::shared_ptr<SharedSegment>& inSegment,
                                     std::uint32_t inBellCount)
{
    {
        Lock lock(mutex);
        if (hasNews || stopped)
            return;
        if (!inSegment)
        {
            changed.WaitFor(mutex, std::chrono::milliseconds(kTurnMilliseconds));
            return;
        }
    }
    inSegment->WaitForBell(inBellCount, kTurnMilliseconds);
}

MemberThread::MemberThread(const qelcore::UTF16String& inClientName,
                           const MemoryBalancer::GrantCallback& inCallback)
    : mForkCount(Platform::ForkCount())
    , mCore(std::make_shared<Core>(inClientName, inCallback))
{
}

MemberThread::~MemberThread()
{
    // In a child the core of a running thread stays for good: the thread, which is not there, has a share.
    if (IsInherited())
        return;
    std::unique_ptr<std::thread> thread;
    {
        Lock lock(mCore->mutex);
        mCore->stopped = true;
        thread = std::move(mCore->thread);
    }
    if (!thread)
        return;
    mCore->Wake();
    if (thread->get_id() == std::this_thread::get_id())
        thread->detach(); // within the callback; the core stays until the thread has ended
    else
        thread->join();
}

bool MemberThread::IsInherited() const
{
    return mForkCount != Platform::ForkCount();
}

void MemberThread::SetState(const ApplicationState& inState)
{
    if (IsInherited())
        return;
    {
        Lock lock(mCore->mutex);
        mCore->state = inState;
        mCore->hasNews = true;
        if (!mCore->thread)
        {
            try
            {
                mCore->thread = std::make_unique<std::thread>([core = mCore] { core->Run(); });
            }
            catch (const std::system_error& failure)
            {
                RK_TRACE("MemoryBalancer", 0, "There is no thread to be had: " << failure.what());
            }
            return;
        }
    }
    mCore->Wake();
}

} // namespace memorybalancer
