#include "Inotify.h"

#include <cerrno>
#include <csignal>
#include <thread>
#include <vector>

#include <sys/inotify.h>
#include <unistd.h>

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

int Inotify::Begin()
{
    if (mInstance >= 0)
        return 0;
    const int instance = inotify_init1(IN_CLOEXEC);
    if (instance < 0)
        return errno;
    try
    {
        const ScopedBlockedSignals blocked;
        mInstance = instance;
        std::thread([this] { Run(); }).detach();
    }
    catch (const std::system_error& error)
    {
        mInstance = -1;
        close(instance);
        return error.code().value();
    }
    return 0;
}

int Inotify::Add(int inDescriptor, std::uint32_t inMask, IInotifyClient& inClient, int& outWatch)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const int error = Begin();
    if (error != 0)
        return error;
    // The way through the descriptor ties the watch to what is open, whoever renames it meanwhile.
    const std::string path = "/proc/self/fd/" + std::to_string(inDescriptor);
    const int watch = inotify_add_watch(mInstance, path.c_str(), inMask | IN_MASK_ADD);
    if (watch < 0)
        return errno;
    const auto [client, added] = mWatches[watch].try_emplace(&inClient, 0);
    client->second |= inMask;
    if (added)
        ++mWatchCount[&inClient];
    outWatch = watch;
    return 0;
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
        inotify_rm_watch(mInstance, inWatch);
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
            inotify_rm_watch(mInstance, at->first);
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
