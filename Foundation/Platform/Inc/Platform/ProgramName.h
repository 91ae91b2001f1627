#pragma once

#include <string>

namespace Platform
{

/// The file name of the running program, without its folder.
std::string ProgramName();
/// The file of the running program, absolute; empty if the system does not tell it.
std::string ProgramPath();

} // namespace Platform
