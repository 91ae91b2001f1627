#include "qelcore/ErrorManager.h"

#include <new>
#include <utility>

#include <boost/make_shared.hpp>
#include <boost/weak_ptr.hpp>

#include "qelcore/Localizer.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/Trace.h"

namespace qelcore
{
namespace config
{

// Shared with the deferred reporters, which may outlive the manager.
struct ErrorManager::State
{
    // A leaf: displays are called without it.
    threads::RecursiveMutex mMutex;
    ErrorDisplay mDisplay RK_GUARDED_BY(mMutex);
    int mLazyCount RK_GUARDED_BY(mMutex) = 0;
    std::vector<Error> mKept RK_GUARDED_BY(mMutex); // oldest first

    void Show(const Error& inError) noexcept;
    void ShowKept(std::vector<Error>& ioErrors) noexcept;
    bool KeepIfLazy(const Error& inError);
    ErrorDisplay Display();
};

namespace
{

// bad_alloc does not tell what was asked for; much more than this would empty a cache because of
// one absurd request, which a damaged file is enough for.
constexpr std::size_t kPurgeAfterFailedAllocation = 64u << 20;

void TraceError(const Error& inError)
{
    RK_TRACE("ErrorManager", 0,
             "Level " << inError.Level() << ": " << inError.Text() << " [" << inError.Key() << ']');
}

struct Current
{
    threads::RecursiveMutex mMutex; // a leaf
    const boost::shared_ptr<ErrorManager> mDefault = boost::make_shared<ErrorManager>();
    boost::shared_ptr<ErrorManager> mManager RK_GUARDED_BY(mMutex) = mDefault;
};

Current& TheCurrent()
{
    static Current& sCurrent = *new Current; // never destroyed: errors are raised during exit, too
    return sCurrent;
}

} // namespace

const char* const kErrorKey_OutOfMemory =
    "$$$/qelcore/config/Error/OutOfMemory=There is not enough memory.";
const char* const kErrorKey_UnexpectedException =
    "$$$/qelcore/config/Error/UnexpectedException=An unexpected error has occurred: @0";

ErrorDisplay ErrorManager::State::Display()
{
    const threads::RecursiveMutex::ScopedLock lock(mMutex, "ErrorManager::Display");
    return mDisplay;
}

bool ErrorManager::State::KeepIfLazy(const Error& inError)
{
    const threads::RecursiveMutex::ScopedLock lock(mMutex, "ErrorManager::KeepIfLazy");
    if (mLazyCount == 0)
        return false;
    mKept.push_back(inError);
    return true;
}

void ErrorManager::State::Show(const Error& inError) noexcept
{
    try
    {
        if (KeepIfLazy(inError))
            return;
        if (const ErrorDisplay display = Display())
            display(inError);
        else
            TraceError(inError);
    }
    catch (const std::exception& exception) // out of the display, or for lack of memory
    {
        RK_TRACE("ErrorManager", 0,
                 "An error could not be shown: " << inError.what() << " (" << exception.what()
                                                 << ')');
    }
    catch (...)
    {
        RK_TRACE("ErrorManager", 0, "An error could not be shown: " << inError.what());
    }
}

void ErrorManager::State::ShowKept(std::vector<Error>& ioErrors) noexcept
{
    for (const Error& error : ioErrors)
        Show(error);
    ioErrors.clear();
}

namespace
{

class DeferredErrorReporterImpl : public DeferredErrorReporter
{
public:
    explicit DeferredErrorReporterImpl(const ErrorDisplay& inShow)
        : mShow(inShow)
    {
    }
    ~DeferredErrorReporterImpl() override
    {
        if (mShow)
            for (const Error& error : mErrors)
                mShow(error);
    }
    void Report(const Error& inError) override
    {
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "DeferredErrorReporter::Report");
        mErrors.push_back(inError);
    }
    std::vector<Error> Errors() const override
    {
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "DeferredErrorReporter::Errors");
        return mErrors;
    }

private:
    const ErrorDisplay mShow;               // raises nothing; empty if the errors are to be dropped
    mutable threads::RecursiveMutex mMutex; // a leaf; the destructor needs none
    std::vector<Error> mErrors;
};

} // namespace

DeferredErrorReporter::~DeferredErrorReporter() = default;

ErrorManager::ErrorManager()
    : mState(boost::make_shared<State>())
{
}

