#pragma once

#include <string>

#include "qelcore/Export.h"

namespace qelcore
{
namespace debug
{

/// The readable form of a mangled name, such as typeid(T).name() gives; inName itself if it is
/// none, and empty for null. Types are mangled to as little as one letter, so that "i" reads as
/// "int".
RK_API std::string DemangleName(const char* inName);

} // namespace debug
} // namespace qelcore
