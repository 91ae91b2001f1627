#include <cerrno>
#include <cstring>

#include "DirectoryChangeMonitor.h"
#include "Platform/Thread.h"
#include "ZORMessaging/Station.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace RK
{
namespace DirectoryChangeMonitor
{

using Platform::QueueRecord;
using qelcore::UTF16String;
using qelcore::utility::UTF16ToFileName;

namespace
{

constexpr std::size_t kReservedRecords = 100;
constexpr std::uint16_t kArmOnce =
    Platform::kQueueFlag_Add | Platform::kQueueFlag_Enable | Platform::kQueueFlag_OneShot;

constexpr std::size_t kOperationAt = 1;
constexpr std::size_t kPathAt = 2;

UTF16String PathOf(const EventQueueThreadRequest& inRequest)
{
    UTF16String path;
    for (std::size_t at = kPathAt; at < inRequest.size() && inRequest[at] != 0; ++at)
        path.push_back(static_cast<char16_t>(inRequest[at]));
    return path;
}

} // namespace

EventQueueThreadRequest MakeRequest(OperationType inOperation, const UTF16String& inPath)
{
    EventQueueThreadRequest request;
    request.reserve(inPath.size() + 3);
    request.push_back(static_cast<std::uint16_t>(inPath.size() + 2));
    request.push_back(inOperation);
    request.insert(request.end(), inPath.begin(), inPath.end());
    request.push_back(0);
    return request;
}

EventQueueThread::EventQueueThread(const int (&inPipe)[2])
    : mReadEnd(inPipe[0])
{
    mChangeList.reserve(kReservedRecords);
    QueueRecord record;
    record.mIdent = static_cast<std::uint64_t>(mReadEnd);
    record.mFilter = Platform::kQueueFilter_Read;
    record.mFlags = kArmOnce;
    mChangeList.push_back(record);
}

void EventQueueThread::Run()
{
    const int queue = Platform::EventQueue().CreateQueue();
    if (queue == -1)
        return;
    mToldLossCount = Platform::EventQueue().LossCount();
    while (!mQuit)
        Turn(queue);
    Platform::EventQueue().CloseQueue(queue);
}

void EventQueueThread::Turn(int inQueue)
{
    QueueRecord event;
    if (Platform::EventQueue().Wait(inQueue, mChangeList, event) <= 0)
        return;
    TraceLosses();
    if (event.mIdent == static_cast<std::uint64_t>(mReadEnd))
    {
        TakeRequest(event);
        return;
    }
    const auto found = mIdentToPath.find(event.mIdent);
    if (found != mIdentToPath.end())
    {
        HandlePathEvent(event, UTF16String(found->second));
        return;
    }
    if ((event.mFlags & Platform::kQueueFlag_Error) != 0)
        RK_TRACE("WDX.DirectoryChangeMonitor", 5,
                 "kevent error " << event.mData << " for descriptor ID " << event.mIdent);
    else
        RK_TRACE("WDX.DirectoryChangeMonitor.LOGICERROR", 1,
                 "Never happen!  Cannot locate ident:" << event.mIdent);
}

void EventQueueThread::TraceLosses()
{
    const std::uint64_t count = Platform::EventQueue().LossCount();
    if (count != mToldLossCount)
        RK_TRACE("WDX.DirectoryChangeMonitor", 1,
                 "Events were lost, or a directory had no watch: " << count << " times");
    mToldLossCount = count;
}

void EventQueueThread::TakeRequest(const QueueRecord& inEvent)
{
    if ((inEvent.mFlags & Platform::kQueueFlag_Error) != 0)
        return;
    Platform::IEventQueue& queue = Platform::EventQueue();
    EventQueueThreadRequest request;
    std::uint16_t count = 0;
    if (queue.Read(mReadEnd, &count, sizeof count) == sizeof count)
    {
        request.assign(std::size_t{count} + 1, 0);
        request[0] = count;
        queue.Read(mReadEnd, request.data() + 1, std::size_t{count} * sizeof count);
    }
    HandleThreadRequest(request);
}

void EventQueueThread::HandlePathEvent(const QueueRecord& inEvent, const UTF16String& inPath)
{
    // Whatever the notes say: each of them asks the client to look again.
    if (inPath == kVolumesPath)
        ZOR::StationUtils::PostMessageToUIThread(ZOR::kStation_DirectoryChange,
                                                 VolumeChangedMessage(), false);
    else
        ZOR::StationUtils::PostMessageToUIThread(ZOR::kStation_DirectoryChange,
                                                 DirectoryChangedMessage(inPath), false);
    if ((inEvent.mFlags & Platform::kQueueFlag_Error) == 0)
        return;
    RK_TRACE("WDX.DirectoryChangeMonitor", 5,
             "kevent error " << inEvent.mData << " for \"" << UTF16ToFileName(inPath) << "\"");
    HandleThreadRequest(MakeRequest(kOperationStopMonitoringPath, inPath));
}

void EventQueueThread::HandleThreadRequest(const EventQueueThreadRequest& inRequest)
{
    if (inRequest.size() <= kOperationAt)
        return; // the pipe is private and requests are whole, so this is not to be expected
    switch (inRequest[kOperationAt])
    {
    case kOperationQuit:
        mQuit = true;
        break;
    case kOperationStartMonitoringPath:
        StartMonitoring(PathOf(inRequest));
        break;
    case kOperationStopMonitoringPath:
        StopMonitoring(PathOf(inRequest));
        break;
    default:
        break;
    }
}

void EventQueueThread::StartMonitoring(const UTF16String& inPath)
{
    if (mPathToIdent.count(inPath) != 0)
        return;
    // The slot is taken first and filled if the path opens: a path that does not leaves it as it is.
    mChangeList.emplace_back();
    const int descriptor = Platform::EventQueue().Open(UTF16ToFileName(inPath));
    if (descriptor == -1)
        return;
    QueueRecord& record = mChangeList.back();
    record.mIdent = static_cast<std::uint64_t>(descriptor);
    record.mFilter = Platform::kQueueFilter_Folder;
    record.mFlags = kArmOnce;
    record.mNotes =
        Platform::kQueueNote_Delete | Platform::kQueueNote_Write | Platform::kQueueNote_Rename;
    mPathToIdent.emplace(inPath, record.mIdent);
    mIdentToPath.emplace(record.mIdent, inPath);
}

void EventQueueThread::StopMonitoring(const UTF16String& inPath)
{
    const auto found = mPathToIdent.find(inPath);
    if (found == mPathToIdent.end())
    {
        RK_TRACE("WDX.DirectoryChangeMonitor.ALERT", 1,
                 "kOperationStopMonitoringPath un-reference cannot locate ident:?? for path:"
                     << UTF16ToFileName(inPath));
        return;
    }
    const std::uint64_t ident = found->second;
    auto record = mChangeList.begin();
    while (record != mChangeList.end() && record->mIdent != ident)
        ++record;
    if (record == mChangeList.end())
        return;
    const int descriptor = static_cast<int>(ident);
    if (descriptor != -1 && Platform::EventQueue().Close(descriptor) != 0)
        RK_TRACE("WDX.DirectoryChangeMonitor.ALERT", 1,
                 "kOperationStopMonitoringPath close(fd:" << ident
                                                          << ") failed with errno:" << errno);
    mChangeList.erase(record);
    mPathToIdent.erase(found);
    mIdentToPath.erase(ident);
}

void EventQueueThreadProc(void* inPipe)
{
    const std::unique_ptr<int[]> ends(static_cast<int*>(inPipe));
    const int pipe[2] = {ends[0], ends[1]};
    Platform::SetCurrentThreadName("RK::DirectoryChangeMonitor");
    EventQueueThread(pipe).Run();
}

} // namespace DirectoryChangeMonitor
} // namespace RK
