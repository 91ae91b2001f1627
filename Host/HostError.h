#pragma once

#include <stdexcept>
#include <string>

namespace RKHost
{

/// What the process answers with.
enum ExitCode
{
    kExit_OK = 0,
    kExit_Failure = 1,       ///< something failed on the way; what else could be done was done
    kExit_Usage = 2,         ///< the command line asks for something that rkhost does not do
    kExit_Interrupted = 130, ///< 128 and the number of SIGINT, as shells have it
};

/// Ends a command with a line on standard error.
class HostError : public std::runtime_error
{
public:
    HostError(ExitCode inCode, const std::string& inText)
        : std::runtime_error(inText)
        , mCode(inCode)
    {
    }
    ExitCode Code() const noexcept { return mCode; }

private:
    ExitCode mCode;
};

/// Thrown out of a command after SIGINT or SIGTERM, once nothing is under way any more.
struct Interrupted
{
};

} // namespace RKHost
