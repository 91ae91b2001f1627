#pragma once

#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

#include "EventLoop.h"

namespace RKHost
{

// This program, run once more as a child. It ends with its parent, however that ends, and does not hear
// of what the terminal sends to its parent. Its standard output goes nowhere.
//
// Threads  The main thread only.
class ChildPlayer
{
public:
    /// Told each line of its standard error, and how it has ended ("exit code 1", "signal 9"). Both are
    /// called from within the loop.
    using OnLine = std::function<void(const std::string&)>;
    using OnEnd = std::function<void(const std::string&)>;

    /// @param inArguments  without the program's name.
    /// @throw HostError if it cannot be started.
    ChildPlayer(EventLoop& ioLoop, const std::vector<std::string>& inArguments,
                const OnLine& inOnLine, const OnEnd& inOnEnd);
    /// Ends it at once if it still runs.
    ~ChildPlayer();
    ChildPlayer(const ChildPlayer&) = delete;
    ChildPlayer& operator=(const ChildPlayer&) = delete;

    pid_t Process() const { return mProcess; }
    bool HasEnded() const { return mError < 0; }
    /// Does nothing once it has ended.
    void Signal(int inSignal) const;

private:
    void Start(const std::vector<std::string>& inArguments);
    void ReadError();
    void TellLines();
    std::string Reap();

    EventLoop& mLoop;
    const OnLine mOnLine;
    const OnEnd mOnEnd;
    pid_t mProcess = -1;
    int mError = -1;   ///< the end of a pipe, which closes when the child ends
    std::string mText; ///< of its standard error, not told yet
};

} // namespace RKHost
