#include "Platform/ProgramName.h"

#include <cerrno>

namespace Platform
{

std::string ProgramName()
{
    return program_invocation_short_name;
}

} // namespace Platform
