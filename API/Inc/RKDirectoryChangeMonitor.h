#pragma once

#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// Tells that something has changed in a directory, by messages on ZOR::kStation_DirectoryChange:
//
//     ZOR::StationUtils::AddListener(ZOR::kStation_DirectoryChange, listener);
//     RK::DirectoryChangeMonitor::MonitorDirectory(path);
//     ...
//     RK::DirectoryChangeMonitor::StopMonitoringDirectory(path);
//
// A start and a stop are paired by the same path, letter for letter, and the same kind. Starts are counted, so
// a path may be asked for many times and costs one watch. Two spellings of one directory are two watches.
//
// A message says which watch it is of and no more: list the directory. Some changes come as one message, and
// one change may come as several. Where the system lost events, every directory that may be concerned is told as
// changed (a trace line in the category "RK.FolderEvents" or "WDX.DirectoryChangeMonitor" says so).
//
// What counts as a change of a directory is that an entry was added, removed or renamed in it, or that it was
// removed or renamed itself; not that the content of a file has changed. Recursive watches see the same at
// any depth, and changed rights, owners and times as well; they do not follow links.
//
// Shared storage whose type of file system holds "Avid" gives no events: for directories on it a
// DirectoryPollingMessage comes every five seconds instead. With the debug key "RK.PollNetworkVolumes"
// that is so for every volume of a server.
//
// Threads  Any function from any thread. They may ask the volume of the path, and a recursive start lists the
//          directories below: not on a thread that must not wait. Messages come on the main thread, so one must be
//          registered and turn its loop.
// Errors   None is told: a path that cannot be watched is traced, or stays silent.
// Life     Works between the start and the stop of the library (RK::Initializer), and does nothing
//          otherwise.
namespace RK
{

/// The entries of a watched directory have changed.
class RK_API DirectoryChangedMessage : public ZOR::MessageImpl<DirectoryChangedMessage>
{
public:
    explicit DirectoryChangedMessage(const qelcore::UTF16String& inPath);
    DirectoryChangedMessage(const DirectoryChangedMessage&);
    ~DirectoryChangedMessage() override;

    const qelcore::UTF16String mPath; ///< the watched one, as it was given
};

/// Volumes came or went.
class RK_API VolumeChangedMessage : public ZOR::MessageImpl<VolumeChangedMessage>
{
public:
    VolumeChangedMessage();
    VolumeChangedMessage(const VolumeChangedMessage&);
    ~VolumeChangedMessage() override;
};

/// A watched directory gives no events: look at it again.
class RK_API DirectoryPollingMessage : public ZOR::MessageImpl<DirectoryPollingMessage>
{
public:
    explicit DirectoryPollingMessage(const qelcore::UTF16String& inPath);
    DirectoryPollingMessage(const DirectoryPollingMessage&);
    ~DirectoryPollingMessage() override;

    const qelcore::UTF16String mPath; ///< as it was given
};

namespace DirectoryChangeMonitor
{

/// Steps of the library's start and stop.
void Initialize();
void Terminate();

/// The directory itself, without those below it.
RK_API void MonitorDirectory(const qelcore::UTF16String& inPath);
RK_API void StopMonitoringDirectory(const qelcore::UTF16String& inPath);

/// The directory and all below it. Messages are batched to about one a second.
RK_API void MonitorDirectoryRecursively(const qelcore::UTF16String& inPath);
RK_API void StopMonitoringDirectoryRecursively(const qelcore::UTF16String& inPath);

/// Volumes that come and go: the same watch as MonitorDirectory("/Volumes"), which is told as a
/// VolumeChangedMessage.
RK_API void MonitorVolumeChanges();
RK_API void StopMonitoringVolumeChanges();

} // namespace DirectoryChangeMonitor
} // namespace RK
