#pragma once

#include <cstdint>
#include <sstream>
#include <string>

#include <boost/function.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace debug
{

/// Moves whenever an answer of TraceEnabled may have changed.
RK_API std::int32_t TraceChangeCount();
/// @param inFlag  true counts the default of the category as well, see SetTrace in the header's text.
RK_API bool TraceEnabled(const char* inCategory, int inLevel, bool inFlag);
/// Writes a finished line. Safe from any thread.
RK_API void Trace(const std::string& inText);

} // namespace debug
} // namespace qelcore

/// One trace site: text is a chain of << operands, and is evaluated only if the category is enabled.
/// Writes "<thread id> <category> <level> text\n" in the fixed form.
#define RK_TRACE(inCategory, inLevel, inText)                                                      \
    do                                                                                             \
    {                                                                                              \
    } while (false) // by the debug owner
