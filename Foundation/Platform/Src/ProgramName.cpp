#include "Platform/ProgramName.h"

#include <cerrno>

#include <unistd.h>

namespace Platform
{

std::string ProgramName()
{
    return program_invocation_short_name;
}

std::string ProgramPath()
{
    // A link of /proc has no size to ask for, so there must be room to spare.
    for (std::string path(256, '\0');; path.resize(path.size() * 2))
    {
        const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
        if (length < 0)
            return std::string();
        if (static_cast<std::size_t>(length) < path.size())
            return path.substr(0, static_cast<std::size_t>(length));
    }
}

} // namespace Platform
