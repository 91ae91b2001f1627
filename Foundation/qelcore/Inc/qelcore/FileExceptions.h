#pragma once

#include <stdexcept>

#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace filesupport
{

/// What file_exception and dir_exception have in common. Copies share the path.
class RK_API path_exception : public std::runtime_error
{
public:
    ~path_exception() override;

    /// The file or folder that something was tried with.
    const UTF16String& FullPath() const noexcept { return *mPath; }
    /// What went wrong, as one of the numbers of errno. what() has its text and the path.
    int ErrorNumber() const noexcept { return mErrorNumber; }

protected:
    /// @param inAttempt  what was tried, as in "Cannot remove": ASCII.
    path_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber);

private:
    boost::shared_ptr<const UTF16String> mPath;
    int mErrorNumber;
};

/// A failure of an operation on a file.
class RK_API file_exception : public path_exception
{
public:
    file_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber);
    ~file_exception() override;
};

/// A failure of an operation on a folder.
class RK_API dir_exception : public path_exception
{
public:
    dir_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber);
    ~dir_exception() override;
};

} // namespace filesupport
} // namespace qelcore
