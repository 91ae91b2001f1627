#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// Where the calling thread is, as text for engineers. Works in release builds: names are read from the
// symbol tables of the program and its libraries, so that what was stripped shows exported names only.
//
// Threads  Any function from any thread.
// Cost     Microseconds for a trace. The first name that is asked for reads the symbols of the whole
//          process, which takes milliseconds and keeps memory; further ones take microseconds.
namespace qelcore
{
namespace debug
{

/// Code addresses, innermost first.
using StackTrace = std::vector<std::uintptr_t>;

/// @param inSkip  innermost frames to leave out. The first two are the reading of the stack and this
///                function; 2 begins with the caller.
RK_API StackTrace GenerateStackTrace(std::size_t inMostFrames, std::size_t inSkip);

constexpr std::size_t kMaxFunctionNameBytes = 512;

/// The readable name of the function that an address lies in, cut to kMaxFunctionNameBytes.
/// @return false, with outName as it was, if it is not known.
RK_API bool StackFrameFunctionName(std::uintptr_t inAddress, std::string& outName);

/// The names of the frames with inDelimiter between them. A frame without one is "??? <" address ">",
/// the address as 0x and hexadecimal digits.
RK_API UTF8String DelimitedStackTraceDescription(const StackTrace& inTrace,
                                                 const char* inDelimiter);

} // namespace debug
} // namespace qelcore
