#include "Inotify.h"

#include <cerrno>
#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

#include "FanotifyMarks.h"
#include "Platform/Thread.h"

namespace Platform
{
namespace
{

constexpr std::size_t kBufferBytes = 65536;

/// Signals of the process go to threads that know what to do with them.
class ScopedBlockedSignals
{
public:
    ScopedBlockedSignals()
    {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_SETMASK, &all, &mBefore);
    }
    ~ScopedBlockedSignals() { pthread_sigmask(SIG_SETMASK, &mBefore, nullptr); }
    ScopedBlockedSignals(const ScopedBlockedSignals&) = delete;
    ScopedBlockedSignals& operator=(const ScopedBlockedSignals&) = delete;

private:
    sigset_t mBefore;
};

} // namespace

Inotify& Inotify::Instance()
{
    static Inotify* const sInstance = new Inotify;
    return *sInstance;
}

Inotify::Inotify()
    : mMarks(std::make_unique<FanotifyMarks>())
{
}

int Inotify::StartThread(void (Inotify::*inRun)())
try
{
    const ScopedBlockedSignals blocked;
    std::thread(inRun, this).detach();
    return 0;
}
catch (const std::system_error& error)
{
    return error.code().value();
}

int Inotify::Begin()
{
    if (mInstance >= 0)
        return 0;
    mInstance = inotify_init1(IN_CLOEXEC);
    if (mInstance < 0)
        return errno;
    const int error = StartThread(&Inotify::Run);
    if (error != 0)
        close(std::exchange(mInstance, -1));
    return error;
}

int Inotify::BeginMarks()
{
    if (mMarks->HasBegun())
        return 0;
    int error = mMarks->Begin();
    if (error == 0)
        error = StartThread(&Inotify::RunMarks);
    if (error != 0)
        mMarks->End();
    return error;
}

int Inotify::AddWatch(int inDescriptor, std::uint32_t inMask, int& outWatch)
{
    const int error = Begin();
    if (error != 0)
        return error;
    // The way through the descriptor ties the watch to what is open, whoever renames it meanwhile.
    const std::string path = "/proc/self/fd/" + std::to_string(inDescriptor);
    const int watch = inotify_add_watch(mInstance, path.c_str(), inMask | IN_MASK_ADD);
    if (watch < 0)
        return errno;
    outWatch = watch;
    return 0;
}

int Inotify::AddMark(int inDescriptor, std::uint32_t inMask, int& outWatch)
{
    const int error = BeginMarks();
    return error == 0 ? mMarks->Add(inDescriptor, inMask, outWatch) : error;
}

void Inotify::AddClient(int inWatch, std::uint32_t inMask, IInotifyClient& inClient)
{
    const auto [client, added] = mWatches[inWatch].try_emplace(&inClient, 0);
    client->second |= inMask;
    if (added)
        ++mWatchCount[&inClient];
}

int Inotify::Add(int inDescriptor, std::uint32_t inMask, IInotifyClient& inClient, int& outWatch)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const int error = AddWatch(inDescriptor, inMask, outWatch);
    if (error == 0)
        AddClient(outWatch, inMask, inClient);
    return error;
}

// A folder that has a mark keeps it while that is used, though there may be watches again: its number is what the
// folder is known by.
int Inotify::AddFolder(int inDescriptor, std::uint32_t inMask, IInotifyClient& inClient,
                       int& outWatch)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    int error = 0;
    if (!mMarks->AddToKnown(inDescriptor, inMask, outWatch))
        error = AddWatch(inDescriptor, inMask, outWatch);
    if (error == ENOSPC && AddMark(inDescriptor, inMask, outWatch) == 0)
        error = 0;
    if (error == 0)
        AddClient(outWatch, inMask, inClient);
    return error;
}

/// Of a watch that has no client any more.
void Inotify::EndWatch(int inWatch)
{
    if (inWatch >= FanotifyMarks::kFirstWatch)
        mMarks->Remove(inWatch);
    else
        inotify_rm_watch(mInstance, inWatch);
}

void Inotify::Remove(int inWatch, IInotifyClient& inClient)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto found = mWatches.find(inWatch);
    if (found == mWatches.end() || found->second.erase(&inClient) == 0)
        return;
    if (--mWatchCount[&inClient] == 0)
        mWatchCount.erase(&inClient);
    if (found->second.empty())
    {
        mWatches.erase(found);
        EndWatch(inWatch);
    }
}

void Inotify::RemoveAll(IInotifyClient& inClient)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mWatchCount.erase(&inClient);
    for (auto at = mWatches.begin(); at != mWatches.end();)
    {
        const bool last = at->second.erase(&inClient) != 0 && at->second.empty();
        if (last)
            EndWatch(at->first);
        at = last ? mWatches.erase(at) : std::next(at);
    }
}

void Inotify::Run()
{
    SetCurrentThreadName("RK::Inotify");
    alignas(inotify_event) static char sBuffer[kBufferBytes]; // there is one such thread
    for (;;)
    {
        const ssize_t size = read(mInstance, sBuffer, sizeof sBuffer);
        if (size < 0 && errno != EINTR)
            return;
        const std::lock_guard<std::mutex> lock(mMutex);
        for (ssize_t at = 0; at < size;)
        {
            const auto* const raw = reinterpret_cast<const inotify_event*>(sBuffer + at);
            HandOut({raw->wd, raw->mask, raw->len != 0 ? raw->name : ""});
            at += static_cast<ssize_t>(sizeof(inotify_event)) + raw->len;
        }
    }
}

void Inotify::RunMarks()
{
    SetCurrentThreadName("RK::Fanotify");
    alignas(8) static char sBuffer[kBufferBytes]; // there is one such thread
    for (;;)
    {
        const std::ptrdiff_t size = mMarks->Read(sBuffer, sizeof sBuffer);
        if (size < 0 && errno != EINTR)
            return;
        const std::lock_guard<std::mutex> lock(mMutex);
        if (size <= 0)
            continue;
        for (const InotifyEvent& event : mMarks->Parse(sBuffer, static_cast<std::size_t>(size)))
            HandOut(event);
    }
}

void Inotify::HandOut(const InotifyEvent& inEvent)
{
    if ((inEvent.mask & IN_Q_OVERFLOW) != 0)
    {
        HandOutToAll(inEvent);
        return;
    }
    const auto found = mWatches.find(inEvent.watch);
    if (found == mWatches.end())
        return;
    constexpr std::uint32_t kAlways = IN_IGNORED | IN_UNMOUNT;
    for (const auto& [client, mask] : found->second)
        if ((inEvent.mask & (mask | kAlways)) != 0)
            client->OnEvent(inEvent);
    if ((inEvent.mask & IN_IGNORED) == 0)
        return;
    for (const auto& [client, mask] : found->second)
        if (--mWatchCount[client] == 0)
            mWatchCount.erase(client);
    mWatches.erase(found);
}

void Inotify::HandOutToAll(const InotifyEvent& inEvent)
{
    for (const auto& [client, count] : mWatchCount)
        client->OnEvent(inEvent);
}

} // namespace Platform
