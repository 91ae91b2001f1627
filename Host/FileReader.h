#pragma once

#include <functional>
#include <string>

#include "qelcore/RecycledMemory.h"

namespace RKHost
{

/// Reads a whole regular file.
/// @param inIsCancelled  asked between pieces of it; true ends the reading.
/// @return null if it was cancelled.
/// @throw std::runtime_error, whose text does not name the file.
qelcore::utility::RecycledMemoryPtr ReadWholeFile(const std::string& inPath,
                                                  const std::function<bool()>& inIsCancelled);

} // namespace RKHost
