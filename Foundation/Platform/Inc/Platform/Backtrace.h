#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The calling thread's stack, and the names of functions on it. Any thread.
namespace Platform
{

/// The code addresses of the stack's frames, innermost first; this function's own is the first. Each
/// lies within the call that the frame is in.
/// @param inSkip  frames to leave out.
/// @return how many there are.
std::size_t CaptureStack(std::uintptr_t* outAddresses, std::size_t inMost,
                         std::size_t inSkip) noexcept;

/// The mangled name of the function that an address lies in, of hidden and static ones too as long as
/// their file was not stripped. Of modules that were loaded after the first call only exported names
/// are known. The first call reads the symbols of all modules, which takes milliseconds.
/// @return false, with outName as it was, if there is none.
bool FindFunctionName(std::uintptr_t inAddress, std::string& outName);

} // namespace Platform
