#pragma once

#include "qelcore/Export.h"

namespace qelcore
{
namespace debug
{

/// Shows a failed condition in a debug build. @return true if a debugger should stop.
RK_API bool BreakAfterContractDialog(const char* inCondition, const char* inPath, const char* inSignature, int inLine);
RK_API bool BreakAfterAssertDialog(const char* inCondition, const char* inPath, const char* inSignature, int inLine);
RK_API bool IsDebuggerAttached();

/// Reports a violated contract in its two steps: the dialog, then ThrowError.
[[noreturn]] RK_API void ReportContractViolation(const char* inCondition, const char* inPath, const char* inSignature, int inLine);

} // namespace debug
} // namespace qelcore

/// A condition that the caller must meet. inPath is the source path as reports show it.
#define RK_REQUIRE_CONTRACT(inCondition, inText, inPath)                                           \
    do                                                                                             \
    {                                                                                              \
        if (!(inCondition))                                                                        \
            ::qelcore::debug::ReportContractViolation(inText, inPath, __PRETTY_FUNCTION__, __LINE__); \
    } while (false)
