#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace RK
{

// A value that the host keeps here; nothing in the library reads it, and starting and stopping the
// library leaves it alone.
//
// Threads  Not locked: the host sees to it that nobody reads while it sets.

/// @return what was set last; 0 before that.
RK_API std::uint32_t GetFontServerState();
RK_API void SetFontServerState(std::uint32_t inState);

} // namespace RK