ErrorManager::~ErrorManager() = default;

bool ErrorManager::PurgeMemory(std::size_t)
{
    return false;
}

void ErrorManager::IncrementLazilyDisplayErrors()
{
    const threads::RecursiveMutex::ScopedLock lock(mState->mMutex,
                                                   "ErrorManager::IncrementLazilyDisplayErrors");
    ++mState->mLazyCount;
}

void ErrorManager::DecrementLazilyDisplayErrors()
{
    std::vector<Error> errors;
    {
        const threads::RecursiveMutex::ScopedLock lock(
            mState->mMutex, "ErrorManager::DecrementLazilyDisplayErrors");
        if (mState->mLazyCount == 0 || --mState->mLazyCount != 0)
            return;
        errors.swap(mState->mKept);
    }
    mState->ShowKept(errors);
}

void ErrorManager::ExecuteFunctionAndConvertException(const boost::function<void()>& inFunction)
{
    try
    {
        inFunction();
    }
    catch (const Error&)
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        PurgeMemory(kPurgeAfterFailedAllocation);
        throw Error(kErrorLevel_Error, kErrorKey_OutOfMemory,
                    Localizer::Get().GetText(kErrorKey_OutOfMemory));
    }
    catch (const std::exception& exception)
    {
        throw Error(kErrorLevel_Error, kErrorKey_UnexpectedException,
                    ReplacePlaceholders(Localizer::Get().GetText(kErrorKey_UnexpectedException),
                                        {ReplacementValue(exception.what())}));
    }
    catch (...)
    {
        throw Error(kErrorLevel_Error, kErrorKey_UnexpectedException,
                    ReplacePlaceholders(Localizer::Get().GetText(kErrorKey_UnexpectedException),
                                        {ReplacementValue("no std::exception")}));
    }
}

bool ErrorManager::ExecuteFunctionWithTopLevelExceptionHandler(
    const boost::function<void()>& inFunction)
{
    try
    {
        ExecuteFunctionAndConvertException(inFunction);
        return true;
    }
    catch (const Error& error)
    {
        DisplayError(error);
    }
    catch (...) // no memory even to say so
    {
        RK_TRACE("ErrorManager", 0, "An exception could not be turned into an error.");
    }
    return false;
}

DeferredErrorReporterPtr ErrorManager::NewDeferredErrorReporter(bool inDisplayAtEnd)
{
    ErrorDisplay show;
    if (inDisplayAtEnd)
        show = [weakState = boost::weak_ptr<State>(mState)](const Error& inError)
        {
            if (const boost::shared_ptr<State> state = weakState.lock())
                state->Show(inError);
        };
    return boost::make_shared<DeferredErrorReporterImpl>(show);
}

void ErrorManager::ThrowError(int inLevel, const std::string& inKey,
                              const ReplacementValues& inValues)
{
    throw Error(inLevel, inKey, ReplacePlaceholders(Localizer::Get().GetText(inKey), inValues));
}

void ErrorManager::SetErrorDisplay(const ErrorDisplay& inDisplay)
{
    const threads::RecursiveMutex::ScopedLock lock(mState->mMutex, "ErrorManager::SetErrorDisplay");
    mState->mDisplay = inDisplay;
}

void ErrorManager::DisplayError(const Error& inError) noexcept
{
    mState->Show(inError);
}

boost::shared_ptr<ErrorManager> GetErrorManager()
{
    const threads::RecursiveMutex::ScopedLock lock(TheCurrent().mMutex, "GetErrorManager");
    return TheCurrent().mManager;
}

boost::shared_ptr<ErrorManager> SetErrorManager(const boost::shared_ptr<ErrorManager>& inManager)
{
    boost::shared_ptr<ErrorManager> manager = inManager ? inManager : TheCurrent().mDefault;
    const threads::RecursiveMutex::ScopedLock lock(TheCurrent().mMutex, "SetErrorManager");
    TheCurrent().mManager.swap(manager);
    return manager;
}

void ThrowErrorWithValues(int inLevel, const char* inKey, const ReplacementValues& inValues)
{
    GetErrorManager()->ThrowError(inLevel, inKey, inValues);
    throw Error(inLevel, inKey, ReplacePlaceholders(Localizer::Get().GetText(inKey), inValues));
}

} // namespace config
} // namespace qelcore
