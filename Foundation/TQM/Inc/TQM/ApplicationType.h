#pragma once

#include <cstdint>

#include "qelcore/Export.h"

namespace TQM
{

/// The kind of the hosting application. 1 selects the larger cache share and turns the memory
/// balancer off; every other value is treated alike. 0 until a host has set it.
RK_API std::int32_t GetApplicationType();
RK_API void SetApplicationType(std::int32_t inType);

} // namespace TQM
