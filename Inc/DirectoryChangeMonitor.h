#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "MainLoopFolderEvents.h"
#include "Platform/EventQueue.h"
#include "Platform/FolderEvents.h"
#include "RKDirectoryChangeMonitor.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/SmallBlockAllocator.h"

namespace RK
{
namespace DirectoryChangeMonitor
{

template <class Key, class Value>
using SmallMap =
    std::map<Key, Value, std::less<Key>, qelcore::STLAllocator<std::pair<const Key, Value>>>;

/// Whose events are told as those of volumes.
extern const qelcore::UTF16String kVolumesPath;

/// What a watch is of.
struct MonitoredPathInfo
{
    qelcore::UTF16String mPath; ///< as it was given
    bool mRecursive = false;

    friend bool operator<(const MonitoredPathInfo& a, const MonitoredPathInfo& b) noexcept
    {
        const int order = a.mPath.compare(b.mPath);
        return order != 0 ? order < 0 : a.mRecursive < b.mRecursive;
    }
};

enum OperationType : std::uint16_t
{
    kOperationStartMonitoringPath = 0,
    kOperationStopMonitoringPath = 1,
    kOperationQuit = 2, ///< understood, and sent by nobody but tests
};

/// A request to the event thread: how many units follow, the operation, the path, zero. In the machine's
/// byte order, since it never leaves the process.
using EventQueueThreadRequest = std::vector<std::uint16_t>;
EventQueueThreadRequest MakeRequest(OperationType inOperation, const qelcore::UTF16String& inPath);

// What the event thread knows. Touched by no other thread.
class EventQueueThread
{
public:
    /// @param inPipe  read end, write end.
    explicit EventQueueThread(const int (&inPipe)[2]);

    /// Watches until it is told to quit, which in a program it never is; or not at all, if there is no queue.
    void Run();

private:
    void Turn(int inQueue);
    void TakeRequest(const Platform::QueueRecord& inEvent);
    void HandleThreadRequest(const EventQueueThreadRequest& inRequest);
    void HandlePathEvent(const Platform::QueueRecord& inEvent, const qelcore::UTF16String& inPath);
    void StartMonitoring(const qelcore::UTF16String& inPath);
    void StopMonitoring(const qelcore::UTF16String& inPath);
    void TraceLosses();

    const int mReadEnd;
    std::vector<Platform::QueueRecord> mChangeList; ///< the pipe's record first
    SmallMap<qelcore::UTF16String, std::uint64_t> mPathToIdent;
    SmallMap<std::uint64_t, qelcore::UTF16String> mIdentToPath;
    bool mQuit = false;
    std::uint64_t mToldLossCount = 0;
};

/// What the thread runs. @param inPipe  an int[2] made with new[], which is taken over.
void EventQueueThreadProc(void* inPipe);

/// What a recursive watch tells, on the main thread.
void EventStreamCallback(std::uint64_t inRefcon,
                         const std::vector<Platform::FolderEvent>& inEvents);

/// The number by which EventStreamCallback finds a watch. Numbers are never used again.
std::uint64_t Subscribe(const MonitoredPathInfo& inInfo);

} // namespace DirectoryChangeMonitor
} // namespace RK
