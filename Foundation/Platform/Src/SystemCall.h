#pragma once

#include <cerrno>
#include <string>

namespace Platform
{

/// Calls until it was not interrupted. @return 0 or the error's number.
template <class Call>
int Repeat(const Call& inCall)
{
    while (inCall() < 0)
    {
        if (errno != EINTR)
            return errno;
    }
    return 0;
}

/// A path that holds a NUL names nothing: the kernel would cut it, and open another file.
inline bool HasNul(const std::string& inPath)
{
    return inPath.find('\0') != std::string::npos;
}

} // namespace Platform
