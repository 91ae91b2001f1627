#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "EventLoop.h"

// How one process looks at the reports of another: over a local socket, whose name is made of the user
// and the process, so that nothing is left over when a process ends. The viewer sends a byte for each
// report that it wants, and gets the report, its size in front.
//
// Only processes of the same user talk with each other: the kernel tells both ends who the other is.
namespace RKHost
{

constexpr std::size_t kLargestReport = 1 << 20; ///< bytes; a longer one is cut

/// A report as it goes over the socket: four bytes of its size, the least significant first, and it.
std::string PackReport(const std::string& inReport);

// Takes reports out of what came over a socket, in whatever pieces it came.
class ReportUnpacker
{
public:
    /// @return false if this is no report, and then the other end is not to be talked to any more.
    bool Add(const char* inBytes, std::size_t inSize);
    /// @return false if there is no whole report (any more).
    bool Next(std::string& outReport);

private:
    std::size_t SizeOfNext() const;

    std::string mBytes;
};

// The end that is looked at. No trouble with sockets or viewers disturbs the process: at the worst it
// cannot be looked at.
//
// Threads  The main thread only.
class MonitorServer
{
public:
    using Source = std::function<std::string()>;

    /// Offers reports of inSource, which is called from within the loop.
    MonitorServer(EventLoop& ioLoop, const Source& inSource);
    ~MonitorServer();
    MonitorServer(const MonitorServer&) = delete;
    MonitorServer& operator=(const MonitorServer&) = delete;

    bool IsOffered() const { return mListener >= 0; }

private:
    static constexpr std::size_t kMostViewers = 8;

    void Offer();
    void Withdraw();
    void Accept();
    void Serve(int inViewer, short inEvents);
    bool TakeRequests(int inViewer);
    bool SendRest(int inViewer);
    void Drop(int inViewer);

    EventLoop& mLoop;
    const Source mSource;
    int mListener = -1;
    std::map<int, std::string> mViewers; ///< by descriptor: what is still to be sent to each
};

// The end that looks.
//
// Threads  The main thread only.
class MonitorClient
{
public:
    using OnReport = std::function<void(const std::string&)>;

    /// @param inOnReport  called from within the loop for each report that was asked for.
    /// @throw HostError if there is no such process of this user that can be looked at.
    MonitorClient(EventLoop& ioLoop, int inProcess, const OnReport& inOnReport);
    ~MonitorClient();
    MonitorClient(const MonitorClient&) = delete;
    MonitorClient& operator=(const MonitorClient&) = delete;

    /// Asks for a report. @return false if the one before has not come yet, and then nothing is asked.
    bool Ask();
    /// The other end has gone, or has said what makes no sense.
    bool IsOver() const { return mOver; }

private:
    void Receive();

    EventLoop& mLoop;
    const OnReport mOnReport;
    int mSocket = -1;
    bool mAsked = false;
    bool mOver = false;
    ReportUnpacker mUnpacker;
};

} // namespace RKHost
