#include "qelcore/FileExceptions.h"

#include <string>
#include <system_error>

#include <boost/make_shared.hpp>

#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace filesupport
{
namespace
{

std::string Describe(const char* inAttempt, const UTF16String& inPath, int inErrorNumber)
{
    return std::string(inAttempt) + " \"" + utility::UTF16ToFileName(inPath) +
           "\": " + std::generic_category().message(inErrorNumber);
}

} // namespace

path_exception::path_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber)
    : std::runtime_error(Describe(inAttempt, inPath, inErrorNumber))
    , mPath(boost::make_shared<UTF16String>(inPath))
    , mErrorNumber(inErrorNumber)
{
}

path_exception::~path_exception() = default;

file_exception::file_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber)
    : path_exception(inAttempt, inPath, inErrorNumber)
{
}

file_exception::~file_exception() = default;

dir_exception::dir_exception(const char* inAttempt, const UTF16String& inPath, int inErrorNumber)
    : path_exception(inAttempt, inPath, inErrorNumber)
{
}

dir_exception::~dir_exception() = default;

} // namespace filesupport
} // namespace qelcore
