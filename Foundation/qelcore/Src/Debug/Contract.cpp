#include "qelcore/Contract.h"

#include <csignal>
#include <cstdio>

#include "CallGate.h"
#include "Platform/Debugger.h"
#include "TraceDefault.h"
#include "qelcore/ErrorManager.h"
#include "qelcore/Trace.h"

namespace qelcore
{
namespace debug
{
namespace
{

#ifdef NDEBUG
constexpr bool kDebugBuild = false;
#else
constexpr bool kDebugBuild = true;
#endif

ReplaceableFunction<BreakObserver>& Observer()
{
    static ReplaceableFunction<BreakObserver>& sObserver = *new ReplaceableFunction<BreakObserver>;
    return sObserver;
}

void TellObserver(const FailedCondition& inFailed) noexcept
{
    try
    {
        Observer().Call(inFailed);
    }
    catch (...) // the violation is what the caller must hear of
    {
    }
}

const char* TextOrNone(const char* inText)
{
    return inText ? inText : "(null)";
}

// A debug build speaks even where nobody asked for traces.
void ShowOnStandardError(const char* inKind, const FailedCondition& inFailed) noexcept
{
    try
    {
        if (TraceGoesToStandardError())
            return; // the trace line is there already
    }
    catch (...) // no memory to find that out: better twice than not at all
    {
    }
    std::fprintf(stderr, "%s failed: \"%s\" in %s, %s:%d\n", inKind, TextOrNone(inFailed.condition),
                 TextOrNone(inFailed.signature), TextOrNone(inFailed.path), inFailed.line);
}

bool ReportFailedCondition(const char* inKind, const FailedCondition& inFailed) noexcept
{
    // Not RK_TRACE: its site would keep the answer for the first kind.
    if (TraceEnabled(inKind, 0, true))
        SafeTraceStream(inKind, 0)
            << inKind << " failed: \"" << inFailed.condition << "\" in " << inFailed.signature
            << ", " << inFailed.path << ':' << inFailed.line;
    if (kDebugBuild)
        ShowOnStandardError(inKind, inFailed);
    TellObserver(inFailed);
    return kDebugBuild && IsDebuggerAttached();
}

constexpr const char* kContractKey =
    "$$$/qelcore/utility/Error/Contract/InputContractViolation=An input contract "
    "violation has occurred!";

void ShowContractViolation(const char* inCondition, const char* inPath, const char* inSignature,
                           int inLine)
{
    if (BreakAfterContractDialog(inCondition, inPath, inSignature, inLine))
        std::raise(SIGTRAP);
}

} // namespace

bool BreakAfterContractDialog(const char* inCondition, const char* inPath, const char* inSignature,
                              int inLine) noexcept
{
    return ReportFailedCondition("Contract",
                                 {BreakKind::kContract, inCondition, inPath, inSignature, inLine});
}

bool BreakAfterAssertDialog(const char* inCondition, const char* inPath, const char* inSignature,
                            int inLine) noexcept
{
    return ReportFailedCondition("Assert",
                                 {BreakKind::kAssert, inCondition, inPath, inSignature, inLine});
}

bool IsDebuggerAttached() noexcept
{
    return Platform::IsDebuggerAttached();
}

void SetBreakObserver(const BreakObserver& inObserver)
{
    Observer().Replace(inObserver);
}

void ReportContractViolation(const char* inCondition, const char* inPath, const char* inSignature,
                             int inLine)
{
    ShowContractViolation(inCondition, inPath, inSignature, inLine);
    config::ThrowError(config::kErrorLevel_Error, kContractKey);
}

void ReportContractViolationAndGoOn(const char* inCondition, const char* inPath,
                                    const char* inSignature, int inLine)
{
    ShowContractViolation(inCondition, inPath, inSignature, inLine);
    config::GetErrorManager()->ThrowError(config::kErrorLevel_Error, kContractKey, {});
}

} // namespace debug
} // namespace qelcore
