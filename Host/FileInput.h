#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "EventLoop.h"

namespace RKHost
{

/// Reads to the end of standard input, while the loop runs.
/// @throw HostError if it cannot be read or brings more than inMostBytes; Interrupted
std::vector<std::uint8_t> ReadStandardInput(std::size_t inMostBytes, EventLoop& ioLoop);

/// The same for a file or a pipe.
std::vector<std::uint8_t> ReadInput(const std::string& inPath, std::size_t inMostBytes,
                                    EventLoop& ioLoop);

} // namespace RKHost
