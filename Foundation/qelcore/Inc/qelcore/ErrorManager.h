#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

// How the foundation raises and shows errors whose text a user may see.
//
// Literals  "$$$/key=default text". The Localizer gives the text; "@0" to "@9" in it stand for the
//           values that were passed, and a number without a value stays as it is.
// Threads   Any function from any thread; an Error and a ReplacementValue are plain values.
namespace qelcore
{
namespace config
{

// How bad an error is. Every other number is allowed too, and means what the host takes it for.
constexpr int kErrorLevel_Information = 0;
constexpr int kErrorLevel_Warning = 1;
constexpr int kErrorLevel_Error = 2;

/// What ThrowError raises unless the error manager in force decides otherwise. what() is the text
/// in UTF-8.
class RK_API Error : public std::runtime_error
{
public:
    Error(int inLevel, const std::string& inKey, const UTF16String& inText);
    Error(const Error&);
    Error& operator=(const Error&);
    ~Error() override;
    int Level() const noexcept;
    /// The localisable literal that was raised, "$$$/key=default".
    const std::string& Key() const noexcept;
    /// The localised text, with its values in it.
    const UTF16String& Text() const noexcept;

private:
    int mLevel;
    std::string mKey;
    UTF16String mText;
};

/// What takes the place of an "@0" in an error's text.
class RK_API ReplacementValue
{
public:
    ReplacementValue(const UTF16String& inText);
    ReplacementValue(const char16_t* inText);
    /// UTF-8.
    ReplacementValue(const char* inText);
    ReplacementValue(const std::string& inText);
    ReplacementValue(int inNumber);
    ReplacementValue(unsigned inNumber);
    ReplacementValue(long inNumber);
    ReplacementValue(unsigned long inNumber);
    ReplacementValue(long long inNumber);
    ReplacementValue(unsigned long long inNumber);
    ReplacementValue(double inNumber);
    const UTF16String& Text() const noexcept { return mText; }

private:
    UTF16String mText;
};
using ReplacementValues = std::vector<ReplacementValue>;

/// Puts values in the place of "@0" to "@9", all at once: what a value holds is not replaced again.
RK_API UTF16String ReplacePlaceholders(const UTF16String& inText,
                                       const ReplacementValues& inValues);

// Collects errors for as long as it lives, to show them together at its end.
class RK_API DeferredErrorReporter
{
public:
    virtual ~DeferredErrorReporter();
    virtual void Report(const Error& inError) = 0;
    /// What was reported so far, oldest first.
    virtual std::vector<Error> Errors() const = 0;
};
using DeferredErrorReporterPtr = boost::shared_ptr<DeferredErrorReporter>;
using ErrorDisplay = boost::function<void(const Error&)>;

// What the library does with errors. A host derives from it, overrides what it wants otherwise, and
// sets an object of that class by SetErrorManager().
class RK_API ErrorManager
{
public:
    ErrorManager();
    virtual ~ErrorManager();
    ErrorManager(const ErrorManager&) = delete;
    ErrorManager& operator=(const ErrorManager&) = delete;

    /// Called when an allocation of inBytes has failed. @return true if anything was freed. Here:
    /// false.
    virtual bool PurgeMemory(std::size_t inBytes);

    /// While the count is above 0 errors are kept instead of shown; when it is back at 0 they are
    /// shown, oldest first, on the thread that brought it there. A decrement at 0 does nothing.
    virtual void IncrementLazilyDisplayErrors();
    virtual void DecrementLazilyDisplayErrors();

    /// Runs inFunction. An Error passes as it is. std::bad_alloc becomes an Error with
    /// kErrorKey_OutOfMemory after PurgeMemory() has been asked for 64 MiB; every other exception
    /// becomes an Error with kErrorKey_UnexpectedException, whose value is its what(). All are of
    /// kErrorLevel_Error.
    virtual void ExecuteFunctionAndConvertException(const boost::function<void()>& inFunction);

    /// Runs inFunction and lets no exception out: each is converted as above, then shown.
    /// @return true if inFunction ended without one.
    virtual bool
    ExecuteFunctionWithTopLevelExceptionHandler(const boost::function<void()>& inFunction);

    /// A reporter whose errors are shown when it ends, or dropped if inDisplayAtEnd is false. It
    /// may outlive this manager; then they are dropped.
    virtual DeferredErrorReporterPtr NewDeferredErrorReporter(bool inDisplayAtEnd);

    /// Raises an Error with the localised text of inKey. An override may raise something else. If it
    /// returns, functions that have an answer in spite of a violated contract (RK_CHECK_CONTRACT) go
    /// on, and an Error is raised in all other cases.
    virtual void ThrowError(int inLevel, const std::string& inKey,
                            const ReplacementValues& inValues);

    /// How errors are shown. An empty one restores the default, a trace line of the category
    /// "ErrorManager" at level 0. It is called with no lock held; what it raises is dropped.
    void SetErrorDisplay(const ErrorDisplay& inDisplay);
    /// Shows an error, or keeps it while errors are shown lazily. Never raises.
    void DisplayError(const Error& inError) noexcept;

private:
    struct State;
    const boost::shared_ptr<State> mState;
};

extern RK_API const char* const kErrorKey_OutOfMemory;
extern RK_API const char* const kErrorKey_UnexpectedException;

/// The manager in force; never null.
RK_API boost::shared_ptr<ErrorManager> GetErrorManager();
/// Puts a manager in force; null restores the default one. @return the one before.
RK_API boost::shared_ptr<ErrorManager>
SetErrorManager(const boost::shared_ptr<ErrorManager>& inManager);

[[noreturn]] RK_API void ThrowErrorWithValues(int inLevel, const char* inKey,
                                              const ReplacementValues& inValues);

/// Raises the error with the given literal through the manager in force; if that one returns, an
/// Error is raised all the same.
template <class... Values>
[[noreturn]] void ThrowError(int inLevel, const char* inKey, const Values&... inValues)
{
    static_assert(sizeof...(Values) <= 10, "there are ten placeholders, @0 to @9");
    ThrowErrorWithValues(inLevel, inKey, ReplacementValues{ReplacementValue(inValues)...});
}

} // namespace config
} // namespace qelcore
