#pragma once

#include <string>

#include "qelcore/Export.h"

namespace qelcore
{
namespace debug
{

/// The readable form of a mangled name; inName itself if it is none.
RK_API std::string DemangleName(const char* inName);

} // namespace debug
} // namespace qelcore
