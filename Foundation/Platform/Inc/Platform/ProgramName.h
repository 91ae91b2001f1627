#pragma once

#include <string>

namespace Platform
{

/// The file name of the running program, without its folder.
std::string ProgramName();

} // namespace Platform
