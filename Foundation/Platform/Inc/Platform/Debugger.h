#pragma once

#include <string_view>

namespace Platform
{

/// Whether another process traces this one, as debuggers do. False where that cannot be found out.
bool IsDebuggerAttached() noexcept;

/// The same from the text of /proc/self/status.
bool StatusNamesATracer(std::string_view inStatus) noexcept;

} // namespace Platform
