#include "qelcore/Demangle.h"

#include <cstdlib>
#include <memory>

#include <cxxabi.h>

namespace qelcore
{
namespace debug
{

std::string DemangleName(const char* inName)
{
    if (!inName)
        return {};
    int status = 0;
    const std::unique_ptr<char, void (*)(void*)> readable(
        abi::__cxa_demangle(inName, nullptr, nullptr, &status), &std::free);
    return status == 0 && readable ? readable.get() : inName;
}

} // namespace debug
} // namespace qelcore
