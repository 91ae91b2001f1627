#pragma once

#include <iosfwd>

#include "HostError.h"
#include "Options.h"

namespace RKHost
{

/// Runs the lines of the options, or, if there are none, those of inInput.
/// @param inPrompt  written ahead of each line that is read; may be empty.
ExitCode RunConsole(const Options& inOptions, std::istream& inInput, const std::string& inPrompt);

/// The same with standard input, and with a prompt if that is a terminal.
ExitCode RunConsole(const Options& inOptions);

} // namespace RKHost
