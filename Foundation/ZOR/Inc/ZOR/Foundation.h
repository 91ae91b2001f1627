#pragma once

#include "qelcore/Export.h"

namespace ZOR
{
namespace Foundation
{

/// Brings the foundation up. Calls are counted; each needs its Terminate().
RK_API void Initialize();
RK_API void Terminate();

} // namespace Foundation
} // namespace ZOR
