#pragma once

#include <boost/function.hpp>

#include "qelcore/Export.h"

// What happens when a caller breaks a contract, or the library an assumption of its own.
//
// Threads  Any function from any thread.
// Errors   The dialogs never raise.
namespace qelcore
{
namespace debug
{

enum class BreakKind
{
    kContract,
    kAssert,
};

// One failed condition, as it was reported. The texts are borrowed until the observer returns.
struct FailedCondition
{
    BreakKind kind;
    const char* condition;
    const char* path;
    const char* signature;
    int line;
};

/// Reports a failed condition, in every build: to the observer if there is one, and as a trace line
/// of the category "Contract" or "Assert" at level 0. A debug build of the library also writes that
/// line to standard error.
/// @return true if a debugger should stop: in a debug build, with a debugger attached.
RK_API bool BreakAfterContractDialog(const char* inCondition, const char* inPath,
                                     const char* inSignature, int inLine) noexcept;
RK_API bool BreakAfterAssertDialog(const char* inCondition, const char* inPath,
                                   const char* inSignature, int inLine) noexcept;

/// Whether another process traces this one just now.
RK_API bool IsDebuggerAttached() noexcept;

using BreakObserver = boost::function<void(const FailedCondition&)>;

/// Has inObserver told of each failed condition, on the thread where it failed, and with no lock
/// held; what it raises is dropped. An empty one ends that. When this returns the observer before
/// is not running, unless it is the caller.
RK_API void SetBreakObserver(const BreakObserver& inObserver);

/// Reports a violated contract in its two steps: BreakAfterContractDialog, which stops in the
/// debugger if it says so, then config::ThrowError with
/// "$$$/qelcore/utility/Error/Contract/InputContractViolation=An input contract violation has
/// occurred!".
[[noreturn]] RK_API void ReportContractViolation(const char* inCondition, const char* inPath,
                                                 const char* inSignature, int inLine);

/// The same two steps for a function that has an answer all the same: where the error manager in force
/// returns from its ThrowError() instead of raising, this returns too.
RK_API void ReportContractViolationAndGoOn(const char* inCondition, const char* inPath,
                                           const char* inSignature, int inLine);

} // namespace debug
} // namespace qelcore

/// A condition that the caller must meet. inText is the condition as reports show it, and inPath
/// the path of the source, from the project's root and without its extension.
#define RK_REQUIRE_CONTRACT(inCondition, inText, inPath)                                           \
    do                                                                                             \
    {                                                                                              \
        if (!(inCondition))                                                                        \
            ::qelcore::debug::ReportContractViolation(inText, inPath, __PRETTY_FUNCTION__,         \
                                                      __LINE__);                                   \
    } while (false)

/// The same for a function that goes on where the error manager lets it.
#define RK_CHECK_CONTRACT(inCondition, inText, inPath)                                             \
    do                                                                                             \
    {                                                                                              \
        if (!(inCondition))                                                                        \
            ::qelcore::debug::ReportContractViolationAndGoOn(inText, inPath, __PRETTY_FUNCTION__,  \
                                                             __LINE__);                            \
    } while (false)
