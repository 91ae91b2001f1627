#include <algorithm>
#include <cctype>
#include <cstring>
#include <mutex>
#include <utility>

#include <boost/enable_shared_from_this.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/weak_ptr.hpp>

#include "DirectoryChangeMonitor.h"
#include "LoadOrder.h"
#include "Platform/VolumeKind.h"
#include "Platform/VolumeTable.h"
#include "ZORMessaging/Station.h"
#include "qelcore/CachedDatabaseValue.h"
#include "qelcore/MainThread.h"
#include "qelcore/RepeatDelayFunction.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

RK_RECORD_SET_UP("Src/Linux/LinuxDirectoryChangeMonitor");

namespace RK
{

using qelcore::UTF16String;
using qelcore::utility::UTF16ToFileName;

DirectoryChangedMessage::DirectoryChangedMessage(const UTF16String& inPath)
    : mPath(inPath)
{
}
DirectoryChangedMessage::DirectoryChangedMessage(const DirectoryChangedMessage&) = default;
DirectoryChangedMessage::~DirectoryChangedMessage() = default;

VolumeChangedMessage::VolumeChangedMessage() = default;
VolumeChangedMessage::VolumeChangedMessage(const VolumeChangedMessage&) = default;
VolumeChangedMessage::~VolumeChangedMessage() = default;

DirectoryPollingMessage::DirectoryPollingMessage(const UTF16String& inPath)
    : mPath(inPath)
{
}
DirectoryPollingMessage::DirectoryPollingMessage(const DirectoryPollingMessage&) = default;
DirectoryPollingMessage::~DirectoryPollingMessage() = default;

namespace DirectoryChangeMonitor
{

const UTF16String kVolumesPath = u"/Volumes";

namespace
{

const std::string kAvidTypeName = "Avid";

constexpr double kLatencySeconds = 1.0;
constexpr int kPollingMilliseconds = 5000;

constinit qelcore::debug::CachedDatabaseValue<bool> sPollNetworkVolumes("RK.PollNetworkVolumes",
                                                                        false);

// Its own lock, and a leaf: a stream calls back on the main thread while another one starts.
constinit std::mutex sSubscribedPathsMutex;
constinit std::uint64_t sNextRefcon = 0;                       // guarded by sSubscribedPathsMutex
SmallMap<std::uint64_t, MonitoredPathInfo> sSubscribedPathMap; // guarded by sSubscribedPathsMutex

bool Find(std::uint64_t inRefcon, MonitoredPathInfo& outInfo)
{
    const std::lock_guard<std::mutex> lock(sSubscribedPathsMutex);
    const auto found = sSubscribedPathMap.find(inRefcon);
    if (found == sSubscribedPathMap.end())
        return false;
    outInfo = found->second;
    return true;
}

bool ContainsWithoutCase(const std::string& inText, const std::string& inPart)
{
    const auto equal = [](unsigned char a, unsigned char b)
    { return std::tolower(a) == std::tolower(b); };
    return std::search(inText.begin(), inText.end(), inPart.begin(), inPart.end(), equal) !=
           inText.end();
}

bool VolumeOf(const UTF16String& inPath, Platform::Mount& outMount)
{
    return Platform::VolumeTable().MountOfPath(UTF16ToFileName(inPath), outMount) == 0;
}

bool IsAvid(const Platform::Mount& inMount)
{
    return ContainsWithoutCase(inMount.type, kAvidTypeName);
}

bool IsPathOnAvidVolume(const UTF16String& inPath)
{
    Platform::Mount mount;
    return !inPath.empty() && VolumeOf(inPath, mount) && IsAvid(mount);
}

/// A server's volume of any other kind, where the host has asked for that.
bool IsPolledServer(const Platform::Mount& inMount)
{
    return sPollNetworkVolumes && Platform::IsNetworkMount(inMount);
}

bool MustBePolled(const UTF16String& inPath)
{
    Platform::Mount mount;
    return !inPath.empty() && VolumeOf(inPath, mount) && (IsAvid(mount) || IsPolledServer(mount));
}

std::uint32_t StreamFlags(const UTF16String& inPath)
{
    Platform::Mount mount;
    if (!inPath.empty() && VolumeOf(inPath, mount) && mount.type == "hfs")
        return 0;
    return Platform::kFolderStream_WatchRoot;
}

using StreamPtr = std::unique_ptr<MainLoopFolderEvents>;

/// Streams that nobody ends any more. Never destroyed.
std::vector<StreamPtr>& KeptStreams()
{
    static std::vector<StreamPtr>* const sStreams = new std::vector<StreamPtr>;
    return *sStreams;
}

} // namespace

std::uint64_t Subscribe(const MonitoredPathInfo& inInfo)
{
    const std::lock_guard<std::mutex> lock(sSubscribedPathsMutex);
    sSubscribedPathMap.emplace(++sNextRefcon, inInfo);
    return sNextRefcon;
}

namespace
{

using qelcore::threads::RecursiveMutex;

struct DirectoryInfo
{
    std::uint32_t mRefCount = 1;
    StreamPtr mEventStream; ///< null: by the event thread, or polled
    bool mIsPolledServer = false;
};

// Locks  mMutex is held for the whole length of a start or a stop, which may ask a volume and list
//        directories. A stream is ended without it: its end waits for a callback, and that may be in a listener
//        who starts or stops another watch.
class DirectoryChangeMonitorImpl : public boost::enable_shared_from_this<DirectoryChangeMonitorImpl>
{
public:
    ~DirectoryChangeMonitorImpl();

