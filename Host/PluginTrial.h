#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "EventLoop.h"

namespace RKHost
{

// What a child process that runs the code of plug-ins came to. Nothing of that is trusted: it may crash, hang, end
// the process, close descriptors, leave processes behind, or write whatever it likes.
struct PluginTrial
{
    /// What the child reported, line by line, as far as it came.
    std::vector<std::string> mLines;
    /// Why it did not come to its end: "SIGSEGV", "took longer than 10 s", "ended the process (exit code 3)"; empty
    /// if it did.
    std::string mFailure;
};

/// Runs this program once more, with a pipe to report by. The child's own streams lead nowhere. When this comes back
/// the child has gone, and with it all processes that it had started.
/// @param inArguments  without the program's name: a command that makes a PluginReport.
/// @param inLimitSeconds  between two lines of the report.
/// @param inSteps         how many times that long it may take at all.
/// @throw HostError if there can be no child, or it is not ready in time; Interrupted, with the child gone, if the user wants to end.
PluginTrial RunPluginTrial(EventLoop& ioLoop, const std::vector<std::string>& inArguments,
                           double inLimitSeconds, std::size_t inSteps);

// The child's end of the pipe.
class PluginReport
{
public:
    /// Of the child that RunPluginTrial() has started.
    /// @throw HostError  in any other process that has nothing under the number of the pipe.
    PluginReport();
    /// Silent in a copy of the process that a plug-in has made, which ends here.
    void Say(const std::string& inLine) const;
    /// The first line: what goes wrong from now on is the plug-ins' doing.
    void SayReady() const;
    /// The last line: without it the child has not come to its end.
    void SayEnd() const;

private:
    const int mDescriptor;
    const int mProcess;
};

} // namespace RKHost
