#include "qelcore/StackTrace.h"

#include <charconv>

#include "Platform/Backtrace.h"
#include "qelcore/Demangle.h"

namespace qelcore
{
namespace debug
{
namespace
{

std::string FrameText(std::uintptr_t inAddress)
{
    std::string text;
    if (StackFrameFunctionName(inAddress, text))
        return text;
    constexpr int kHexadecimal = 16;
    char digits[2 * sizeof inAddress];
    char* const end = std::to_chars(digits, digits + sizeof digits, inAddress, kHexadecimal).ptr;
    return "??? <0x" + std::string(digits, end) + ">";
}

} // namespace

// Callers count this frame.
[[gnu::noinline]] StackTrace GenerateStackTrace(std::size_t inMostFrames, std::size_t inSkip)
{
    StackTrace trace(inMostFrames);
    trace.resize(Platform::CaptureStack(trace.data(), inMostFrames, inSkip));
    return trace;
}

bool StackFrameFunctionName(std::uintptr_t inAddress, std::string& outName)
{
    std::string name;
    if (!Platform::FindFunctionName(inAddress, name))
        return false;
    outName = DemangleName(name.c_str()).substr(0, kMaxFunctionNameBytes);
    return true;
}

UTF8String DelimitedStackTraceDescription(const StackTrace& inTrace, const char* inDelimiter)
{
    std::string text;
    for (const std::uintptr_t address : inTrace)
    {
        if (!text.empty())
            text += inDelimiter;
        text += FrameText(address);
    }
    return ToUTF8String(text);
}

} // namespace debug
} // namespace qelcore
