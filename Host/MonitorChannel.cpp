#include "MonitorChannel.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <exception>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "HostError.h"

namespace RKHost
{

namespace
{

constexpr std::size_t kHeader = 4;
constexpr char kRequest = 'r';

struct Address
{
    sockaddr_un mName = {};
    socklen_t mSize = 0;

    const sockaddr* Get() const { return reinterpret_cast<const sockaddr*>(&mName); }
};

// An abstract name: it is no file, and goes with the process however that ends.
Address AddressOf(int inProcess)
{
    const std::string name =
        "rkhost-monitor-" + std::to_string(geteuid()) + "-" + std::to_string(inProcess);
    Address address;
    address.mName.sun_family = AF_UNIX;
    std::memcpy(address.mName.sun_path + 1, name.data(), name.size());
    address.mSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size());
    return address;
}

int MakeSocket()
{
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

bool OtherEnd(int inSocket, ucred& outOther)
{
    socklen_t size = sizeof outOther;
    return getsockopt(inSocket, SOL_SOCKET, SO_PEERCRED, &outOther, &size) == 0;
}

bool IsFromThisUser(int inSocket)
{
    ucred other = {};
    return OtherEnd(inSocket, other) && other.uid == geteuid();
}

bool WouldWait()
{
    return errno == EAGAIN || errno == EINTR;
}

std::string CannotLookAt(int inProcess, const std::string& inReason)
{
    return "cannot look at process " + std::to_string(inProcess) + ": " + inReason;
}

} // namespace

std::string PackReport(const std::string& inReport)
{
    const std::string report = inReport.substr(0, kLargestReport);
    std::string packed;
    for (std::size_t i = 0; i < kHeader; ++i)
        packed += static_cast<char>(report.size() >> (8 * i) & 0xFF);
    return packed + report;
}

bool ReportUnpacker::Add(const char* inBytes, std::size_t inSize)
{
    mBytes.append(inBytes, inSize);
    return mBytes.size() < kHeader || SizeOfNext() <= kLargestReport;
}

bool ReportUnpacker::Next(std::string& outReport)
{
    if (mBytes.size() < kHeader || mBytes.size() - kHeader < SizeOfNext())
        return false;
    const std::size_t size = SizeOfNext();
    outReport = mBytes.substr(kHeader, size);
    mBytes.erase(0, kHeader + size);
    return true;
}

std::size_t ReportUnpacker::SizeOfNext() const
{
    std::size_t size = 0;
    for (std::size_t i = 0; i < kHeader; ++i)
        size |= static_cast<std::size_t>(static_cast<unsigned char>(mBytes[i])) << (8 * i);
    return size;
}

MonitorServer::MonitorServer(EventLoop& ioLoop, const Source& inSource)
    : mLoop(ioLoop)
    , mSource(inSource)
{
    Offer();
}

MonitorServer::~MonitorServer()
{
    Withdraw();
    while (!mViewers.empty())
        Drop(mViewers.begin()->first);
}

void MonitorServer::Offer()
{
    mListener = MakeSocket();
    if (mListener < 0)
        return;
    const Address address = AddressOf(getpid());
    if (bind(mListener, address.Get(), address.mSize) != 0 ||
        listen(mListener, static_cast<int>(kMostViewers)) != 0)
    {
        close(mListener);
        mListener = -1;
        return;
    }
    mLoop.Watch(mListener, POLLIN, [this](short) { Accept(); });
}

void MonitorServer::Withdraw()
{
    if (mListener < 0)
        return;
    mLoop.Unwatch(mListener);
    close(mListener);
    mListener = -1;
}

void MonitorServer::Accept()
{
    const int viewer = accept4(mListener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (viewer < 0)
    {
        // What stays, as having no descriptor left does, would keep the loop busy for nothing.
        if (!WouldWait() && errno != ECONNABORTED)
            Withdraw();
        return;
    }
    if (mViewers.size() >= kMostViewers || !IsFromThisUser(viewer))
    {
        close(viewer);
        return;
    }
    mViewers[viewer];
    mLoop.Watch(viewer, POLLIN, [this, viewer](short inEvents) { Serve(viewer, inEvents); });
}

void MonitorServer::Serve(int inViewer, short inEvents)
{
    // A viewer that asks and does not read gets no second report until it has read the first.
    const bool sending = (inEvents & POLLOUT) != 0;
    const bool lives = sending ? SendRest(inViewer) : TakeRequests(inViewer);
    if (!lives)
        Drop(inViewer);
}

bool MonitorServer::TakeRequests(int inViewer)
{
    std::array<char, 64> requests;
    const ssize_t got = recv(inViewer, requests.data(), requests.size(), 0);
    if (got < 0)
        return WouldWait();
    if (got == 0)
        return false;
    try
    {
        mViewers[inViewer] = PackReport(mSource());
    }
    catch (const std::exception&)
    {
        return false;
    }
    return SendRest(inViewer);
}

bool MonitorServer::SendRest(int inViewer)
{
    std::string& rest = mViewers[inViewer];
    while (!rest.empty())
    {
        const ssize_t sent = send(inViewer, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (sent < 0 && !WouldWait())
            return false;
        if (sent < 0)
            break;
        rest.erase(0, static_cast<std::size_t>(sent));
    }
    mLoop.Watch(inViewer, rest.empty() ? POLLIN : POLLOUT,
                [this, inViewer](short inEvents) { Serve(inViewer, inEvents); });
    return true;
}

void MonitorServer::Drop(int inViewer)
{
    mLoop.Unwatch(inViewer);
    mViewers.erase(inViewer);
    close(inViewer);
}

MonitorClient::MonitorClient(EventLoop& ioLoop, int inProcess, const OnReport& inOnReport)
    : mLoop(ioLoop)
    , mOnReport(inOnReport)
    , mSocket(MakeSocket())
{
    const Address address = AddressOf(inProcess);
    std::string reason;
    ucred other = {};
    if (mSocket < 0 || connect(mSocket, address.Get(), address.mSize) != 0)
        reason = errno == ECONNREFUSED
                     ? "it is no rkhost of yours that plays, or it was told not to be looked at"
                     : std::strerror(errno);
    else if (!OtherEnd(mSocket, other) || other.uid != geteuid() || other.pid != inProcess)
        reason = "another process stands in its place"; // anybody can take such a name
    if (!reason.empty())
    {
        close(mSocket);
        throw HostError(kExit_Failure, CannotLookAt(inProcess, reason));
    }
    mLoop.Watch(mSocket, POLLIN, [this](short) { Receive(); });
}

MonitorClient::~MonitorClient()
{
    mLoop.Unwatch(mSocket);
    close(mSocket);
}

bool MonitorClient::Ask()
{
    if (mAsked)
        return false;
    mAsked = true;
    if (send(mSocket, &kRequest, 1, MSG_NOSIGNAL) != 1)
        mOver = true;
    return true;
}

void MonitorClient::Receive()
{
    std::array<char, 4096> bytes;
    const ssize_t got = recv(mSocket, bytes.data(), bytes.size(), 0);
    if (got < 0 && WouldWait())
        return;
    if (got <= 0 || !mUnpacker.Add(bytes.data(), static_cast<std::size_t>(got)))
    {
        mOver = true;
        mLoop.Unwatch(mSocket);
        return;
    }
    for (std::string report; mUnpacker.Next(report);)
    {
        mAsked = false;
        mOnReport(report);
    }
}

} // namespace RKHost