    void MonitorDirectory(const UTF16String& inPath, bool inRecursive);
    void StopMonitoringDirectory(const UTF16String& inPath, bool inRecursive);
    bool AvidStorageMonitorLoop();

private:
    void StartThread() RK_REQUIRES(mMutex);
    void Send(OperationType inOperation, const UTF16String& inPath) RK_REQUIRES(mMutex);
    void StartWatch(const UTF16String& inPath) RK_REQUIRES(mMutex);
    void StartPolling(const UTF16String& inPath, bool inIsPolledServer) RK_REQUIRES(mMutex);
    void StartStream(const UTF16String& inPath) RK_REQUIRES(mMutex);

    RecursiveMutex mMutex;
    SmallMap<MonitoredPathInfo, DirectoryInfo> mMonitorInfo RK_GUARDED_BY(mMutex);
    bool mThreadStarted RK_GUARDED_BY(mMutex) = false;
    int mPipe[2] RK_GUARDED_BY(mMutex) = {-1, -1};
    bool mAvidPollingActive RK_GUARDED_BY(mMutex) = false;
};

constinit std::mutex sMonitorMutex;
boost::shared_ptr<DirectoryChangeMonitorImpl> sDirectoryChangeMonitor; // guarded by sMonitorMutex

boost::shared_ptr<DirectoryChangeMonitorImpl> Monitor()
{
    const std::lock_guard<std::mutex> lock(sMonitorMutex);
    return sDirectoryChangeMonitor;
}

DirectoryChangeMonitorImpl::~DirectoryChangeMonitorImpl()
{
    std::size_t index = 0;
    for (auto& [path, info] : mMonitorInfo)
    {
        RK_TRACE("WDX.DirectoryChangeMonitor.ALERT", 1,
                 "DirectoryChangeMonitorImpl dtor unexpectedly still refers to mMonitorInfo["
                     << index << "]:" << UTF16ToFileName(path.mPath));
        if (info.mEventStream)
            KeptStreams().push_back(std::move(info.mEventStream));
        ++index;
    }
    {
        const std::lock_guard<std::mutex> lock(sSubscribedPathsMutex);
        sSubscribedPathMap.clear();
    }
    // The event thread is left where it waits.
    for (const int end : mPipe)
        if (end >= 0)
            Platform::EventQueue().Close(end);
}

void DirectoryChangeMonitorImpl::StartThread()
{
    if (mThreadStarted)
        return;
    Platform::EventQueue().CreatePipe(mPipe);
    // The thread may outlive this object, so it gets a copy.
    int* const ends = new int[2]{mPipe[0], mPipe[1]};
    mThreadStarted = Platform::EventQueue().StartThread(&EventQueueThreadProc, ends) == 0;
    if (!mThreadStarted)
        delete[] ends;
}

void DirectoryChangeMonitorImpl::Send(OperationType inOperation, const UTF16String& inPath)
{
    const EventQueueThreadRequest request = MakeRequest(inOperation, inPath);
    Platform::EventQueue().Write(mPipe[1], request.data(), request.size() * sizeof request[0]);
}

void DirectoryChangeMonitorImpl::StartWatch(const UTF16String& inPath)
{
    StartThread();
    Send(kOperationStartMonitoringPath, inPath);
    mMonitorInfo[{inPath, false}];
}

void DirectoryChangeMonitorImpl::StartPolling(const UTF16String& inPath, bool inIsPolledServer)
{
    mMonitorInfo[{inPath, false}].mIsPolledServer = inIsPolledServer;
    if (std::exchange(mAvidPollingActive, true))
        return;
    qelcore::threads::CallConditionalRepeatDelayFunctionAsynchronously(
        qelcore::threads::GetRegisteredMainThread(),
        [weak = weak_from_this()]
        {
            const auto monitor = weak.lock();
            return monitor && monitor->AvidStorageMonitorLoop();
        },
        kPollingMilliseconds);
}

void DirectoryChangeMonitorImpl::StartStream(const UTF16String& inPath)
{
    const std::uint64_t refcon = Subscribe({inPath, true});
    StreamPtr stream =
        MainLoopFolderEvents::Create(UTF16ToFileName(inPath), kLatencySeconds, StreamFlags(inPath),
                                     [refcon](const std::vector<Platform::FolderEvent>& inEvents)
                                     { EventStreamCallback(refcon, inEvents); });
    if (stream)
        mMonitorInfo[{inPath, true}].mEventStream = std::move(stream);
}

void DirectoryChangeMonitorImpl::MonitorDirectory(const UTF16String& inPath, bool inRecursive)
{
    RecursiveMutex::ScopedLock lock(mMutex, "RK::DirectoryChangeMonitor::MonitorDirectory");
    const auto found = mMonitorInfo.find({inPath, inRecursive});
    Platform::Mount mount;
    if (!VolumeOf(inPath, mount))
        RK_TRACE("MonitorDirectory", 4,
                 "Attempting to monitor an invalid path: " << UTF16ToFileName(inPath));
    else if (found != mMonitorInfo.end())
        ++found->second.mRefCount;
    else if (inRecursive)
        StartStream(inPath);
    else if (IsAvid(mount) || IsPolledServer(mount))
        StartPolling(inPath, !IsAvid(mount));
    else
        StartWatch(inPath);
}

void DirectoryChangeMonitorImpl::StopMonitoringDirectory(const UTF16String& inPath,
                                                         bool inRecursive)
{
    StreamPtr ended; // outlives the lock
    RecursiveMutex::ScopedLock lock(mMutex, "RK::DirectoryChangeMonitor::StopMonitoringDirectory");
    const auto found = mMonitorInfo.find({inPath, inRecursive});
    if (found == mMonitorInfo.end())
        return;
    DirectoryInfo& info = found->second;
    if (info.mRefCount > 0 && --info.mRefCount > 0)
        return;
    // Nothing of the system is undone there: right for what is polled, and a stream goes on as it is.
    if (IsPathOnAvidVolume(inPath))
    {
        if (info.mEventStream)
            KeptStreams().push_back(std::move(info.mEventStream));
    }
    else if (info.mEventStream)
        ended = std::move(info.mEventStream);
    else if (!info.mIsPolledServer)
        Send(kOperationStopMonitoringPath, inPath);
    mMonitorInfo.erase(found);
}

bool DirectoryChangeMonitorImpl::AvidStorageMonitorLoop()
{
    std::vector<UTF16String> paths;
    {
        RecursiveMutex::ScopedLock lock(mMutex,
                                        "RK::DirectoryChangeMonitor::AvidStorageMonitorLoop");
        for (const auto& [path, info] : mMonitorInfo)
            if (MustBePolled(path.mPath))
                paths.push_back(path.mPath);
        mAvidPollingActive = !paths.empty();
    }
    for (const UTF16String& path : paths)
        ZOR::StationUtils::PostMessageToUIThread(ZOR::kStation_DirectoryChange,
                                                 DirectoryPollingMessage(path), false);
    return !paths.empty();
}

} // namespace

void EventStreamCallback(std::uint64_t inRefcon, const std::vector<Platform::FolderEvent>& inEvents)
{
    MonitoredPathInfo info;
    if (!Find(inRefcon, info))
        return;
    bool directoryReported = false;
    bool volumeReported = false;
    for (const Platform::FolderEvent& event : inEvents)
    {
        // The one length is in bytes and the other in units of 16 bits: only the difference of paths in ASCII
        // means something, and a larger one may wrap.
        const bool isItself = event.path.size() - info.mPath.size() < 2;
        const bool qualifies = !directoryReported &&
                               (event.flags & Platform::kFolderEvent_AnyItem) != 0 &&
                               (info.mRecursive || isItself);
        if (qualifies && info.mPath != kVolumesPath)
        {
            ZOR::StationUtils::BroadcastMessage(ZOR::kStation_DirectoryChange,
                                                DirectoryChangedMessage(info.mPath));
            directoryReported = true;
        }
        else if (!volumeReported && (event.flags & (Platform::kFolderEvent_Mount |
                                                    Platform::kFolderEvent_Unmount)) != 0)
        {
            ZOR::StationUtils::BroadcastMessage(ZOR::kStation_DirectoryChange,
                                                VolumeChangedMessage());
            volumeReported = true;
        }
    }
}

void Initialize()
{
    const std::lock_guard<std::mutex> lock(sMonitorMutex);
    if (!sDirectoryChangeMonitor)
        sDirectoryChangeMonitor = boost::make_shared<DirectoryChangeMonitorImpl>();
}

void Terminate()
{
    boost::shared_ptr<DirectoryChangeMonitorImpl> monitor;
    const std::lock_guard<std::mutex> lock(sMonitorMutex);
    monitor.swap(sDirectoryChangeMonitor);
}

void MonitorDirectory(const UTF16String& inPath)
{
    if (const auto monitor = Monitor())
        monitor->MonitorDirectory(inPath, false);
}

void StopMonitoringDirectory(const UTF16String& inPath)
{
    if (const auto monitor = Monitor())
        monitor->StopMonitoringDirectory(inPath, false);
}

void MonitorDirectoryRecursively(const UTF16String& inPath)
{
    if (const auto monitor = Monitor())
        monitor->MonitorDirectory(inPath, true);
}

void StopMonitoringDirectoryRecursively(const UTF16String& inPath)
{
    if (const auto monitor = Monitor())
        monitor->StopMonitoringDirectory(inPath, true);
}

void MonitorVolumeChanges()
{
    MonitorDirectory(kVolumesPath);
}

void StopMonitoringVolumeChanges()
{
    StopMonitoringDirectory(kVolumesPath);
}

} // namespace DirectoryChangeMonitor
} // namespace RK
